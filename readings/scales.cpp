#include "readings/scales.h"

#include "readings/fields.h"

namespace {

struct Word {
    std::string_view word;
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

template <size_t N> std::optional<int64_t> in_list(std::string_view field, const int16_t (&list)[N])
{
    const auto index = decimal(field);
    return index && *index >= 0 && *index < static_cast<int64_t>(N) ? std::optional<int64_t>{list[*index]}
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

} // namespace

Technology technology_of_quectel(std::string_view text)
{
    for (const Word &row : quectel_words)
        if (find_word(text, row.word) != std::string_view::npos)
            return row.technology;
    return Technology::unknown;
}

Technology technology_of_act(std::optional<int64_t> act)
{
    return act && *act >= 0 && *act < static_cast<int64_t>(std::size(act_technologies)) ? act_technologies[*act]
                                                                                        : Technology::unknown;
}

std::optional<int64_t> level_of_index(std::string_view field, const IndexScale &scale)
{
    const auto index = decimal(field);
    if (!index || *index < scale.least_index || *index > scale.most_index)
        return std::nullopt;
    return scale.of_zero + *index * scale.step;
}

std::optional<int64_t> scaled(std::string_view field, Scale scale)
{
    const auto times = [&](int64_t factor) {
        const auto number = decimal(field);
        return number ? std::optional<int64_t>{*number * factor} : std::nullopt;
    };
    switch (scale) {
    case Scale::hex:
        return hexadecimal(field);
    case Scale::decibels:
        return hundredths(field);
    case Scale::tenths:
        return times(10);
    case Scale::halves:
        return times(50);
    case Scale::with_unit:
        return leading_hundredths(field);
    case Scale::both_forms:
        return number_in_both_forms(field);
    case Scale::lte_bw_index:
        return in_list(field, lte_bandwidths);
    case Scale::lte_bw_blocks:
        return bandwidth_of_blocks(field);
    case Scale::nr_bw_index: {
        const auto index = in_list(field, nr_bandwidths_mhz);
        return index ? std::optional<int64_t>{*index * 100} : times(100);
    }
    case Scale::nr_bw_fifths:
        return times(20);
    case Scale::kilohertz: {
        const auto number = decimal(field);
        return number ? std::optional<int64_t>{*number / 10} : std::nullopt;
    }
    case Scale::lte_rsrp:
        return level_of_index(field, lte_rsrp_index);
    case Scale::lte_rsrq:
        return level_of_index(field, lte_rsrq_index);
    case Scale::nr_rsrp:
        return level_of_index(field, nr_rsrp_index);
    case Scale::nr_rsrq:
        return level_of_index(field, nr_rsrq_index);
    case Scale::nr_sinr:
        return level_of_index(field, nr_sinr_index);
    case Scale::positive: {
        const auto number = decimal(field);
        return number && *number > 0 ? number : std::nullopt;
    }
    default:
        return decimal(field);
    }
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

void tell_fields(const Fields &fields, std::span<const FieldRule> rules, Cell &cell, size_t shift)
{
    for (const FieldRule &rule : rules)
        tell_value(fields[rule.field + shift], rule.quantity, rule.scale, cell);
}

void tell_plmn(Cell &cell, std::string_view digits)
{
    if (digits.size() == 5 || digits.size() == 6)
        cell.tell_network(first_characters(digits, 3), without_first(digits, 3));
}
