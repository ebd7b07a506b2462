#include "watch/settings.h"

#include <algorithm>

#include "core/model/modem.h"
#include "readings/fields.h"

namespace {

constexpr uint32_t day = 86400;

// What is out of its range keeps the default.
// clang-format off
constexpr WatchNumber numbers[] = {
    {"interval",        &WatchConfig::interval,        1, 600},
    {"idle",            &WatchConfig::idle,            0, day},
    {"stall",           &WatchConfig::stall,           1, day},
    {"stall_packets",   &WatchConfig::stall_packets,   1, 100'000},
    {"grace",           &WatchConfig::grace,           1, 3600},
    {"reset_grace",     &WatchConfig::reset_grace,     1, 3600},
    {"retry",           &WatchConfig::retry,           1, 600},
    {"settle",          &WatchConfig::settle,          1, day},
    {"absent_wait",     &WatchConfig::absent_wait,     1, day},
    {"blocked_wait",    &WatchConfig::blocked_wait,    1, day},
    {"no_service_wait", &WatchConfig::no_service_wait, 1, day},
    {"backoff",         &WatchConfig::backoff,         1, day},
    {"resets_per_day",  &WatchConfig::resets_per_day,  0, 20},
};
constexpr char probes[][5] = {"none", "dns", "ping", "both"};
// clang-format on

class Reader {
  public:
    explicit Reader(const char *bus) : uci_(kuci2_init()) { bus_to_ident(bus, section_); }

    void text(const char *option, TextOut out) const { read_watch_option(uci_, section_.c_str(), option, out); }
    bool is(const char *option, std::string_view word) const
    {
        Text<12> value;
        text(option, value);
        return value == word;
    }
    void number(const char *option, uint32_t &out, uint32_t least, uint32_t most) const
    {
        Text<16> digits;
        text(option, digits);
        if (const auto value = decimal(digits.view()); value && *value >= least && *value <= most)
            out = static_cast<uint32_t>(*value);
    }
    /// @return the option's length, up to what a PIN may have and one more
    size_t network(const char *iface, const char *option, Text<10> &out) const
    {
        kuci2_get_name(uci_, "network", iface, option, out);
        return out.size();
    }

  private:
    Uci uci_;
    Text<16> section_;
};

} // namespace

std::span<const WatchNumber> watch_numbers()
{
    return numbers;
}

void read_watch_option(const Uci &uci, const char *section, const char *option, TextOut out)
{
    if (kuci2_get_name(uci, "modemctl", section, option, out) != 0 || out.empty())
        kuci2_get_name(uci, "modemctl", "watch", option, out);
}

WatchSettings read_watch_settings(const char *bus)
{
    const Reader reader{bus};
    WatchSettings settings;
    for (const WatchNumber &option : numbers)
        reader.number(option.name, settings.config.*option.number, option.least, option.most);
    for (uint32_t i = 0; i < std::size(probes); i++)
        if (reader.is("probe", probes[i]))
            settings.config.probe = i;
    settings.is_enabled = !reader.is("enabled", "0");
    reader.text("interface", settings.iface);
    if (settings.iface.empty())
        settings.iface = interface_of_bus(bus);
    const char *iface = settings.iface.c_str();
    Text<10> value;
    // A file that cannot be read has no loopback either, and tells nothing.
    settings.is_configured =
        reader.network(iface, "proto", value) != 0 || reader.network("loopback", "proto", value) == 0;
    reader.network(iface, "disabled", value);
    settings.is_disabled = value == "1";
    // It becomes part of a command; 8 digits are the most.
    const size_t length = reader.network(iface, "pincode", value);
    if (length >= 4 && length <= 8 && decimal(value.view()))
        settings.pin.assign(value.view());
    Text<96> targets;
    reader.text("target", targets);
    std::string_view rest = targets.view();
    for (Text<46> &target : settings.targets)
        target.assign(take_until(rest, " "));
    reader.text("led", settings.led);
    reader.text("roaming", settings.roaming);
    reader.text("last_stage", settings.last_stage);
    reader.text("usage_warn", settings.warnings);
    reader.number("usage_limit", settings.limit_mb, 0, 100'000'000);
    reader.number("usage_day", settings.first_day, 1, 28);
    settings.is_limit_hard = reader.is("usage_action", "disconnect");
    return settings;
}

uint32_t hash_texts(std::initializer_list<std::string_view> texts)
{
    uint32_t hash = 2166136261U; // FNV-1a
    for (const std::string_view text : texts)
        for (const char character : text)
            hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
    return hash;
}

uint32_t hash_pin(std::string_view iccid, std::string_view pin)
{
    return pin.empty() ? 0 : std::max(hash_texts({iccid, pin}), 1U);
}

bool is_roaming_forbidden(std::string_view roaming, std::string_view mcc)
{
    if (roaming.empty() || roaming == "allow")
        return false;
    if (roaming == "deny")
        return true;
    while (!roaming.empty())
        if (const std::string_view country = take_until(roaming, " ,"); !country.empty() && country == mcc)
            return false;
    return true;
}
