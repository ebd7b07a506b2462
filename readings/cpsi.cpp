#include "readings/cpsi.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// Newer firmware prints levels in tenths (-924), older in whole units (-92): no RSRP is above -20 dBm.
constexpr int32_t least_whole_level = -200;

bool is_in_tenths(std::string_view rsrp)
{
    return decimal(rsrp).value_or(0) < least_whole_level;
}

struct Levels {
    uint8_t rsrp, rsrq, rssi, sinr; ///< positions; 0 for none
};

void tell_levels(const Fields &fields, const Levels &at, bool sinr_in_tenths, Cell &cell)
{
    const auto rsrp = static_cast<int32_t>(decimal(fields[at.rsrp]).value_or(least_whole_level));
    if (rsrp >= 0) // no level is above 0 dBm
        return;
    // Some firmware has the RSRP in the place of the RSRQ, which is always much nearer to 0.
    const auto rsrq = static_cast<int32_t>(decimal(fields[at.rsrq]).value_or(0));
    const bool is_swapped = rsrq < 2 * rsrp && !fields[at.sinr].empty();
    const Scale scale = (is_swapped ? rsrq : rsrp) < least_whole_level ? Scale::tenths : Scale::decibels;
    tell_value(fields[is_swapped ? at.rsrq : at.rsrp], Quantity::rsrp, scale, cell);
    tell_value(fields[is_swapped ? at.rsrp : at.rsrq], Quantity::rsrq, scale, cell);
    if (at.rssi != 0)
        tell_value(fields[at.rssi], Quantity::rssi, scale, cell);
    // Newer firmware prints the SINR beside levels in tenths in whole units: only what is out of its range shows which.
    const auto sinr = decimal(fields[at.sinr]);
    sinr_in_tenths = sinr_in_tenths && sinr; // not with a fraction
    if (!sinr_in_tenths || *sinr < -24 || *sinr > 41)
        tell_value(fields[at.sinr], Quantity::sinr, sinr_in_tenths ? Scale::tenths : Scale::decibels, cell);
}

// "460-11"
void tell_dashed_network(Cell &cell, std::string_view network)
{
    const std::string_view mcc = take_until(network, "-");
    cell.tell_network(mcc, network);
}

// clang-format off

// LTE,Online,460-11,0x5A1E,187214780,257,EUTRAN-BAND3,1825,4,4,-102,-924,-632,13     (SIM8200)
// 0   1      2      3      4         5   6            7    8 9 10   11   12   13
// The SIM7000 says "LTE CAT-M1" and "LTE NB-IOT" in the same layout.
constexpr FieldRule lte_rules[] = {
    {3, Quantity::tac, Scale::hex},        {4, Quantity::cell_id, Scale::number},  {5, Quantity::pci, Scale::number},
    {6, {}, Scale::band_words},            {7, Quantity::arfcn, Scale::number},
};
constexpr FieldRule bandwidth_rules[] = {{8, Quantity::bandwidth_dl, Scale::lte_bw_index}};
constexpr FieldRule uplink_rules[] = {{9, Quantity::bandwidth_ul, Scale::lte_bw_index}};
// LTE,Online,286-01,0x172B,387360,449,EUTRAN-BAND3,1651,5,0,22,64,64,10     (A76xx; 0 for the uplink)
// RSRQ and RSRP are indices: with those of +CESQ, the RSRQ is the RSRP less the RSSI plus the resource blocks.
constexpr FieldRule index_rules[] = {
    {10, Quantity::rsrq, Scale::lte_rsrq}, {11, Quantity::rsrp, Scale::lte_rsrp},  {13, Quantity::sinr, Scale::decibels},
};
constexpr Levels lte_levels = {.rsrp = 11, .rsrq = 10, .rssi = 12, .sinr = 13};

// NR5G_SA,Online,242-12,0x765D,4955280,0,NR5G_BAND78,640704,-770,-110,290   (SIM8200; tenths)
// 0       1      2      3      4       5 6           7      8    9    10
// NR5G,Online,311-480,0x2D18,50896642,257,629952,-92,-11,15                 (older firmware; no band)
constexpr FieldRule nr_rules[] = {
    {3, Quantity::tac, Scale::hex},        {4, Quantity::cell_id, Scale::number},  {5, Quantity::pci, Scale::number},
};
constexpr FieldRule channel_rules[] = {{7, Quantity::arfcn, Scale::number}};

// GSM,Online,460-00,0x182d,12401,27 EGSM 900,-64,2110,42-42                                  (SIM7600 manual)
// WCDMA,Online,460-01,0xA809,11122855,WCDMA IMT 2000,279,10663,0,1.5,62,33,52,500            (SIM7600 manual)
// 0     1      2      3      4        5              6   7
// The levels lack their signs: field 12 is 115 less the RSCP in all that were seen. An Ec/Io without a fraction is in
// another unit (SIM5320).
constexpr FieldRule wcdma_rules[] = {
    {3, Quantity::lac, Scale::hex},        {4, Quantity::cell_id, Scale::number},  {5, {}, Scale::band_words},
    {6, Quantity::psc, Scale::number},     {7, Quantity::arfcn, Scale::number},    {10, Quantity::rscp, Scale::unsigned_dbm},
};
constexpr FieldRule gsm_rules[] = {
    {3, Quantity::lac, Scale::hex},        {4, Quantity::cell_id, Scale::number},  {6, Quantity::rssi, Scale::decibels},
};
// clang-format on

bool has_band_at(const Fields &fields, size_t index)
{
    return find_word(fields[index], "BAND") != std::string_view::npos;
}

