#include "simulator/router/options.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "simulator/modem/short_message.h"
#include "simulator/router/option_text.h"
#include "simulator/usb/usb_server.h"

namespace simulator {

namespace {

constexpr std::string_view default_bus = "1-1.2";

ModemChoice parse_modem(std::string_view text)
{
    const std::string whole(text);
    const std::string name_and_bus = take_until(',', text);
    const size_t at = name_and_bus.rfind('@');
    ModemChoice modem{name_and_bus.substr(0, at),
                      at == std::string::npos ? std::string(default_bus) : name_and_bus.substr(at + 1),
                      {}};
    if (modem.profile.empty())
        throw OptionError("--modem: \"" + whole + "\" names no modem");
    if (!is_bus(modem.bus))
        throw OptionError("--modem: \"" + modem.bus + "\" is not a USB bus like 1-1.2");
    while (!text.empty()) {
        const std::string setting = take_until(',', text);
        const size_t equals = setting.find('=');
        if (equals == std::string::npos || equals == 0)
            throw OptionError("--modem: \"" + setting + "\" is not variable=value");
        modem.variables[setting.substr(0, equals)] = setting.substr(equals + 1);
    }
    return modem;
}

/// Removes "1-1.2/" from text, if it is there.
std::string take_bus(std::string_view &text)
{
    const size_t slash = text.find('/');
    const bool has_bus = slash != std::string_view::npos && is_bus(text.substr(0, slash));
    return has_bus ? take_until('/', text) : std::string();
}

FaultChoice parse_fault_choice(std::string_view text)
{
    const std::string whole(text);
    const std::string bus = take_bus(text);
    try {
        return {bus, parse_fault(text)};
    } catch (const std::invalid_argument &error) {
        throw OptionError("--fault: \"" + whole + "\": " + error.what());
    }
}

/// "[BUS/]FROM[,after=MS][,flash]:TEXT", "[BUS/]PDU[,after=MS]"
SmsChoice parse_sms(std::string_view option, std::string_view text, bool is_pdu)
{
    const std::string whole(text);
    SmsChoice choice{.bus = take_bus(text), .after_ms = 0, .happenings = {}};
    std::string_view head = is_pdu ? text : text.substr(0, text.find(':'));
    ShortMessage message;
    try {
        if (!is_pdu && head.size() == text.size())
            throw std::invalid_argument("there is no \":\" in front of a text");
        message.from = take_until(',', head);
        while (!head.empty()) {
            const std::string word = take_until(',', head);
            if (word == "flash" && !is_pdu)
                message.flash = true;
            else if (word.starts_with("after="))
                choice.after_ms = static_cast<Milliseconds>(parse_number(option, word.substr(6), 1U << 30));
            else
                throw std::invalid_argument("\"" + word +
                                            (is_pdu ? "\" is not after=MS" : "\" is neither after=MS nor flash"));
        }
        take_until(':', text);
        message.text = text;
        choice.happenings = is_pdu ? std::vector{pdu_happening(message.from)} : message_happenings(message);
    } catch (const std::invalid_argument &error) {
        throw OptionError(std::string(option) + ": \"" + whole + "\": " + error.what());
    }
    return choice;
}

Delivery parse_delivery(std::string_view text)
{
    Delivery delivery;
    delivery.piece_bytes = parse_number("--deliver", take_until(':', text), 65536);
    if (!text.empty())
        delivery.interval_ms = static_cast<Milliseconds>(parse_number("--deliver", text, 60000));
    return delivery;
}

std::string absolute_destination(std::string_view option, std::string_view text)
{
    if (!text.starts_with('/') || text.ends_with('/'))
        throw OptionError(std::string(option) + ": \"" + std::string(text) + "\" is not the absolute path of a file");
    return std::string(text);
}

PutChoice parse_put(std::string_view text)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || colon == 0)
        throw OptionError("--put: \"" + std::string(text) + "\" is not SOURCE:DESTINATION");
    return {absolute_destination("--put", text.substr(colon + 1)), std::string(text.substr(0, colon)), {}};
}

