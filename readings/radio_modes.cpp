#include "readings/radio_modes.h"

#include "readings/fields.h"

namespace {

// clang-format off
// auto, 4g, 5g, 4g+5g, 3g, 2g
constexpr ModeFamily modes[] = {
    {.tag = "+QNWPREFCFG:", .dialects = {"quectel"}, .question = "AT+QNWPREFCFG=\"mode_pref\"", .key = "mode_pref",
     .field = 1, .keeps_record = false, .before = "AT+QNWPREFCFG=\"mode_pref\",", .after = "",
     .values = {"AUTO", "LTE", "NR5G", "LTE:NR5G|NR5G:LTE", "WCDMA", ""}},
    {.tag = "+QCFG:", .dialects = {"quectel"}, .question = "AT+QCFG=\"nwscanmode\"", .key = "nwscanmode",
     .field = 1, .keeps_record = false, .before = "AT+QCFG=\"nwscanmode\",", .after = ",1",
     .values = {"0", "3", "", "", "2", "1"}},
    // The record has the bands too, so the way back writes it all.
    {.tag = "+GTACT:", .dialects = {"fibocom"}, .question = "AT+GTACT?", .key = nullptr,
     .field = 0, .keeps_record = true, .before = "AT+GTACT=", .after = "",
     .values = {"20|10", "2", "14", "17", "1", ""}},
    // The numbers differ by firmware, the names do not.
    {.tag = "!SELRAT:", .dialects = {"sierra"}, .question = "AT!SELRAT?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT!SELRAT=", .after = "", .values = {}, .names = "AT!SELRAT=?"},
    {.tag = "+CNMP:", .dialects = {"simcom"}, .question = "AT+CNMP?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+CNMP=", .after = "",
     .values = {"2", "38", "71", "109", "14", "13"}},
    {.tag = "^SYSCFGEX:", .dialects = {"huawei", "meig", "3gpp"}, .question = "AT^SYSCFGEX?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT^SYSCFGEX=\"", .after = "\",40000000,2,4,40000000,,",
     .values = {"00", "03", "08", "0803|0308", "02", "01"}},
    {.tag = "+ZSNT:", .dialects = {"zte"}, .question = "AT+ZSNT?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+ZSNT=", .after = ",0,0", .values = {"0", "6", "", "", "2", "1"}},
    {.tag = "^SLMODE:", .dialects = {"foxconn"}, .question = "AT^SLMODE?", .key = nullptr,
     .field = 1, .keeps_record = false, .before = "AT^SLMODE=1,", .after = "",
     .values = {"0|7", "2", "4", "6", "1", ""}},
    // 3GPP TS 27.007. 25 and 31 are all that a 4G modem has.
    {.tag = "+WS46:", .dialects = {"telit", "3gpp", "fibocom"}, .question = "AT+WS46?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+WS46=", .after = "",
     .values = {"35|38|25|31", "28", "36", "37", "22", "12"}},
};
// clang-format on

constexpr const char *mode_names[] = {"auto", "4g", "5g", "4g+5g", "3g", "2g", "other"};

bool has_word(std::string_view text, std::string_view word)
{
    return find_word(text, word) != std::string_view::npos;
}

// "LTE and NR 5G Only", "UMTS 3G Only", "Automatic"
RadioMode mode_of_words(std::string_view words)
{
    if (has_word(words, "AUTOMATIC"))
        return RadioMode::automatic;
    const bool has_4g = has_word(words, "LTE");
    const bool has_5g = has_word(words, "5G");
    const bool has_3g = has_word(words, "UMTS") || has_word(words, "WCDMA");
    const bool has_2g = has_word(words, "GSM");
    if (!has_word(words, "ONLY") || has_4g + has_5g + has_3g + has_2g > 2)
        return RadioMode::other;
    if (has_4g && has_5g)
        return RadioMode::only_4g_5g;
    if (has_4g + has_5g + has_3g + has_2g != 1)
        return RadioMode::other;
    return has_4g ? RadioMode::only_4g : has_5g ? RadioMode::only_5g : has_3g ? RadioMode::only_3g : RadioMode::only_2g;
}

RadioMode mode_of_value(const ModeFamily &family, std::string_view value)
{
    for (size_t i = 0; i < radio_modes; i++)
        for (std::string_view values = family.values[i]; !values.empty();)
            if (take_until(values, "|") == value)
                return static_cast<RadioMode>(i);
    return RadioMode::other;
}

} // namespace

const char *radio_mode_name(RadioMode mode)
{
    return mode_names[static_cast<size_t>(mode)];
}

RadioMode parse_radio_mode(std::string_view word)
{
    for (size_t i = 0; i < radio_modes; i++)
        if (word == mode_names[i])
            return static_cast<RadioMode>(i);
    return RadioMode::other;
}

std::span<const ModeFamily> mode_families()
{
    return modes;
}

std::optional<ModeSetting> read_mode(const ModeFamily &family, std::string_view reply)
{
    for (std::string_view record; next_record(reply, family.tag, record);) {
        const Fields fields{record};
        const std::string_view value = fields[family.field];
        if ((family.key != nullptr && fields[0] != family.key) || value.empty())
            continue;
        ModeSetting setting;
        setting.mode = family.names != nullptr ? mode_of_words(fields[1]) : mode_of_value(family, value);
        const bool is_whole = setting.value.assign(trim(family.keeps_record ? record : value));
        // It becomes a part of a command.
        if (is_whole && is_made_of(setting.value.view(), family.keeps_record ? "," : ":"))
            return setting;
    }
    return std::nullopt;
}

Text<40> values_of(const ModeFamily &family, RadioMode mode, std::string_view names)
{
    if (mode == RadioMode::other)
        return {};
    if (family.names == nullptr)
        return Text<40>{family.values[static_cast<size_t>(mode)]};
    // 06, LTE Only
    for (std::string_view line; next_line(names, line);) {
        const std::string_view index = trim(take_until(line, ","));
        if (index.size() == 2 && hexadecimal(index) && mode_of_words(line) == mode)
            return Text<40>{index};
    }
    return {};
}

CommandLines compose_mode(const ModeFamily &family, std::string_view value)
{
    CommandLines line{family.before};
    line.append(value);
    line.append(family.after);
    line.append("\n");
    return line;
}
