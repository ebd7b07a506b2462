#pragma once

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The kept inputs of a target: files with names for people in a folder, and a pack beside it, "<folder>.pack", with
// those that the search added. A pack is a text, one input a line, in double quotes: printable ASCII as it is; \n, \r
// and \t;
// \" and \\; every other byte as \xNN with two small hexadecimal digits. The lines are sorted, and none is there twice,
// so that a new input is one new line for a reviewer.

struct CorpusInput {
    std::string name; ///< the file's, or "packed-0001" for the first line of the pack
    std::string bytes;
};

inline std::string to_pack_line(std::string_view input)
{
    std::string line = "\"";
    for (const char c : input) {
        char hexadecimal[5];
        snprintf(hexadecimal, sizeof(hexadecimal), "\\x%02x", static_cast<unsigned char>(c));
        switch (c) {
        case '\n':
            line += "\\n";
            break;
        case '\r':
            line += "\\r";
            break;
        case '\t':
            line += "\\t";
            break;
        case '"':
        case '\\':
            line += {'\\', c};
            break;
        default:
            if (c >= ' ' && c <= '~')
                line += c;
            else
                line += hexadecimal;
        }
    }
    return line + '"';
}

/// The byte at the front of text, which is removed from it; nothing when text does not start with one of a pack's
/// forms.
inline std::optional<char> take_packed_byte(std::string_view &text)
{
    const auto take = [&text](size_t size, char byte) {
        text.remove_prefix(size);
        return byte;
    };
    const char first = text.empty() ? '\0' : text[0];
    if (first != '\\')
        return first >= ' ' && first <= '~' && first != '"' ? std::optional{take(1, first)} : std::nullopt;
    switch (text.size() < 2 ? '\0' : text[1]) {
    case 'n':
        return take(2, '\n');
    case 'r':
        return take(2, '\r');
    case 't':
        return take(2, '\t');
    case '"':
        return take(2, '"');
    case '\\':
        return take(2, '\\');
    case 'x':
        break;
    default:
        return std::nullopt;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    const size_t high = text.size() < 4 ? std::string_view::npos : digits.find(text[2]);
    const size_t low = text.size() < 4 ? std::string_view::npos : digits.find(text[3]);
    if (high == std::string_view::npos || low == std::string_view::npos)
        return std::nullopt;
    return take(4, static_cast<char>(high * 16 + low));
}

/// The input of a pack's line; nothing for a line that to_pack_line does not write.
inline std::optional<std::string> from_pack_line(std::string_view line)
{
    if (line.size() < 2 || line.front() != '"' || line.back() != '"')
        return std::nullopt;
    std::string input;
    for (std::string_view text = line.substr(1, line.size() - 2); !text.empty();) {
        const std::optional<char> byte = take_packed_byte(text);
        if (!byte)
            return std::nullopt;
        input += *byte;
    }
    return to_pack_line(input) == line ? std::optional{input} : std::nullopt;
}

/// The inputs of a pack's text; nothing when it has no line, a broken one, a last one without its end, one twice, or
/// when the lines are not sorted.
inline std::optional<std::vector<std::string>> read_pack(std::string_view text)
{
    std::vector<std::string> inputs;
    std::string_view before;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        const std::optional<std::string> input = from_pack_line(line);
        if (!input || line <= before)
            return std::nullopt;
        inputs.push_back(*input);
        before = line;
    }
    return inputs.empty() ? std::nullopt : std::optional{inputs};
}

inline std::string compose_pack(const std::vector<std::string> &inputs)
{
    std::vector<std::string> lines;
    for (const std::string &input : inputs)
        lines.push_back(to_pack_line(input) + '\n');
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    std::string text;
    for (const std::string &line : lines)
        text += line;
    return text;
}

inline std::string read_whole_file(const std::filesystem::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline std::filesystem::path pack_of(const std::filesystem::path &folder)
{
    return folder.string() + ".pack";
}

/// The files of a folder in the order of their names.
inline std::vector<CorpusInput> read_input_files(const std::filesystem::path &folder)
{
    std::vector<CorpusInput> inputs;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        inputs.push_back({entry.path().filename(), read_whole_file(entry.path())});
    std::sort(inputs.begin(), inputs.end(), [](const auto &one, const auto &other) { return one.name < other.name; });
    return inputs;
}

/// All inputs of a target, those with names first; nothing when its pack is missing, empty or broken.
inline std::optional<std::vector<CorpusInput>> read_corpus(const std::filesystem::path &folder)
{
    const auto packed = read_pack(read_whole_file(pack_of(folder)));
    if (!packed)
        return std::nullopt;
    std::vector<CorpusInput> inputs = read_input_files(folder);
    int count = 0;
    for (const std::string &bytes : *packed) {
        char name[32];
        snprintf(name, sizeof(name), "packed-%04d", ++count);
        inputs.push_back({name, bytes});
    }
    return inputs;
}