PutChoice parse_put_text(std::string_view text)
{
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        throw OptionError("--put-text: \"" + std::string(text) + "\" is not DESTINATION=TEXT");
    return {absolute_destination("--put-text", text.substr(0, equals)), {}, std::string(text.substr(equals + 1))};
}

Answer parse_answer(std::string_view text)
{
    // The command may hold colons itself: the status is the first number between two.
    for (size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':', colon + 1)) {
        int status = 0;
        const char *begin = text.data() + colon + 1;
        const auto [end, error] = std::from_chars(begin, text.data() + text.size(), status);
        const size_t behind = static_cast<size_t>(end - text.data());
        if (colon == 0 || error != std::errc() || status < 0 || status > 255)
            continue;
        if (behind == text.size() || text[behind] == ':')
            return {std::string(text.substr(0, colon)), status,
                    std::string(behind == text.size() ? std::string_view{} : text.substr(behind + 1))};
    }
    throw OptionError("--answer: \"" + std::string(text) + "\" is not COMMAND:STATUS[:TEXT]");
}

void add_ubus_fault(UbusFaults &faults, std::string_view text)
{
    const std::string whole(text);
    const std::string name = take_until('=', text);
    if (name == "absent")
        faults.absent = true;
    else if (name == "deaf")
        faults.deaf = true;
    else if (name == "dying")
        faults.dying = true;
    else if (name == "delay")
        faults.delay_ms = static_cast<int64_t>(parse_number("--ubus: delay", text, 1U << 30));
    else if (name == "silent" && !text.empty())
        faults.silent.emplace_back(text);
    else
        throw OptionError("--ubus: \"" + whole + "\" is not one of absent, deaf, dying, delay=MS, silent=OBJECT");
}

std::string parse_board(std::string_view text)
{
    if (text.empty() || text.find_first_of("\r\n") != std::string_view::npos)
        throw OptionError("--board: a board needs a name of one line");
    return std::string(text);
}

std::string parse_path(std::string_view option, std::string_view text)
{
    if (text.empty())
        throw OptionError(std::string(option) + ": needs the name of a file or folder");
    return std::string(text);
}

struct OptionRow {
    std::string_view name;
    bool has_value;
    void (*apply)(Options &options, std::string_view value);
};

