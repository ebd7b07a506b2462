#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// Texts by name: a modem's variables, or what a pattern captured.
using Values = std::map<std::string, std::string, std::less<>>;

std::vector<std::string> split(std::string_view text, char separator);
/// Letters, digits and '_'; the first is a lower-case letter.
bool is_variable_name(std::string_view text);

/// A command as a profile writes it: literal text (case does not matter) with places that take part of the command:
///   <name>      one or more characters, no comma and no quote; between two quotes: none or more, no quote
///   <name:1-16> a number of that range; <name:0|1|4> one of the listed texts; both mix: <name:0|10-20>
///   <name*>     everything that is left, also nothing
class Pattern {
  public:
    Pattern() = default;
    /// Throws std::invalid_argument with the reason.
    explicit Pattern(std::string_view text);

    /// The texts at the places; nothing if command does not fit.
    std::optional<Values> match(std::string_view command) const;
    const std::string &text() const { return text_; }
    std::vector<std::string> names() const;

  private:
    struct Part {
        std::string literal{};              ///< when name is empty
        std::string name{};                 ///< what it takes goes under this name
        std::vector<std::string> choices{}; ///< texts and ranges; empty takes any
        bool quoted = false;
        bool rest = false;
    };
    bool match_from(size_t part, std::string_view command, Values &taken) const;
    static bool takes(const Part &part, std::string_view text);

    std::string text_;
    std::vector<Part> parts_;
};

} // namespace simulator
