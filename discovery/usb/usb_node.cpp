#include "discovery/usb/usb_node.h"

#include <cstring>

#include "platform/files.h"

namespace {

constexpr int visit_budget = 1000;

using WalkPath = Text<1000>;

std::string_view base_name(std::string_view path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : without_first(path, slash + 1);
}

// True if name could be a USB bus or interface; an empty name could.
bool looks_like_usb(std::string_view name)
{
    return name.find_first_not_of("0123456789:-.") == std::string_view::npos;
}

// Replaces a folder's name in out ("usbmisc") by the nearest folder above it, along path, whose name looks like USB.
bool climb(std::string_view path, TextOut out)
{
    while (!looks_like_usb(out.view())) {
        const size_t length = out.view().size();
        if (path.size() <= length)
            return false;
        path.remove_suffix(length + 1);
        out.assign(base_name(path));
    }
    return true;
}

int search(WalkPath &path, const char *name, TextOut out, int &visits)
{
    if (++visits > visit_budget)
        return -1;
    const Directory directory{opendir(path.c_str())};
    if (!directory)
        return -1;
    const size_t length = path.size();
    const auto step_back = [&] { path.assign(first_characters(path.view(), length)); };
    int matches = 0;
    while (const dirent *entry = readdir(directory.get())) {
        if (entry_is_dots(*entry))
            continue;
        step_back();
        if (!path.append("/") || !path.append(entry->d_name) || !entry_is_directory(path.c_str(), *entry))
            continue;
        if (strcmp(entry->d_name, name) == 0) {
            matches++;
            out.assign(base_name(first_characters(path.view(), length)));
            break;
        }
        matches += search(path, name, out, visits);
    }
    step_back();
    return climb(path.view(), out) ? matches : 0;
}

} // namespace

int find_usb_node(const char *directory, const char *name, TextOut out, int &visits)
{
    WalkPath path;
    return path.assign(directory) ? search(path, name, out, visits) : -1;
}