// clang-format off
constexpr OptionRow option_rows[] = {
    {"--modem",         true,  [](Options &o, std::string_view v) { o.modems.push_back(parse_modem(v)); }},
    {"--board",         true,  [](Options &o, std::string_view v) { o.board = parse_board(v); }},
    {"--fault",         true,  [](Options &o, std::string_view v) { o.faults.push_back(parse_fault_choice(v)); }},
    {"--sms",           true,  [](Options &o, std::string_view v) { o.messages.push_back(parse_sms("--sms", v, false)); }},
    {"--sms-pdu",       true,  [](Options &o, std::string_view v) { o.messages.push_back(parse_sms("--sms-pdu", v, true)); }},
    {"--deliver",       true,  [](Options &o, std::string_view v) { o.delivery = parse_delivery(v); }},
    {"--kernel",        false, [](Options &o, std::string_view) { o.kernel = true; }},
    {"--renumber",      false, [](Options &o, std::string_view) { o.renumber = true; }},
    {"--seed",          true,  [](Options &o, std::string_view v) { o.seed = static_cast<uint32_t>(parse_number("--seed", v, UINT32_MAX)); }},
    {"--products",      true,  [](Options &o, std::string_view v) { o.products = parse_path("--products", v); }},
    {"--runner",        true,  [](Options &o, std::string_view v) { o.runner = parse_path("--runner", v); }},
    {"--profiles",      true,  [](Options &o, std::string_view v) { o.profiles = parse_path("--profiles", v); }},
    {"--put",           true,  [](Options &o, std::string_view v) { o.puts.push_back(parse_put(v)); }},
    {"--put-text",      true,  [](Options &o, std::string_view v) { o.puts.push_back(parse_put_text(v)); }},
    {"--answer",        true,  [](Options &o, std::string_view v) { o.answers.push_back(parse_answer(v)); }},
    {"--link",          true,  [](Options &o, std::string_view v) { o.links.push_back(parse_link(v)); }},
    {"--ubus",          true,  [](Options &o, std::string_view v) { add_ubus_fault(o.ubus, v); }},
    {"--config-size",   true,  [](Options &o, std::string_view v) { o.config_bytes = parse_number("--config-size", v, 64U << 20); }},
    {"--extra-folders", true,  [](Options &o, std::string_view v) { o.extra_folders = parse_number("--extra-folders", v, 100000); }},
    {"--journal",       true,  [](Options &o, std::string_view v) { o.journal = parse_path("--journal", v); }},
    {"--log",           true,  [](Options &o, std::string_view v) { o.log = parse_path("--log", v); }},
    {"--coverage",      true,  [](Options &o, std::string_view v) { o.coverage = parse_path("--coverage", v); }},
    {"--strict",        false, [](Options &o, std::string_view) { o.strict = true; }},
    {"--wait",          false, [](Options &o, std::string_view) { o.wait = true; }},
    {"--list",          false, [](Options &o, std::string_view) { o.list = true; }},
    {"--help",          false, [](Options &o, std::string_view) { o.help = true; }},
};
// clang-format on

/// What a modem that is a USB device cannot do, and what only such a one can.
void check_kernel(const Options &options)
{
    if (!options.kernel) {
        for (const FaultChoice &fault : options.faults)
            if (fault.fault.kind == FaultKind::stuck)
                throw OptionError(
                    "--fault: stuck needs --kernel: a pseudo terminal takes bytes whatever the modem does");
        return;
    }
    if (options.renumber)
        throw OptionError("--kernel: the kernel numbers devices itself, so there is no --renumber");
    if (options.extra_folders > 0)
        throw OptionError("--kernel: sysfs is the kernel's, so there are no --extra-folders");
    std::vector<std::string> buses;
    for (const ModemChoice &modem : options.modems)
        buses.push_back(modem.bus);
    if (const std::string reason = check_usb_buses(buses); !reason.empty())
        throw OptionError(reason);
}

void check_buses(const Options &options)
{
    std::set<std::string> buses;
    for (const ModemChoice &modem : options.modems)
        if (!buses.insert(modem.bus).second)
            throw OptionError("--modem: two modems on bus " + modem.bus);
    for (const FaultChoice &fault : options.faults)
        if (!fault.bus.empty() && !buses.contains(fault.bus))
            throw OptionError("--fault: there is no modem on bus " + fault.bus);
    for (const SmsChoice &message : options.messages)
        if (!message.bus.empty() && !buses.contains(message.bus))
            throw OptionError("--sms: there is no modem on bus " + message.bus);
}

} // namespace

Options parse_options(std::span<const std::string> arguments)
{
    Options options;
    size_t next = 0;
    while (next < arguments.size()) {
        const std::string &argument = arguments[next++];
        if (argument == "--")
            break;
        std::string_view value = argument;
        const std::string name = take_until('=', value);
        const bool value_inside = name.size() < argument.size();
        const auto *row = std::ranges::find(option_rows, name, &OptionRow::name);
        if (row == std::end(option_rows))
            throw OptionError(argument.starts_with('-')
                                  ? "unknown option " + argument + " (--help lists them)"
                                  : "\"" + argument + "\" is not an option; the command comes after --");
        if (!row->has_value && value_inside)
            throw OptionError(name + " takes no value");
        if (row->has_value && !value_inside) {
            if (next == arguments.size())
                throw OptionError(name + " needs a value");
            value = arguments[next++];
        }
        row->apply(options, value);
    }
    options.command.assign(arguments.begin() + static_cast<std::ptrdiff_t>(next), arguments.end());
    check_buses(options);
    check_kernel(options);
    return options;
}

