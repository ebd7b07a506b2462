#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// The mount points that a text like /proc/self/mountinfo names, each once, in the order of mounting.
std::vector<std::string> parse_mount_points(std::string_view mountinfo);

/// True if path is folder or is below it.
bool is_inside(std::string_view path, std::string_view folder);

// Thin around the system calls; all throw std::system_error with the target's name.

void mount_new(const char *type, const std::string &target, unsigned long flags, const std::string &options);
void mount_bind(const std::string &source, const std::string &target);
/// source is seen at target and cannot be changed there.
void mount_read_only(const std::string &source, const std::string &target);
/// Makes the folder, which is a mount point, the root of all processes of the namespace; the old root is gone.
void enter_root(const std::string &folder);

} // namespace simulator
