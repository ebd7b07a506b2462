#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

struct uci_package;

// Whether what is to be written fits on the flash.

/// What a file system may need beside the bytes themselves.
inline constexpr uint64_t room_margin = 8192;

/// True if the file system of path, and the file size limit, have room for so many bytes. If the file system does not
/// answer, there is room.
bool has_room(const char *path, uint64_t bytes);

/// 0 without the file.
uint64_t size_of(const char *file);

/// Bytes of a text between quotes.
[[gnu::noinline]] size_t quoted_size(std::string_view text);

/// At least as many bytes as the file of package will have.
size_t written_size(const uci_package &package);

/// True if the file systems of the configuration, and the file size limit, have room for a commit of package as it is,
/// and a little more. The uci command does not check this, and without room it empties the file.
bool kuci_has_room(const char *package);
