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

// The kept inputs of a target are in its pack, "<folder>.pack"; those that found a fault are files of the folder. A
// pack is a text, one input a line, in double quotes: printable ASCII as it is; \n, \r and \t; \" and \\; every other
// byte as \xNN with two small hexadecimal digits. First come the inputs that people wrote, each after its name and a
// space, then what the search added. Both parts are sorted, and no line is there twice, so that a new input is one new
// line for a reviewer.

struct CorpusInput {
    std::string name; ///< "packed-0001" for the first line without a name
    std::string bytes;

    bool operator==(const CorpusInput &) const = default;
};

struct Pack {
    std::vector<CorpusInput> named;
    std::vector<std::string> added; ///< by the search
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

/// A pack's text; nothing when it has no line, a broken one, a last one without its end, one twice, or when a part is
/// not sorted.
inline std::optional<Pack> read_pack(std::string_view text)
{
    Pack pack;
    std::string_view before;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        const size_t quote = line.find('"');
        const std::string_view name = quote == 0 || quote == std::string_view::npos ? "" : line.substr(0, quote - 1);
        const bool is_named = quote != 0;
        const bool is_first_added = !is_named && pack.added.empty();
        const std::optional<std::string> input =
            quote == std::string_view::npos ? std::nullopt : from_pack_line(line.substr(quote));
        if (!input || (is_named && (name.empty() || line[quote - 1] != ' ' || !pack.added.empty())) ||
            (!is_first_added && line <= before))
            return std::nullopt;
        if (is_named)
            pack.named.push_back({std::string(name), *input});
        else
            pack.added.push_back(*input);
        before = line;
    }
    return pack.named.empty() && pack.added.empty() ? std::nullopt : std::optional{pack};
}

inline std::string compose_pack(const Pack &pack)
{
    std::vector<std::string> named;
    for (const CorpusInput &input : pack.named)
        named.push_back(input.name + " " + to_pack_line(input.bytes) + "\n");
    std::vector<std::string> added;
    for (const std::string &input : pack.added)
        added.push_back(to_pack_line(input) + "\n");
    std::string text;
    for (auto *lines : {&named, &added}) {
        std::sort(lines->begin(), lines->end());
        lines->erase(std::unique(lines->begin(), lines->end()), lines->end());
        for (const std::string &line : *lines)
            text += line;
    }
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

/// The files of a folder in the order of their names; none when there is no such folder.
inline std::vector<CorpusInput> read_input_files(const std::filesystem::path &folder)
{
    std::vector<CorpusInput> inputs;
    if (!std::filesystem::is_directory(folder))
        return inputs;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        inputs.push_back({entry.path().filename(), read_whole_file(entry.path())});
    std::sort(inputs.begin(), inputs.end(), [](const auto &one, const auto &other) { return one.name < other.name; });
    return inputs;
}

/// A target's inputs that have names: those that found a fault, then those that people wrote.
inline std::vector<CorpusInput> read_named_inputs(const std::filesystem::path &folder)
{
    std::vector<CorpusInput> inputs = read_input_files(folder);
    if (const auto pack = read_pack(read_whole_file(pack_of(folder))))
        inputs.insert(inputs.end(), pack->named.begin(), pack->named.end());
    return inputs;
}

/// All inputs of a target, those with names first; nothing when its pack is missing, empty or broken.
inline std::optional<std::vector<CorpusInput>> read_corpus(const std::filesystem::path &folder)
{
    const auto pack = read_pack(read_whole_file(pack_of(folder)));
    if (!pack)
        return std::nullopt;
    std::vector<CorpusInput> inputs = read_named_inputs(folder);
    int count = 0;
    for (const std::string &bytes : pack->added) {
        char name[32];
        snprintf(name, sizeof(name), "packed-%04d", ++count);
        inputs.push_back({name, bytes});
    }
    return inputs;
}
