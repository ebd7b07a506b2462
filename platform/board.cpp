#include "platform/board.h"

#include <arpa/inet.h>
#include <net/route.h>
#include <sys/stat.h>

#include "platform/board_sources.h"
#include "platform/files.h"

namespace {

// Takes the text up to the first of delimiters off the front of rest, and the delimiter with it.
std::string_view take_until(std::string_view &rest, const char *delimiters)
{
    const std::string_view taken = first_characters(rest, rest.find_first_of(delimiters));
    rest = without_first(rest, taken.size() + 1);
    return taken;
}

std::string_view take_column(std::string_view &line)
{
    line = without_first(line, line.find_first_not_of(" \t"));
    return take_until(line, " \t");
}

std::optional<uint32_t> take_hexadecimal(std::string_view &line)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    const std::string_view column = take_column(line);
    uint32_t number = 0;
    for (const char character : column) {
        const size_t digit = digits.find(character);
        if (digit == std::string_view::npos || number >> 28 != 0)
            return std::nullopt;
        number = number << 4 | static_cast<uint32_t>(digit);
    }
    return column.empty() ? std::nullopt : std::optional{number};
}

std::optional<in_addr> parse_route(std::string_view line, std::string_view device)
{
    if (take_column(line) != device)
        return std::nullopt;
    const auto destination = take_hexadecimal(line);
    const auto gateway = take_hexadecimal(line);
    const auto flags = take_hexadecimal(line);
    for (int unused = 0; unused < 3; unused++) // reference count, use count, metric
        take_column(line);
    const auto mask = take_hexadecimal(line);
    if (destination != 0U || mask != 0U || !gateway || !flags)
        return std::nullopt;
    if ((*flags & (RTF_UP | RTF_GATEWAY)) != (RTF_UP | RTF_GATEWAY))
        return std::nullopt;
    // The kernel prints the address as the number that this machine reads from its four bytes: no byte order to change.
    return in_addr{.s_addr = *gateway};
}

} // namespace

std::string_view parse_model_name(std::string_view board_name)
{
    const std::string_view line = take_until(board_name, "\n");
    return without_first(line, line.find_last_of(',') + 1); // npos + 1 is 0: the whole line
}

std::optional<in_addr> parse_default_gateway(std::string_view text, std::string_view device)
{
    while (!text.empty())
        if (const auto gateway = parse_route(take_until(text, "\n"), device))
            return gateway;
    return std::nullopt;
}

void read_model_name(const char *board_name_path, TextOut out)
{
    Text<1024> board_name;
    read_file(board_name_path, board_name.capacity(), board_name);
    out.assign(parse_model_name(board_name.view()));
}

int read_gateway(const char *routes_path, const char *device, TextOut out)
{
    out.clear();
    const File routes{fopen(routes_path, "re")};
    if (!routes)
        return -1;
    Text<256> line;
    bool at_line_start = true;
    while (fgets(line.data(), line.capacity(), routes.get())) {
        const auto gateway = at_line_start ? parse_default_gateway(line.view(), device) : std::nullopt;
        at_line_start = line.view().ends_with('\n');
        if (!gateway)
            continue;
        Text<INET_ADDRSTRLEN> dotted;
        inet_ntop(AF_INET, &*gateway, dotted.data(), dotted.capacity());
        out.assign(dotted.view());
        return 0;
    }
    return -1;
}

void get_model_name(TextOut out)
{
    // The system makes the folder at boot. Where it does not, any user of the router could name a board.
    struct stat folder;
    out.clear();
    if (lstat("/tmp/sysinfo", &folder) == 0 && (folder.st_uid == 0 || folder.st_uid == geteuid()))
        read_model_name("/tmp/sysinfo/board_name", out);
}

int get_gateway_by_ifname(const char *device, TextOut out)
{
    return read_gateway("/proc/net/route", device, out);
}

int cmm_check_file_is_exist(const char *path)
{
    return access(path, F_OK) == 0 ? 1 : 0;
}
