#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/pattern.h"
#include "simulator/modem/profile.h"

namespace simulator {

/// What a reply can read: first the values from the command's pattern, then the modem's variables.
struct Scope {
    const Values &variables;
    Values taken;

    /// Empty for an unknown name.
    std::string value(std::string_view name) const;
};

/// text with its variables and escapes replaced:
///   $name           lower-case letters, digits and '_'; '$' before anything else is a plain character
///   ${name}         any name, which $variables may make up: ${apn_$cid}
///   ${name:text}    text if the variable is empty or missing
///   \r \n \t \0 \xHH, \c (nothing), \ before another mark: the mark itself
std::string expand(std::string_view text, const Scope &scope);

/// The plain $names that text reads. Throws std::invalid_argument for an escape or a brace that expand does not know.
std::vector<std::string> names_in(std::string_view text);

bool holds(const Condition &condition, const Scope &scope);
bool hold(const std::vector<Condition> &conditions, const Scope &scope);

/// The highest number of "@ each".
inline constexpr int highest_each = 1000;

/// Takes a row's steps from top to bottom; variables are those of scope. Gives the lines of the reply as printed, each
/// with its CR LF (none after a "\c").
std::vector<std::string> take_steps(const std::vector<Step> &steps, Values &variables, const Scope &scope);

/// True if a reply ends with OK.
bool succeeded(const std::vector<std::string> &lines);

/// The bytes of an unsolicited line: text is what expand made of written. A port that only talks (NMEA) has no empty
/// line in front; nothing at all is added to what was written with "\c" at its end.
std::string frame_unsolicited(std::string_view written, const std::string &text, bool at_port);

} // namespace simulator
