#include "simulator/router/mounts.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace simulator {

namespace {

/// The kernel writes spaces, tabs, line feeds and backslashes as three octal digits.
std::string unescape(std::string_view text)
{
    std::string path;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            path += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
            i += 3;
        } else {
            path += text[i];
        }
    }
    return path;
}

void check(bool success, const std::string &what)
{
    if (!success)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

std::vector<std::string> parse_mount_points(std::string_view mountinfo)
{
    std::vector<std::string> points;
    std::istringstream lines{std::string(mountinfo)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string id, parent, device, root, point;
        if (!(fields >> id >> parent >> device >> root >> point))
            continue;
        point = unescape(point);
        if (std::ranges::find(points, point) == points.end())
            points.push_back(point);
    }
    return points;
}

bool is_inside(std::string_view path, std::string_view folder)
{
    if (folder == "/")
        return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

void mount_new(const char *type, const std::string &target, unsigned long flags, const std::string &options)
{
    check(mount(type, target.c_str(), type, flags, options.c_str()) == 0,
          std::string("mounting ") + type + " on " + target);
}

void mount_bind(const std::string &source, const std::string &target)
{
    check(mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0, "binding " + source + " to " + target);
}

void mount_read_only(const std::string &source, const std::string &target)
{
    mount_bind(source, target);
    // In a user namespace the flags that the machine's administrator set must be kept.
    struct statvfs file_system {};
    check(statvfs(target.c_str(), &file_system) == 0, target);
    unsigned long flags = MS_BIND | MS_REMOUNT | MS_RDONLY;
    flags |= (file_system.f_flag & ST_NOSUID) != 0 ? MS_NOSUID : 0;
    flags |= (file_system.f_flag & ST_NODEV) != 0 ? MS_NODEV : 0;
    flags |= (file_system.f_flag & ST_NOEXEC) != 0 ? MS_NOEXEC : 0;
    flags |= (file_system.f_flag & ST_NOATIME) != 0 ? MS_NOATIME : 0;
    flags |= (file_system.f_flag & ST_NODIRATIME) != 0 ? MS_NODIRATIME : 0;
    flags |= (file_system.f_flag & ST_RELATIME) != 0 ? MS_RELATIME : 0;
    check(mount(nullptr, target.c_str(), nullptr, flags, nullptr) == 0, "making " + target + " read-only");
}

void enter_root(const std::string &folder)
{
    check(chdir(folder.c_str()) == 0, folder);
    check(syscall(SYS_pivot_root, ".", ".") == 0, "pivot_root to " + folder);
    check(umount2(".", MNT_DETACH) == 0, "leaving the machine's root");
    check(chdir("/") == 0, "/");
}

} // namespace simulator
