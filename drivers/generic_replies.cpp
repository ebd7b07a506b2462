#include "drivers/generic_replies.h"

#include <algorithm>

#include "at/reply.h"
#include "drivers/generic.h"

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

std::string_view first_digits(std::string_view text)
{
    const auto *start = std::find_if(text.begin(), text.end(), is_digit);
    const auto *end = std::find_if_not(start, text.end(), is_digit);
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

std::string_view parse_model(std::string_view reply)
{
    for (const std::string_view label : {"Model:", "Revision:"}) {
        const std::string_view found = from_first(reply, label);
        if (found.data() == nullptr)
            continue;
        const std::string_view value = without_first(found, label.size());
        return first_characters(value, value.find('\n'));
    }
    return {};
}

const char *parse_access_technology(std::string_view reply)
{
    struct Technology {
        const char *word;
        const char *generation;
    };
    static constexpr Technology technologies[] = {
        {"LTE", "4G"},   {"HSPA+", "4G"}, // HSPA+ counts as 4G
        {"CDMA", "3G"},  {"EVDO", "3G"},  {"UMTS", "3G"}, {"TD-SCDMA", "3G"}, {"HSPA", "3G"}, {"HSUPA", "3G"},
        {"HSDPA", "3G"}, {"HDR", "3G"},   {"GSM", "2G"},  {"GPRS", "2G"},     {"EDGE", "2G"},
    };
    for (const Technology &technology : technologies)
        if (str_contains(reply, technology.word))
            return technology.generation;
    return nullptr;
}

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

std::string_view parse_imsi(std::string_view reply)
{
    constexpr size_t imsi_length = 15;
    const std::string_view digits = first_digits(reply);
    return digits.size() < imsi_length ? std::string_view{} : first_characters(digits, imsi_length);
}

std::string_view parse_operator(std::string_view reply)
{
    // Empty pieces between quotes count: an empty name is no name.
    const std::string_view name = without_first(from_first(reply, "\""), 1);
    return first_characters(name, name.find_first_of("\"\r\n"));
}

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
