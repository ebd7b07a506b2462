#include "watch/settings.h"

#include <algorithm>

#include "core/model/modem.h"
#include "platform/uci.h"
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

    template <size_t N> Text<N> text(const char *option) const
    {
        Text<N> value = uci_.text<N>(Text<64>::format("modemctl.%s.%s", section_.c_str(), option).c_str());
        if (value.empty())
            value = uci_.text<N>(Text<64>::format("modemctl.watch.%s", option).c_str());
        return value;
    }

    void number(const char *option, uint32_t &out, uint32_t least, uint32_t most) const
    {
        if (const auto value = decimal(text<16>(option).view()); value && *value >= least && *value <= most)
            out = static_cast<uint32_t>(*value);
    }

    template <size_t N> Text<N> network(const char *iface, const char *option) const
    {
        return uci_.text<N>(Text<64>::format("network.%s.%s", iface, option).c_str());
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

WatchSettings read_watch_settings(const char *bus)
{
    const Reader reader{bus};
    WatchSettings settings;
    for (const WatchNumber &option : numbers)
        reader.number(option.name, settings.config.*option.number, option.least, option.most);
    const auto probe = reader.text<8>("probe");
    for (uint32_t i = 0; i < std::size(probes); i++)
        if (probe == probes[i])
            settings.config.probe = i;
    settings.is_enabled = reader.text<4>("enabled").view() != "0";
    settings.iface = reader.text<16>("interface");
    if (settings.iface.empty())
        settings.iface = interface_of_bus(bus);
    const char *iface = settings.iface.c_str();
    // A file that cannot be read has no loopback either, and tells nothing.
    settings.is_configured =
        !reader.network<4>(iface, "proto").empty() || reader.network<4>("loopback", "proto").empty();
    settings.is_disabled = reader.network<4>(iface, "disabled") == "1";
    // It becomes part of a command.
    if (const auto pin = reader.network<9>(iface, "pincode"); pin.size() >= 4 && decimal(pin.view()))
        settings.pin = pin;
    const auto targets = reader.text<96>("target");
    std::string_view rest = targets.view();
    settings.targets[0].assign(take_until(rest, " "));
    settings.targets[1].assign(take_until(rest, " "));
    settings.led = reader.text<32>("led");
    settings.roaming = reader.text<64>("roaming");
    settings.last_stage = reader.text<12>("last_stage");
    settings.warnings = reader.text<16>("usage_warn");
    reader.number("usage_limit", settings.limit_mb, 0, 100'000'000);
    reader.number("usage_day", settings.first_day, 1, 28);
    settings.is_limit_hard = reader.text<12>("usage_action") == "disconnect";
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
