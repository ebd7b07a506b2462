#include "simulator/usb/ntb.h"

#include "simulator/usb/bytes.h"

namespace simulator {

namespace {

constexpr std::string_view block_mark = "NCMH";
constexpr size_t block_head_bytes = 12;
constexpr size_t table_head_bytes = 8; ///< mark, length, next table
constexpr size_t entry_bytes = 4;
constexpr size_t alignment = 4;
constexpr uint16_t most_datagrams = 32;

std::string_view table_mark(NtbContent content)
{
    return content == NtbContent::ethernet ? std::string_view("NCM0") : std::string_view("IPS\0", 4);
}

size_t number_at(std::string_view bytes, size_t at)
{
    return little_endian_at(bytes, at, 2);
}

std::string number(size_t value)
{
    return little_endian(static_cast<uint32_t>(value), 2);
}

size_t aligned(size_t bytes)
{
    return (bytes + alignment - 1) / alignment * alignment;
}

/// One table's datagrams. @return where the next table is; 0: there is none, or this one is wrong
size_t take_table(std::string_view block, size_t at, NtbContent content, std::vector<std::string_view> &datagrams)
{
    if (at % alignment != 0 || at < block_head_bytes || at + table_head_bytes > block.size())
        return 0;
    const size_t length = number_at(block, at + 4);
    if (length < table_head_bytes + 2 * entry_bytes || length % alignment != 0 || at + length > block.size())
        return 0;
    const bool is_wanted = block.substr(at, 4) == table_mark(content);
    for (size_t entry = at + table_head_bytes; is_wanted && entry < at + length; entry += entry_bytes) {
        const size_t start = number_at(block, entry);
        const size_t size = number_at(block, entry + 2);
        if (start == 0 || size == 0)
            break;
        if (start < block_head_bytes || start + size > block.size())
            return 0;
        datagrams.push_back(block.substr(start, size));
    }
    return number_at(block, at + 6);
}

} // namespace

// Header, datagrams, table: each begins at a multiple of four.
std::string ntb_of(std::span<const std::string_view> datagrams, NtbContent content, uint16_t sequence)
{
    std::string body;
    std::string entries;
    for (const std::string_view datagram : datagrams) {
        entries += number(block_head_bytes + body.size()) + number(datagram.size());
        body += datagram;
        body.resize(aligned(body.size()));
    }
    entries += number(0) + number(0);
    const size_t table = block_head_bytes + body.size();
    const size_t table_bytes = table_head_bytes + entries.size();
    return std::string(block_mark) + number(block_head_bytes) + number(sequence) + number(table + table_bytes) +
           number(table) + body + std::string(table_mark(content)) + number(table_bytes) + number(0) + entries;
}

std::vector<std::string_view> datagrams_of(std::string_view ntb, NtbContent content)
{
    std::vector<std::string_view> datagrams;
    if (ntb.size() < block_head_bytes || !ntb.starts_with(block_mark) || number_at(ntb, 4) != block_head_bytes)
        return datagrams;
    // A length of 0: the block ends with the transfer.
    const size_t length = number_at(ntb, 8);
    if (length > ntb.size())
        return datagrams;
    const std::string_view block = length == 0 ? ntb : ntb.substr(0, length);
    size_t table = number_at(ntb, 10);
    while (table != 0) {
        const size_t next = take_table(block, table, content, datagrams);
        // Tables may only follow each other: a chain that goes back would never end.
        table = next > table ? next : 0;
    }
    return datagrams;
}

std::string ntb_parameters()
{
    // its length, 16 bit blocks only; twice: most bytes, divisor and remainder of a datagram's place, alignment of a
    // table, and to the host nothing, from it the most datagrams
    std::string text = number(28) + number(1);
    for (const uint16_t last : {uint16_t{0}, most_datagrams})
        text += little_endian(most_ntb_bytes, 4) + number(alignment) + number(0) + number(alignment) + number(last);
    return text;
}

} // namespace simulator
