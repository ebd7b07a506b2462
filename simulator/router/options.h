#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/modem/modem.h"
#include "simulator/network/network_daemon.h"

namespace simulator {

/// "--modem EC25@1-1.2,sim=ready"
struct ModemChoice {
    std::string profile;
    std::string bus;
    Values variables;
};

/// "--fault 1-1.2/silence:AT+CSQ"; without a bus it is every modem's.
struct FaultChoice {
    std::string bus;
    Fault fault;
};

/// "--sms +441632960000:Hello": what the modem on that bus receives; without a bus every modem does.
struct SmsChoice {
    std::string bus;
    Milliseconds after_ms = 0;
    std::vector<std::string> happenings; ///< one for each part
};

/// "--put SOURCE:DESTINATION", "--put-text DESTINATION=TEXT"
struct PutChoice {
    std::string destination;
    std::string source; ///< a file or folder outside; empty: text counts
    std::string text;
};

/// "--answer 'uqmi -s:1:text'": what a recorded command prints and how it ends.
struct Answer {
    std::string command; ///< its first words
    int status = 0;
    std::string output;
};

/// "--link modem,setup=never": how the setup of an interface goes; without a name it is for all that have none of their
/// own.
struct LinkChoice {
    std::string interface;
    LinkBehaviour behaviour;
};

/// "--ubus FAULT"
struct UbusFaults {
    bool absent = false;             ///< there is no socket
    bool deaf = false;               ///< no call is answered
    bool dying = false;              ///< a caller of a method loses the connection
    int64_t delay_ms = 0;            ///< of every answer to a call
    std::vector<std::string> silent; ///< objects whose owner does not answer
};

struct Options {
    std::vector<ModemChoice> modems;
    std::string board = "generic";
    std::string journal;
    std::string log;
    std::string coverage;
    Delivery delivery;
    std::vector<FaultChoice> faults;
    std::vector<SmsChoice> messages;
    std::vector<PutChoice> puts;
    std::vector<Answer> answers;
    std::vector<LinkChoice> links;
    UbusFaults ubus;
    std::string profiles; ///< folder; empty: the one that came with the program
    std::string products; ///< folder of modemctl; empty: simrouter's own
    std::string runner;   ///< what executes the products, qemu for another processor's; empty: the machine itself
    size_t extra_folders = 0;
    uint64_t config_bytes = 0; ///< size of the file system of /etc/config; 0: no limit
    uint32_t seed = 1;
    bool kernel = false; ///< the modems are USB devices of a virtual machine's kernel
    bool renumber = false;
    bool strict = false;
    bool wait = false;
    bool list = false;
    bool help = false;
    std::vector<std::string> command; ///< empty: an interactive shell
};

/// One line that says what is wrong on the command line.
struct OptionError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Throws OptionError.
Options parse_options(std::span<const std::string> arguments);

/// "1-1.2", "2-1": a bus number, a dash, ports with dots between; no number is above 255.
bool is_bus(std::string_view text);

/// With --kernel, what the network behind the modems demands: that of the --link without a name, or else of the first.
LinkDemand operators_demand(const Options &options);

/// The answer whose command is the longest that command begins with, word by word; null when there is none.
const Answer *find_answer(std::span<const Answer> answers, std::string_view command);

/// The text of --help.
std::string_view help_text();

} // namespace simulator
