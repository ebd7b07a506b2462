#include <algorithm>

#include "simulator/router/option_text.h"

namespace simulator {

namespace {

constexpr uint64_t longest_setup_ms = 1U << 30;
constexpr uint64_t most_traffic = 1'000'000'000;
constexpr uint64_t most_questions = 1'000'000;
constexpr uint64_t least_traffic = 14; // a frame without anything in it

void set_setup(LinkBehaviour &link, const std::string &value)
{
    if (value == "never")
        link.setup_ms.reset();
    else
        link.setup_ms = static_cast<int64_t>(parse_number("--link: setup", value, longest_setup_ms));
}

void set_address(LinkBehaviour &link, std::string_view value)
{
    link.address = take_until('/', value);
    link.mask = value.empty() ? 32 : static_cast<int>(parse_number("--link: address", value, 128));
}

LinkDemand::Path parse_path(const std::string &value)
{
    if (value != "qmi" && value != "serial")
        throw OptionError("--link: needs: \"" + value + "\" is neither qmi nor serial");
    return value == "qmi" ? LinkDemand::Path::qmi : LinkDemand::Path::serial;
}

uint64_t parse_bytes(const std::string &text)
{
    const uint64_t bytes = parse_number("--link: traffic", text, most_traffic);
    if (bytes > 0 && bytes < least_traffic)
        throw OptionError("--link: traffic: a packet has 14 bytes or more");
    return bytes;
}

/// "BYTES" in both directions, or "RECEIVED/SENT".
Traffic parse_traffic(std::string_view value)
{
    const bool is_both = value.find('/') == std::string_view::npos;
    const uint64_t received = parse_bytes(take_until('/', value));
    return {received, is_both ? received : parse_bytes(std::string(value))};
}

NameServers::Behaviour parse_server(const std::string &word)
{
    if (word == "answer")
        return {NameServers::Way::answer};
    if (word == "fail")
        return {NameServers::Way::failure};
    if (word == "silent")
        return {NameServers::Way::silent};
    return {NameServers::Way::answer, static_cast<int>(parse_number("--link: dns", word, most_questions))};
}

/// "HOW" of all name servers, or "OWN/OTHERS".
void set_names(LinkBehaviour &link, std::string_view value)
{
    link.names.own = link.names.others = parse_server(take_until('/', value));
    if (!value.empty())
        link.names.others = parse_server(std::string(value));
}

struct LinkRow {
    std::string_view name;
    void (*apply)(LinkBehaviour &link, const std::string &value);
};

// clang-format off
constexpr LinkRow link_rows[] = {
    {"setup",     set_setup},
    {"error",     [](LinkBehaviour &link, const std::string &value) { link.error = value; }},
    {"device",    [](LinkBehaviour &link, const std::string &value) { link.l3_device = value; }},
    {"address",   [](LinkBehaviour &link, const std::string &value) { set_address(link, value); }},
    {"gateway",   [](LinkBehaviour &link, const std::string &value) { link.gateway = value; }},
    {"server",    [](LinkBehaviour &link, const std::string &value) { link.dns = {value}; }},
    {"companion", [](LinkBehaviour &link, const std::string &value) { link.companion = parse_number("--link: companion", value, 1) == 1; }},
    {"apn",       [](LinkBehaviour &link, const std::string &value) { link.demand.apn = value; }},
    {"context",   [](LinkBehaviour &link, const std::string &value) { link.demand.context = value; }},
    {"cid",       [](LinkBehaviour &link, const std::string &value) { link.demand.cid = static_cast<int>(parse_number("--link: cid", value, 16)); }},
    {"username",  [](LinkBehaviour &link, const std::string &value) { link.demand.username = value; }},
    {"password",  [](LinkBehaviour &link, const std::string &value) { link.demand.password = value; }},
    {"needs",     [](LinkBehaviour &link, const std::string &value) { link.demand.path = parse_path(value); }},
    {"traffic",   [](LinkBehaviour &link, const std::string &value) { link.traffic = parse_traffic(value); }},
    {"dns",       [](LinkBehaviour &link, const std::string &value) { set_names(link, value); }},
};
// clang-format on

std::string known_names()
{
    std::string names;
    for (const LinkRow &row : link_rows)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

} // namespace

LinkChoice parse_link(std::string_view text)
{
    LinkChoice link;
    if (text.substr(0, text.find(',')).find('=') == std::string_view::npos)
        link.interface = take_until(',', text);
    while (!text.empty()) {
        const std::string setting = take_until(',', text);
        std::string_view value = setting;
        const std::string name = take_until('=', value);
        const auto *row = std::ranges::find(link_rows, name, &LinkRow::name);
        if (row == std::end(link_rows))
            throw OptionError("--link: \"" + name + "\" is not one of " + known_names());
        row->apply(link.behaviour, std::string(value));
    }
    return link;
}

} // namespace simulator
