#pragma once

#include <array>
#include <cstdint>

#include "connection/interface_config.h"
#include "platform/uci.h"

/// When the interface writer writes an option: its place among the options that do not come from the settings.
enum class WriteTurn : uint8_t { by_rule, before_proto, after_device };

/// One setting of a connection under each of its names. Old clients and configurations depend on names that differ: a
/// request says "dianum" and "ath" for what a report calls "dialnum" and "authentication".
struct SettingOption {
    char option[24];  ///< in the UCI section of the interface; with points: a whole path
    char request[12]; ///< in a request of "/modem/set"
    char report[16];  ///< in the report of "/modem/get"
    const char *ConnectSettings::*member;
    WriteTurn turn;
    uint8_t capacity; ///< of the text that `modemctl new-connect-auto` reads
};

// In the order of the report.
// clang-format off
inline constexpr std::array setting_options = {
    SettingOption{"service",                "service",  "service",        &ConnectSettings::service,       WriteTurn::before_proto, 32},
    SettingOption{"device",                 "device",   "device",         &ConnectSettings::device,        WriteTurn::by_rule,      32},
    SettingOption{"apn",                    "apn",      "apn",            &ConnectSettings::apn,           WriteTurn::before_proto, 32},
    SettingOption{"mtu",                    "mtu",      "mtu",            &ConnectSettings::mtu,           WriteTurn::by_rule,      32},
    SettingOption{"devconf.modem.operator", "operator", "operator",       &ConnectSettings::operator_name, WriteTurn::by_rule,      32},
    SettingOption{"pincode",                "pincode",  "pincode",        &ConnectSettings::pincode,       WriteTurn::after_device, 32},
    SettingOption{"dialnumber",             "dianum",   "dialnum",        &ConnectSettings::dialnumber,    WriteTurn::after_device, 32},
    SettingOption{"username",               "username", "username",       &ConnectSettings::username,      WriteTurn::after_device, 64},
    SettingOption{"password",               "password", "password",       &ConnectSettings::password,      WriteTurn::after_device, 64},
    SettingOption{"auth",                   "ath",      "authentication", &ConnectSettings::auth,          WriteTurn::after_device, 32},
};
// clang-format on

/// The stored setting of the interface; empty when it is missing, cut at capacity (64 at most).
Text<64> read_setting(const Uci &uci, const char *iface, const SettingOption &setting, size_t capacity);
