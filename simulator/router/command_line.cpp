#include "simulator/router/command_line.h"

#include <algorithm>
#include <cctype>

namespace simulator {

namespace {

constexpr size_t prefix_length = 2; // "AT"

bool is_letter(char character)
{
    return isalpha(static_cast<unsigned char>(character));
}

bool is_digit(char character)
{
    return isdigit(static_cast<unsigned char>(character));
}

// Position of the "AT"; the end without one.
size_t find_prefix(std::string_view line)
{
    for (size_t i = 0; i + 1 < line.size(); i++)
        if (toupper(static_cast<unsigned char>(line[i])) == 'A' &&
            toupper(static_cast<unsigned char>(line[i + 1])) == 'T')
            return i;
    return line.size();
}

} // namespace

std::string find_command(std::string_view line)
{
    line.remove_prefix(find_prefix(line));
    std::string command;
    bool quoted = false;
    for (const char character : line) {
        if (character == '"')
            quoted = !quoted;
        const auto code = static_cast<unsigned char>(character);
        if (code < ' ' || code == 0x7f || (character == ' ' && !quoted))
            continue;
        command += character;
    }
    return command;
}

std::vector<std::string> split_commands(const std::string &command)
{
    if (command.size() > prefix_length && toupper(static_cast<unsigned char>(command[prefix_length])) == 'D')
        return {command};
    std::vector<std::string> commands;
    const std::string prefix = command.substr(0, prefix_length);
    std::string current = prefix;
    bool quoted = false;
    for (const char character : command.substr(prefix_length)) {
        if (character == '"')
            quoted = !quoted;
        if (character != ';' || quoted) {
            current += character;
            continue;
        }
        if (current.size() > prefix_length)
            commands.push_back(current);
        current = prefix;
    }
    if (current.size() > prefix_length || commands.empty())
        commands.push_back(current);
    return commands;
}

std::vector<std::string> split_basic(const std::string &command)
{
    std::vector<std::string> commands;
    const std::string prefix = command.substr(0, prefix_length);
    size_t i = prefix_length;
    while (i < command.size()) {
        const size_t start = i;
        if (command[i] == '+') {
            commands.push_back(prefix + command.substr(i));
            return commands;
        }
        if (command[i] == '&' || command[i] == '\\')
            i++;
        if (i >= command.size() || !is_letter(command[i]))
            return {};
        i++;
        while (i < command.size() && is_digit(command[i]))
            i++;
        commands.push_back(prefix + command.substr(start, i - start));
    }
    return commands;
}

} // namespace simulator
