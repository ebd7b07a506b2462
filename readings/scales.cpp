#include "readings/scales.h"

#include "readings/fields.h"

namespace {

struct Word {
    const char *word;
    Technology technology;
};
// Asked in order: the first word that the text contains decides, so longer ones come first.
constexpr Word quectel_words[] = {
    {"NOSERVICE", Technology::none}, {"NO SERVICE", Technology::none}, {"NR5G-NSA", Technology::nr_nsa},
    {"NR5G", Technology::nr_sa},     {"EMTC", Technology::emtc},       {"CAT-M", Technology::emtc},
    {"NBIOT", Technology::nb_iot},   {"CAT-NB", Technology::nb_iot},   {"LTE", Technology::lte},
    {"TDSCDMA", Technology::wcdma},  {"TD-SCDMA", Technology::wcdma},  {"WCDMA", Technology::wcdma},
    {"UMTS", Technology::wcdma},     {"HSPA", Technology::wcdma},      {"HSDPA", Technology::wcdma},
    {"HSUPA", Technology::wcdma},    {"EDGE", Technology::gsm},        {"GPRS", Technology::gsm},
    {"GSM", Technology::gsm},        {"CDMA", Technology::cdma},       {"EVDO", Technology::cdma},
    {"HDR", Technology::cdma},
};

constexpr Technology act_technologies[] = {
    Technology::gsm,   Technology::gsm,   Technology::wcdma, Technology::gsm,    Technology::wcdma,
    Technology::wcdma, Technology::wcdma, Technology::lte,   Technology::emtc,   Technology::nb_iot,
    Technology::lte,   Technology::nr_sa, Technology::nr_sa, Technology::nr_nsa,
};

constexpr int16_t lte_bandwidths[] = {140, 300, 500, 1000, 1500, 2000};
constexpr int16_t lte_blocks[] = {6, 15, 25, 50, 75, 100};
// RG50xQ/RM5xxQ AT manual, AT+QENG, NR_DL_bandwidth.
constexpr int16_t nr_bandwidths_mhz[] = {5, 10, 15, 20, 25, 30, 40, 50, 60, 70, 80, 90, 100, 200, 400, 35, 45};

std::optional<int64_t> bandwidth_of_index(std::string_view field)
{
    const auto index = decimal(field);
    return index && *index >= 0 && *index < static_cast<int64_t>(std::size(lte_bandwidths))
               ? std::optional<int64_t>{lte_bandwidths[*index]}
               : std::nullopt;
}

std::optional<int64_t> bandwidth_of_blocks(std::string_view field)
{
    const auto blocks = decimal(field);
    for (size_t i = 0; i < std::size(lte_blocks); i++)
        if (blocks == lte_blocks[i])
            return lte_bandwidths[i];
    return std::nullopt;
}

// A number beyond the list is one of MHz.
std::optional<int64_t> nr_bandwidth_of_index(std::string_view field)
{
    auto mhz = decimal(field);
    if (mhz && *mhz >= 0 && *mhz < static_cast<int64_t>(std::size(nr_bandwidths_mhz)))
        mhz = nr_bandwidths_mhz[*mhz];
    return mhz ? std::optional<int64_t>{*mhz * 100} : std::nullopt;
}

std::optional<int64_t> hundredths_of_kilohertz(std::string_view field)
{
    const auto number = decimal(field);
    return number ? std::optional<int64_t>{*number / 10} : std::nullopt;
}

std::optional<int64_t> above_zero(std::string_view field)
{
    const auto number = decimal(field);
    return number && *number > 0 ? number : std::nullopt;
}

std::optional<int64_t> decimal_or_hexadecimal(std::string_view field)
{
    const auto number = decimal(field);
    return number ? number : hexadecimal(field);
}

// What receivers measure ends near -113 dBm, so that a 125 without its sign is no level.
std::optional<int64_t> without_sign(std::string_view field)
{
    constexpr int64_t most = 11300;
    const auto number = hundredths(field);
    if (!number || *number <= 0)
        return number;
    return *number <= most ? std::optional<int64_t>{-*number} : std::nullopt;
}

// "01F5C481 (32883841)": both forms have to agree, since people mask one and forget the other.
std::optional<int64_t> number_in_both_forms(std::string_view value)
{
    const auto number = hexadecimal(take_until(value, " \t"));
    std::string_view rest = trim(value);
    if (!rest.starts_with('('))
        return number;
    rest.remove_prefix(1);
    return number == decimal(take_until(rest, ")")) ? number : std::nullopt;
}

// A number from least to most stands for of_zero + number * step; others have no meaning.
struct LinearScale {
    int16_t of_zero, step, least, most;
};
constexpr LinearScale linear_scales[] = {
    {0, 10, INT16_MIN, INT16_MAX}, // tenths
    {0, 50, INT16_MIN, INT16_MAX}, // halves
    {0, 1, INT16_MIN, INT16_MAX},  // hundredth
    {0, 20, 0, INT16_MAX},         // nr_bw_fifths
    {-14100, 100, 0, 97},          // lte_rsrp
    {-2000, 50, -30, 46},          // lte_rsrq
    {-15700, 100, 0, 125},         // nr_rsrp; 126 is for what is not measured too
    {-4350, 50, 0, 125},           // nr_rsrq; likewise
    {-2350, 50, 0, 127},           // nr_sinr
    {-12100, 100, 0, 96},          // rscp
    {-2450, 50, 0, 49},            // ecio
    {-11100, 100, 0, 63},          // rxlev
    {-2000, 20, 0, 250},           // quectel_sinr: fifths (Quectel AT manuals, AT+QCSQ)
    {-2020, 20, 0, 251},           // huawei_sinr
    {-3250, 50, 0, 65},            // huawei_ecio
};

using ReadNumber = std::optional<int64_t> (*)(std::string_view field);
constexpr ReadNumber readers[] = {
    decimal,
    above_zero,
    hexadecimal,
    decimal_or_hexadecimal,
    number_in_both_forms,
    hundredths,
    leading_hundredths,
    without_sign,
    bandwidth_of_index,
    bandwidth_of_blocks,
    nr_bandwidth_of_index,
    hundredths_of_kilohertz,
};
static_assert(std::size(readers) == static_cast<size_t>(Scale::tenths));
static_assert(std::size(readers) + std::size(linear_scales) == static_cast<size_t>(Scale::count));

} // namespace

