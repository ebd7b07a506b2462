#pragma once

#include <concepts>

#include "platform/text.h"

// The one gate to the shell. Only these two types go through it: a ShellCommand, which is a literal of this program,
// and a ShellLine, which is a literal with checked texts in its holes. Neither can be made from a text that is read at
// run time.

/// One text for a hole of a ShellLine, with the class of characters that it may contain. All classes allow letters and
/// digits. None allows a character that could end the command or start another one. No class allows a text that starts
/// with '-', which a command would read as an option. Only `plain` allows an empty text.
class Piece {
  public:
    /// A text that ends at its zero byte, or after size bytes.
    struct Source {
        constexpr Source(const char *text) : start(text), size(up_to_zero) {}
        constexpr Source(std::string_view text) : start(text.data()), size(static_cast<uint32_t>(text.size())) {}
        static constexpr uint32_t up_to_zero = UINT32_MAX;
        const char *start;
        uint32_t size;
    };
    static constexpr Piece code(Source text) { return {text, Class::code}; }       ///< only those: IMSI, network code
    static constexpr Piece address(Source text) { return {text, Class::address}; } ///< and '.', ':'
    static constexpr Piece bus(Source text) { return {text, Class::bus}; }         ///< and '-', '.'
    /// And '_', '-', '.'; at most 45 bytes, which is longer than any interface name.
    static constexpr Piece interface(Source text) { return {text, Class::interface}; }
    static constexpr Piece path(Source text) { return {text, Class::path}; } ///< and '_', '-', '.', '/', ':'; no "/.."
    static constexpr Piece plain(Source text)
    {
        return {text, Class::plain};
    } ///< and '_', '-', '.', space: names in a row
    /// Any text, unchecked, because callers depend on it: docs/security.md says for each what they must check.
    static constexpr Piece as_it_came(const char *text) { return {text, Class::as_it_came}; }

    std::string_view text() const;
    bool is_harmless() const;

  private:
    enum class Class : unsigned char { code, address, bus, interface, path, plain, as_it_came };
    constexpr Piece(Source text, Class its_class) : source_(text), class_(its_class) {}

    Source source_;
    Class class_;
};

/// A literal with one "{}" for each piece of the line. Another number of holes does not compile, and neither does a
/// text that is not known at compile time.
template <size_t Holes> class ShellPattern {
  public:
    consteval ShellPattern(const char *literal) : text_(literal)
    {
        size_t holes = 0;
        std::string_view rest = literal;
        for (size_t hole = rest.find("{}"); hole != std::string_view::npos; hole = rest.find("{}")) {
            holes++;
            rest.remove_prefix(hole + 2);
        }
        if (holes != Holes)
            abort(); // is no constant expression, and so no program
    }
    const char *c_str() const { return text_; }

  private:
    const char *text_;
};

enum class WhenTooLong : bool { empty, cut };

/// Composes the line that a ShellLine stores. It is empty if a piece does not fit its class.
void fill_shell_line(TextOut out, const char *pattern, const Piece *pieces, WhenTooLong when_too_long);

/// A command for the shell of at most N - 1 bytes: ShellLine<64>{"ifdown {}", Piece::interface(name)}. It is empty, and
/// an empty line is never run, if a piece does not fit its class or the line is too long.
template <size_t N> class ShellLine {
  public:
    template <std::same_as<Piece>... Pieces>
    requires(sizeof...(Pieces) > 0) explicit ShellLine(ShellPattern<sizeof...(Pieces)> pattern, Pieces... pieces)
        : ShellLine(WhenTooLong::empty, pattern.c_str(), pieces...)
    {
    }
    /// A line that is cut if it is too long, for the lines that promise that.
    template <std::same_as<Piece>... Pieces>
    static ShellLine cut(ShellPattern<sizeof...(Pieces)> pattern, Pieces... pieces)
    {
        return ShellLine{WhenTooLong::cut, pattern.c_str(), pieces...};
    }

    const char *c_str() const { return bytes_; }
    std::string_view view() const { return bytes_; }
    size_t size() const { return view().size(); }
    bool empty() const { return bytes_[0] == '\0'; }
    bool operator==(std::string_view other) const { return view() == other; }

  private:
    template <std::same_as<Piece>... Pieces> ShellLine(WhenTooLong when_too_long, const char *pattern, Pieces... pieces)
    {
        const Piece all[] = {pieces...};
        fill_shell_line({bytes_, N}, pattern, all, when_too_long);
    }

    char bytes_[N];
};

/// A command that may be run: a literal, or a line for as long as that lives.
class ShellCommand {
  public:
    constexpr ShellCommand() = default;
    consteval ShellCommand(const char *literal) : text_(literal)
    {
        // Reading it also refuses an array that the program could fill later.
        if (std::string_view{literal}.empty())
            abort(); // is no constant expression, and so no program
    }
    template <size_t N> ShellCommand(const ShellLine<N> &line) : text_(line.c_str()) {}

    const char *c_str() const { return text_; }
    bool empty() const { return *text_ == '\0'; }
    bool operator==(std::string_view other) const { return text_ == other; }

  private:
    const char *text_ = "";
};
