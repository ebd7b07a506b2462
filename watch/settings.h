#pragma once

#include <initializer_list>
#include <span>

#include "platform/text.h"
#include "platform/uci.h"
#include "watch/decide.h"

/// What the user configures for the modem on one bus: UCI "modemctl.<bus>", with '_' for the bus's '-' and '.', then
/// "modemctl.watch", which is for all modems. docs/watch.md lists the options.
struct WatchSettings {
    WatchConfig config;
    bool is_enabled = true;
    Text<16> iface;
    bool is_configured = false; ///< the interface, in UCI's network
    bool is_disabled = false;   ///< likewise
    Text<46> targets[2];        ///< name servers by address; empty: the network's own, and a public one
    Text<9> pin;
    Text<32> led;     ///< in /sys/class/leds
    Text<64> roaming; ///< "allow", "deny", or the country codes (MCC) in which the modem may be online
    Text<12> last_stage;
    uint32_t limit_mb = 0; ///< a month; 0: none
    uint32_t first_day = 1;
    Text<16> warnings; ///< per cent of the limit: "80 95"
    bool is_limit_hard = false;
};

/// The option of the modem's section ("1_1_2"), or else of the section for all; empty if neither has it.
void read_watch_option(const Uci &uci, const char *section, const char *option, TextOut out);

WatchSettings read_watch_settings(const char *bus);

/// An option that is a number. What is out of its range counts as not set.
struct WatchNumber {
    char name[16];
    uint32_t WatchConfig::*number;
    uint32_t least, most;
};
std::span<const WatchNumber> watch_numbers();

/// A number that is another one for most other texts.
uint32_t hash_texts(std::initializer_list<std::string_view> texts);

/// A number for the PIN together with the card, so that one that was refused is known again. 0 without a PIN.
uint32_t hash_pin(std::string_view iccid, std::string_view pin);

/// True if a modem that is in a network of this country, and not at home, must not be online.
bool is_roaming_forbidden(std::string_view roaming, std::string_view mcc);