bool is_bus(std::string_view text)
{
    for (size_t i = 0;; i++) {
        uint8_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || number == 0)
            return false;
        text.remove_prefix(static_cast<size_t>(end - text.data()));
        if (text.empty())
            return i > 0;
        if (text.front() != (i == 0 ? '-' : '.'))
            return false;
        text.remove_prefix(1);
    }
}

LinkDemand operators_demand(const Options &options)
{
    auto link = std::ranges::find(options.links, "", &LinkChoice::interface);
    if (link == options.links.end())
        link = options.links.begin();
    return link == options.links.end() ? LinkDemand() : link->behaviour.demand;
}

const Answer *find_answer(std::span<const Answer> answers, std::string_view command)
{
    const Answer *best = nullptr;
    for (const Answer &answer : answers) {
        const bool begins = command.starts_with(answer.command) &&
                            (command.size() == answer.command.size() || command[answer.command.size()] == ' ');
        if (begins && (best == nullptr || answer.command.size() >= best->command.size()))
            best = &answer;
    }
    return best;
}

std::string_view help_text()
{
    return R"(usage: simrouter [option...] [-- command [argument...]]

Runs a command, or an interactive shell, in a simulated OpenWrt router with simulated modems.

  --modem NAME[@BUS][,variable=value...]
                        plugs a modem in (BUS: 1-1.2 when not given); repeatable
  --board NAME          the router's board ("generic")
  --fault [BUS/]FAULT[=NUMBER][:COMMAND]
                        makes one modem or all misbehave; repeatable
  --sms [BUS/]FROM[,after=MS][,flash]:TEXT
                        a modem receives a short message; repeatable
  --sms-pdu [BUS/]PDU[,after=MS]
                        the same, as a PDU in hexadecimal digits; repeatable
  --deliver N[:MS]      modems send in pieces of N bytes, MS milliseconds apart
  --kernel              makes the modems USB devices of Debian's kernel, in a virtual machine
  --renumber            a modem that comes back gets other device numbers
  --seed N              of everything random (1)
  --profiles FOLDER     where modem profiles are looked for
  --products FOLDER     where modemctl and modemapi come from
  --runner PROGRAM      what executes them, qemu for those of another processor
  --put SOURCE:PATH     puts a file or a folder from outside into the router; repeatable
  --put-text PATH=TEXT  puts a file with this text and a newline into the router; repeatable
  --answer COMMAND:STATUS[:TEXT]
                        what a recorded command prints and how it ends; repeatable
  --link [INTERFACE][,setup=MS|never][,error=CODE][,device=NAME][,address=IP/MASK][,gateway=IP][,companion=1]
         [,apn=NAME][,context=NAME][,cid=N][,username=NAME][,password=TEXT][,needs=qmi|serial]
         [,traffic=BYTES[/BYTES]][,dns=HOW[/HOW]]
                        how a network interface comes up, and what its network wants for that; repeatable
  --ubus FAULT          absent, deaf, dying, delay=MS or silent=OBJECT; repeatable
  --config-size BYTES   size of the file system that holds /etc/config, up to 64 MB
  --extra-folders N     more folders in /sys/devices/platform
  --journal FILE        writes down which commands were run, as they run
  --log FILE            writes down every byte to and from the modems
  --coverage FILE       adds which commands the profiles have and lack
  --strict              a command that a profile lacks fails the run (status 79)
  --wait                ends when the background processes have ended too
  --list                lists the modem profiles
  --help                prints this

The exit status is the command's, or 128 and the number of the signal that ended it. simrouter's own: 64 wrong option or
profile, 70 the router could not be set up, 77 namespaces are not allowed here, 79 --strict found a missing command.
)";
}

} // namespace simulator