Technology technology_of_quectel(std::string_view text)
{
    for (const Word &row : quectel_words)
        if (find_word(text, row.word) != std::string_view::npos)
            return row.technology;
    return Technology::unknown;
}

bool has_lte_record(std::string_view reply, std::string_view tag)
{
    for (std::string_view record; next_record(reply, tag, record);)
        if (technology_of_quectel(take_until(record, ",")) == Technology::lte)
            return true;
    return false;
}

Technology technology_of_act(std::optional<int64_t> act)
{
    return act && *act >= 0 && *act < static_cast<int64_t>(std::size(act_technologies)) ? act_technologies[*act]
                                                                                        : Technology::unknown;
}

std::optional<int64_t> scaled(std::string_view field, Scale scale)
{
    const auto index = static_cast<size_t>(scale);
    if (index < std::size(readers))
        return readers[index](field);
    const LinearScale &linear = linear_scales[index - std::size(readers)];
    const auto number = decimal(field);
    if (!number || *number < linear.least || *number > linear.most)
        return std::nullopt;
    return linear.of_zero + static_cast<int32_t>(*number) * linear.step;
}

void tell_value(std::string_view value, Quantity quantity, Scale scale, Cell &cell)
{
    switch (scale) {
    case Scale::lte_band:
    case Scale::nr_band:
        return cell.tell_band(decimal(value), scale == Scale::nr_band);
    case Scale::band_words:
        return cell.tell_band(value);
    default:
        return cell.tell(quantity, scaled(value, scale));
    }
}

void tell_fields(const Fields &fields, FieldRules rules, Cell &cell, size_t shift)
{
    // A line that ends before its last rule may have been cut, in the middle of a number too.
    const bool is_cut = !rules.empty() && fields.size() <= rules.back().field + shift;
    for (const FieldRule &rule : rules)
        if (!is_cut || rule.field + shift + 1 != fields.size())
            tell_value(fields[rule.field + shift], rule.quantity, rule.scale, cell);
}

void tell_plmn(Cell &cell, std::string_view digits)
{
    if (digits.size() == 5 || digits.size() == 6)
        cell.tell_network(first_characters(digits, 3), without_first(digits, 3));
}
