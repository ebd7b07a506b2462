#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/pattern.h"
#include "simulator/router/fault.h"

namespace simulator {

using Milliseconds = int64_t;

/// A condition on a variable or capture: its value is one of values (texts with $variables); no values: it is not
/// empty.
struct Condition {
    std::string name;
    std::vector<std::string> values;
    bool negated = false;
    bool operator==(const Condition &) const = default;
};

/// A line of a row's reply, or a variable that is set; a row takes them from top to bottom.
struct Step {
    std::string text;                  ///< as written, with $variables and escapes: the line, or the variable's value
    std::vector<Condition> conditions; ///< used only if all hold
    std::string each;                  ///< taken once for every number from first to last, which is then $each
    int first = 0;
    std::string last{}; ///< a number, or a $variable that holds one
    int cme_error = -1; ///< 0 or more: an error line, in the form that the variable cmee selects; text is its long form
    std::string variable{}; ///< what is set, may hold $variables; empty: a line is printed
    bool add = false;       ///< text is a number to add to the variable
    bool operator==(const Step &) const = default;
};

/// An unsolicited line.
struct UnsolicitedLine {
    enum class When {
        before, ///< between echo and reply
        inside, ///< after line position of the reply
        after,  ///< at_ms after the reply
        at,     ///< once, at_ms after the modem was switched on, at first or again
        boot,   ///< once, at_ms after it came back from a restart
        every,  ///< every at_ms
        random  ///< every at_ms to until_ms
    } when;
    std::string text;
    int position = 0;
    Milliseconds at_ms = 0;
    Milliseconds until_ms = 0;
    int interface = -1;                  ///< -1: where the command came, or the first that answers AT
    std::vector<Condition> conditions{}; ///< in a row: printed only if all hold at the row's end
    bool operator==(const UnsolicitedLine &) const = default;
};

struct Detach {
    Milliseconds in_ms;   ///< after the reply
    Milliseconds away_ms; ///< -1: for good
    bool renumbered;      ///< back under other device numbers
    bool operator==(const Detach &) const = default;
};

/// What a row does with its interface's data call.
struct CallOrder {
    enum class Kind { dial, resume, end } kind;
    std::string context{}; ///< of dial: the PDP context, may hold $variables
    bool operator==(const CallOrder &) const = default;
};

/// What a row does with the session of the modem's network interface.
struct DataOrder {
    bool opens = false;
    std::string context{}; ///< the PDP context, may hold $variables
};

struct Row {
    Pattern command;
    std::vector<Condition> conditions;
    std::string prompt; ///< the text that the host writes after a "> " becomes this name's value; empty: no prompt
    Milliseconds delay_ms = 0;
    std::vector<UnsolicitedLine> unsolicited;
    std::optional<Detach> detach;
    std::optional<CallOrder> call;
    std::optional<DataOrder> data;
    std::vector<Step> steps;
    std::string file;
    int line = 0;
};

struct Variable {
    std::string name;
    std::string initial;
    std::vector<std::string> allowed; ///< empty: any text
    bool stored = false;              ///< survives a restart of the modem
};

/// One interface of the USB device.
struct Interface {
    enum class Kind { ttyUSB, ttyACM, cdc_wdm, none };
    enum class Role { silent, at, talks };
    /// How it carries packets, if it does. The middle ones need a second interface, of the next number.
    enum class Network { makers_own, ecm, ncm, mbim, qmi };
    int number = 0;
    Kind kind = Kind::none;
    Role role = Role::silent;
    std::string netdev{}; ///< "wwan0", empty without one
    Network network = Network::makers_own;

    bool is_standard() const { return network != Network::makers_own && network != Network::qmi; }
    /// To a kernel: it has a control channel.
    bool has_channel() const { return kind == Kind::cdc_wdm || network == Network::qmi; }
};

/// A simulated modem as its profile file describes it. docs/simulated-modems.md is the manual of the format.
struct Profile {
    std::string name;  ///< of the file, without ".modem"
    std::string model; ///< empty in a base that is only there to be included
    std::string about;
    uint16_t vendor_id = 0;
    uint16_t product_id = 0;
    std::vector<Interface> interfaces;
    std::vector<Variable> variables;
    std::vector<UnsolicitedLine> unsolicited;
    std::vector<Fault> faults;
    std::vector<Row> rows; ///< in the order in which they are tried; own rows before included ones

    const Interface *interface(int number) const;
    /// The first that answers AT; -1 when none does.
    int at_interface() const;
};

/// What is wrong with a profile: "EC25.modem:12: unknown directive ...".
struct ProfileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The text of an included file by its name.
using IncludeReader = std::function<std::string(const std::string &)>;

/// Parses a profile; file is its name in messages. Throws ProfileError.
Profile parse_profile(const std::string &file, std::string_view text, const IncludeReader &read_include);

/// Reads "<directory>/<name>.modem" (case of name does not matter), includes from the same directory; a name with a
/// slash is the path of a file of the user's own, whose includes are looked for beside it, then in directory. Throws
/// ProfileError.
Profile load_profile(const std::filesystem::path &directory, const std::string &name);

/// The profiles in directory that have a model, by name. Throws ProfileError on a bad one, filesystem_error without the
/// directory.
std::vector<Profile> list_profiles(const std::filesystem::path &directory);

} // namespace simulator
