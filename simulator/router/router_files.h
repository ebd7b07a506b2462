#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/router/options.h"

namespace simulator {

/// A file that the router's file system has in addition to, or instead of, the machine's.
struct RouterFile {
    enum class Kind { folder, file, link };
    Kind kind;
    std::string path;    ///< inside the router
    std::string content; ///< of a file; a link's target
    uint32_t mode = 0644;
};

/// The files of an OpenWrt router with the given board: configuration, spool folders, commands. The commands are links
/// to the programs in build_folder and to busybox.
std::vector<RouterFile> router_files(const std::string &board, const std::string &build_folder,
                                     const std::string &busybox);

/// modemctl of another folder instead of simrouter's, and modemapi and the tests' call_operation if they are there.
/// What is built for another processor is started by a recorder's link, which hands it to the runner under its own
/// name, so that the process is still called so.
std::vector<RouterFile> product_files(const std::string &folder, const std::string &runner,
                                      const std::string &build_folder);

/// The files that --put and --put-text name, folders with all that is in them. Throws std::system_error or OptionError
/// when a source cannot be read.
std::vector<RouterFile> put_files(const std::vector<PutChoice> &puts);

} // namespace simulator
