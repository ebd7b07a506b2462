// Any text in any class of piece: a line that holds it must be, for the shell, the words of its pattern with that text
// as one word. The shell's side is a small splitter that knows every character with a meaning to sh.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/shell_line.h"
#include "tests/fuzz/check.h"

namespace {

using Words = std::vector<std::string>;

// What sh makes of a line of plain and double-quoted words; nothing when a part of it is more than a word to sh.
std::optional<Words> words_of(std::string_view line)
{
    constexpr std::string_view meaningful = "\t\n\r|&;<>()$`\\'*?[]#~=%!{}^";
    Words words;
    bool is_in_word = false;
    bool is_quoted = false;
    for (const char c : line) {
        if (meaningful.find(c) != std::string_view::npos || c < ' ' || c == '\x7f')
            return std::nullopt;
        if (c == '"') {
            is_quoted = !is_quoted;
        } else if (c == ' ' && !is_quoted) {
            is_in_word = false;
            continue;
        }
        if (!is_in_word)
            words.emplace_back();
        is_in_word = true;
        if (c != '"')
            words.back() += c;
    }
    return is_quoted ? std::nullopt : std::optional{words};
}

struct PieceClass {
    const char *name;
    Piece (*make)(Piece::Source text);
    const char *others;
    bool is_quoted; // its texts have spaces, so that its lines quote it
};
// Written again from what is documented, not from the code.
constexpr PieceClass classes[] = {
    {"code", Piece::code, "", false},      {"address", Piece::address, ".:", false},
    {"bus", Piece::bus, "-.", false},      {"interface", Piece::interface, "_-.", false},
    {"path", Piece::path, "_-./:", false}, {"plain", Piece::plain, "_-. ", true},
};

bool is_documented(const PieceClass &its_class, const std::string &text)
{
    const std::string_view name = its_class.name;
    if (text.empty())
        return name == "plain";
    const bool is_too_long = name == "interface" && text.size() > 45;
    const bool climbs = name == "path" && text.find("/..") != std::string::npos;
    const std::string allowed =
        std::string{"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"} + its_class.others;
    return !is_too_long && !climbs && text[0] != '-' && text.find_first_not_of(allowed) == std::string::npos;
}

void try_class(const PieceClass &its_class, const std::string &text)
{
    const Piece piece = its_class.make(std::string_view{text});
    const ShellLine<100> line = its_class.is_quoted ? ShellLine<100>{"run \"{}\" it {}", piece, Piece::code("0")}
                                                    : ShellLine<100>{"run {} it {}", piece, Piece::code("0")};
    const bool fits = text.size() + (its_class.is_quoted ? 11 : 9) <= 99;
    check(line.empty() != (is_documented(its_class, text) && fits), its_class.name);
    if (line.empty())
        return;
    const auto words = words_of(line.view());
    check(words && *words == Words{"run", text, "it", "0"}, "a piece is one word to the shell");
}

void try_as_it_came(const std::string &text)
{
    const std::string whole = "run '" + std::string{text.c_str()} + "' it";
    const ShellLine<100> line{"run '{}' it", Piece::as_it_came(text.c_str())};
    check(line.view() == (whole.size() <= 99 ? whole : ""), "a line that does not fit is empty");
    const auto cut = ShellLine<100>::cut("run '{}' it", Piece::as_it_came(text.c_str()));
    check(cut.view() == whole.substr(0, 99), "a line that is cut is cut at its capacity");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(bytes), size);
    for (const PieceClass &its_class : classes)
        try_class(its_class, text);
    try_as_it_came(text);
    return 0;
}
