#include "simulator/kernel/archive.h"

#include <cstdio>

namespace simulator {

namespace {

void append_entry(std::string &out, std::string_view path, std::string_view content, uint32_t number, uint32_t mode)
{
    // inode, mode, user, group, links, time, size, four device numbers, length of the name with its zero, no checksum
    char head[111];
    snprintf(head, sizeof head, "070701%08x%08x%08x%08x%08x%08x%08zx%08x%08x%08x%08x%08zx%08x", number, mode, 0, 0, 1,
             0, content.size(), 0, 0, 0, 0, path.size() + 1, 0);
    out += head;
    out += path;
    out += '\0';
    out.resize((out.size() + 3) / 4 * 4);
    out += content;
    out.resize((out.size() + 3) / 4 * 4);
}

} // namespace

void Archive::add(std::string_view path, std::string_view content, uint32_t mode)
{
    append_entry(entries_, path, content, ++last_number_, mode);
}

std::string Archive::text() const
{
    std::string whole = entries_;
    append_entry(whole, "TRAILER!!!", {}, 0, 0);
    return whole;
}

} // namespace simulator
