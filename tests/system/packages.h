#pragma once

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <sys/wait.h>

// What the programs share that end a command in the middle and look at what it leaves in /etc/config.

using Packages = std::map<std::string, std::string>; ///< texts by name

inline const std::filesystem::path packages_folder = "/etc/config";
/// Where a test puts packages as they are for a moment, between the old and the new ones.
inline const std::filesystem::path packages_between = "/tmp/between";

/// What a commit that did not come to its end left beside the packages is none.
inline Packages read_packages(const std::filesystem::path &from = packages_folder)
{
    Packages packages;
    std::error_code missing;
    for (const auto &entry : std::filesystem::directory_iterator(from, missing)) {
        const std::string name = entry.path().filename();
        std::ifstream in(entry.path(), std::ios::binary);
        if (!name.starts_with('.'))
            packages[name] = {std::istreambuf_iterator<char>(in), {}};
    }
    return packages;
}

inline bool holds(const Packages &packages, const Packages::value_type &package)
{
    const auto found = packages.find(package.first);
    return found != packages.end() && found->second == package.second;
}

/// As after the power has come back, with the flash as it once was.
inline void restore(const Packages &packages)
{
    std::filesystem::remove_all("/tmp/.uci");
    for (const auto &[name, text] : packages)
        std::ofstream(packages_folder / name, std::ios::binary) << text;
}

/// Nothing of the command is left: to a subreaper what lost its parent became its own child.
inline void kill_children()
{
    for (bool any = true; any;) {
        any = false;
        std::ifstream children("/proc/thread-self/children");
        for (pid_t child; children >> child; any = true) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, __WALL);
        }
    }
}
