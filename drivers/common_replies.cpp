#include "drivers/common_replies.h"

#include <algorithm>

#include "at/reply.h"

namespace {

// text after its first line break (a carriage return or line feed with a line feed after it); a null pointer without
// one.
std::string_view after_line_break(std::string_view text)
{
    for (size_t i = 0; i + 1 < text.size(); i++)
        if ((text[i] == '\r' || text[i] == '\n') && text[i + 1] == '\n')
            return without_first(text, i + 2);
    return {};
}

// Empty if there is none.
std::string_view first_digits(std::string_view text)
{
    const auto *start = std::ranges::find_if(text, is_digit);
    const auto *end = std::ranges::find_if_not(start, text.end(), is_digit);
    return {start, static_cast<size_t>(end - start)};
}

int32_t bars_of_rssi(int rssi)
{
    struct Step {
        int least_rssi;
        int32_t bars;
    };
    static constexpr Step steps[] = {{32, 0}, {24, 4}, {19, 3}, {14, 2}, {2, 1}};
    for (const Step &step : steps)
        if (rssi >= step.least_rssi)
            return step.bars;
    return 0;
}

} // namespace

int copy_digits(std::string_view reply, size_t count, TextOut out)
{
    const std::string_view digits = first_characters(first_digits(reply), count);
    out.assign(digits);
    return digits.size() == count ? 0 : -1;
}

// Manufacturer: QUALCOMM INCORPORATED
// Model: SIMCOM_SIM7600E-H                 (SIM7600E-H; ITU-T V.250, "ATI")
// Quectel modules have no such line, but
// Revision: EC25EFAR06A03M4G               (EC25-E)
std::optional<std::string_view> parse_model(std::string_view reply)
{
    for (const std::string_view label : {"Model:", "Revision:"}) {
        const auto value = after_first(reply, label);
        if (!value)
            continue;
        if (value->empty() || value->front() == '\n')
            return std::nullopt;
        return first_characters(*value, value->find('\n'));
    }
    return std::nullopt;
}

// +CSQ: 28,99                              (EC25; 3GPP TS 27.007, "AT+CSQ": RSSI 0 to 31, 99 for unknown, then BER)
std::optional<int32_t> parse_signal_bars(std::string_view reply)
{
    constexpr size_t too_many_digits = 9;
    const std::string_view digits = first_digits(after_line_break(reply));
    if (digits.empty() || digits.size() >= too_many_digits)
        return std::nullopt;
    int rssi = 0;
    for (const char digit : digits)
        rssi = rssi * 10 + (digit - '0');
    return bars_of_rssi(rssi);
}

// +COPS: 0,0,"SGP-M1",7                    (EG25-G; 3GPP TS 27.007, "AT+COPS")
std::optional<std::string_view> parse_operator(std::string_view reply)
{
    // A text between quotes may be empty: an empty name is no name.
    const std::string_view quoted = after_first(reply, "\"").value_or(std::string_view{});
    const std::string_view name = first_characters(quoted, quoted.find_first_of("\"\r\n"));
    return name.empty() ? std::nullopt : std::optional{name};
}

// +CREG: 2,1,"1206","19E4A03",13            (EC25; 3GPP TS 27.007, "AT+CREG": mode, status, cell)
std::optional<int> parse_registration(std::string_view reply)
{
    const std::string_view line = after_line_break(reply);
    for (size_t i = 0; i + 1 < line.size(); i++) {
        if ((line[i] == '\r' || line[i] == '\n') && line[i + 1] == '\n')
            return std::nullopt;
        if (line[i] == ',' && is_digit(line[i + 1]))
            return line[i + 1] - '0';
    }
    return std::nullopt;
}

Text<16> parse_imei(std::string_view reply)
{
    Text<16> digits;
    for (const char character : reply)
        if (is_digit(character))
            digits.append({&character, 1});
    return digits;
}
