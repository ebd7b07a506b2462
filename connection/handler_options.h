#pragma once

#include "connection/setting_options.h"

/// What the network daemon's handler of a protocol makes of an option. A text that would be more to it than a value
/// must not be stored: handlers are shell scripts, run as root. No text may have control characters.
enum class TextUse : uint8_t {
    value,   ///< always in quotes, or not read
    at_text, ///< between the quotes of an AT command: no quote
    word,    ///< expanded without quotes: nothing that splits it or matches file names
    command, ///< in a line that PPP gives to a shell: nothing that a shell reads as more than a letter
};

struct HandlerRow {
    char proto[9];
    std::array<TextUse, setting_options.size()> uses; ///< in the order of setting_options
};

namespace handler_rows {

using enum TextUse;

// Measured: OpenWrt's handlers ran with every character in every option, with recorders in place of what they call. The
// last row is that of all others, "callip" and "qcm": makers have them, and nobody knows what they do.
// clang-format off
inline constexpr std::array handlers = {
    //                     service  device   apn      mtu      operator pincode  dialnum. username password auth
    HandlerRow{"qmi",      {value,   word,    word,    word,    value,   value,   value,   word,    word,    word}},
    HandlerRow{"mbim",     {value,   word,    value,   word,    value,   value,   value,   value,   value,   value}},
    HandlerRow{"ncm",      {value,   word,    at_text, value,   value,   at_text, value,   at_text, at_text, value}},
    HandlerRow{"directip", {value,   word,    at_text, value,   value,   at_text, value,   at_text, at_text, value}},
    HandlerRow{"3g",       {value,   value,   command, word,    value,   at_text, command, value,   value,   value}},
    HandlerRow{"dhcp",     {value,   word,    value,   value,   value,   value,   value,   value,   value,   value}},
    HandlerRow{"",         {command, command, command, command, value,   command, command, command, command, command}},
};
// clang-format on

} // namespace handler_rows

using handler_rows::handlers;

/// The first setting that the handler of proto would not take as a mere value; null if there is none.
const SettingOption *find_refused_setting(const char *proto, const ConnectSettings &settings);