void read_nr_standalone(const Fields &fields, Cell &cell)
{
    const bool has_band = has_band_at(fields, 6);
    tell_fields(fields, nr_rules, cell);
    if (has_band)
        cell.tell_band(fields[6]);
    tell_fields(fields, channel_rules, cell, has_band ? 0 : static_cast<size_t>(-1));
    const uint8_t rsrp = has_band ? 8 : 7;
    const Levels at = {
        .rsrp = rsrp, .rsrq = static_cast<uint8_t>(rsrp + 1), .rssi = 0, .sinr = static_cast<uint8_t>(rsrp + 2)};
    tell_levels(fields, at, is_in_tenths(fields[rsrp]), cell);
}

// NR5G_NSA,257,NR5G_BAND78,629952,-920,-110,153   (SIM8200; tenths)
// NR5G,257,629952,-11,-92,153                     (older firmware: RSRQ before RSRP, SINR in tenths)
// 0    1   2      3   4   5
void read_nr_beside_lte(const Fields &fields, Cell &cell)
{
    cell.tell(Quantity::pci, decimal(fields[1]));
    if (has_band_at(fields, 2)) {
        cell.tell_band(fields[2]);
        cell.tell(Quantity::arfcn, decimal(fields[3]));
        return tell_levels(fields, {.rsrp = 4, .rsrq = 5, .rssi = 0, .sinr = 6}, is_in_tenths(fields[4]), cell);
    }
    cell.tell(Quantity::arfcn, decimal(fields[2]));
    tell_levels(fields, {.rsrp = 4, .rsrq = 3, .rssi = 0, .sinr = 5}, true, cell);
}

void read_gsm(const Fields &fields, Cell &cell)
{
    tell_fields(fields, gsm_rules, cell);
    std::string_view band = fields[5];
    cell.tell(Quantity::arfcn, decimal(take_until(band, " ")));
    cell.tell_band(band);
}

void read_line(const Fields &fields, Technology technology, Report &report)
{
    Cell &cell = report.serving;
    if (technology == Technology::nr_nsa) {
        report.tell_nr_beside_lte();
        return read_nr_beside_lte(fields, report.nr);
    }
    tell_dashed_network(cell, fields[2]);
    switch (technology) {
    case Technology::nr_sa:
        return read_nr_standalone(fields, cell);
    case Technology::lte:
    case Technology::emtc:
    case Technology::nb_iot:
        tell_fields(fields, lte_rules, cell);
        if (technology != Technology::nb_iot) // a narrow-band carrier has no bandwidth of the list; its field is 0
            tell_fields(fields, bandwidth_rules, cell);
        if (fields[8] != "0" && fields[9] == "0") { // A76xx
            if (decimal(fields[11]).value_or(0) > 0)
                tell_fields(fields, index_rules, cell);
        } else if (technology != Technology::nb_iot)
            tell_fields(fields, uplink_rules, cell);
        if (!fields[lte_levels.rsrq - 1U].starts_with('-')) // a level in the place of a width: a field is missing
            tell_levels(fields, lte_levels, false, cell);
        return;
    case Technology::gsm:
        return read_gsm(fields, cell);
    case Technology::wcdma:
        tell_fields(fields, wcdma_rules, cell);
        if (str_contains(fields[9], "."))
            tell_value(fields[9], Quantity::ecio, Scale::unsigned_dbm, cell);
        return;
    default:
        return;
    }
}

Technology technology_of_line(const Fields &fields)
{
    const std::string_view mode = fields[0];
    if (fields[6].ends_with("BAND0")) // while it moves to another cell
        return Technology::unknown;
    if (starts_with_word(mode, "NR5G"))
        return fields[1] == "Online" ? Technology::nr_sa
               : decimal(fields[1])  ? Technology::nr_nsa
                                     : Technology::unknown;
    if (find_word(mode, "NB-IOT") != std::string_view::npos)
        return Technology::nb_iot;
    if (starts_with_word(mode, "NOT IN"))
        return Technology::unknown;
    return technology_of_quectel(mode);
}

} // namespace

bool read_cpsi(std::string_view reply, Report &report)
{
    bool understood = false;
    // A SIM7100 on CDMA and LTE at a time has a line for each; its data goes over LTE.
    const bool has_lte = has_lte_record(reply, "+CPSI:");
    for (std::string_view record; next_record(reply, "+CPSI:", record);) {
        const Fields fields{record};
        const Technology technology = technology_of_line(fields);
        if (technology == Technology::unknown || (technology == Technology::cdma && has_lte))
            continue;
        understood = true;
        if (technology != Technology::nr_nsa)
            report.tell_technology(technology);
        read_line(fields, technology, report);
    }
    return understood;
}

// +CNSMOD: 0,8        (SIM7600: 0 none, 1 to 3 GSM, 4 to 7 and 9 to 11 WCDMA and TD-SCDMA, 8 LTE)
// +CNSMOD: 0,7        (SIM7000, SIM7070, SIM7080: 7 eMTC, 9 NB-IoT)
bool read_cnsmod(std::string_view reply, Report &report)
{
    static constexpr Technology technologies[] = {
        Technology::none,  Technology::gsm,   Technology::gsm, Technology::gsm,   Technology::wcdma, Technology::wcdma,
        Technology::wcdma, Technology::wcdma, Technology::lte, Technology::wcdma, Technology::wcdma, Technology::wcdma,
    };
    const auto mode = decimal(Fields{record_of(reply, "+CNSMOD:")}[1]);
    if (!mode || *mode < 0 || *mode >= static_cast<int64_t>(std::size(technologies)))
        return false;
    const bool is_narrow_band = find_word(report.model.view(), "SIM70") != std::string_view::npos;
    report.tell_technology(is_narrow_band && *mode == 7   ? Technology::emtc
                           : is_narrow_band && *mode == 9 ? Technology::nb_iot
                                                          : technologies[*mode]);
    return true;
}
