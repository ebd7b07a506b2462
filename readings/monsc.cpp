#include "readings/monsc.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

Technology technology_of(std::string_view word)
{
    return word == "NR" ? Technology::nr_sa : technology_of_quectel(word);
}

// clang-format off

// ^MONSC: NR,460,00,524910,1,C027F5065,114,14225C,-74,-9,17            (MT5700M)
//         0  1   2  3      4 5         6   7      8   9  10
// The PCI has been seen in hexadecimal. What has no letters is read as decimal, as it was in the first replies at hand,
// although ^NRSSBID of the same modem said 276 beside this 114.
constexpr FieldRule nr_rules[] = {
    {3, Quantity::arfcn, Scale::number},   {5, Quantity::cell_id, Scale::hex},    {6, Quantity::pci, Scale::any_base},
    {7, Quantity::tac, Scale::hex},        {8, Quantity::rsrp, Scale::decibels},  {9, Quantity::rsrq, Scale::decibels},
    {10, Quantity::sinr, Scale::decibels},
};
// ^MONSC: LTE,460,00,38400,D975244,8,24C8,-85,-10,-54                  (MT5700M; the last is the RSSI)
//         0   1   2  3     4       5 6    7   8   9
constexpr FieldRule lte_rules[] = {
    {3, Quantity::arfcn, Scale::number},   {4, Quantity::cell_id, Scale::hex},    {5, Quantity::pci, Scale::any_base},
    {6, Quantity::tac, Scale::hex},        {7, Quantity::rsrp, Scale::decibels},  {8, Quantity::rsrq, Scale::decibels},
    {9, Quantity::rssi, Scale::decibels},
};
// ^MONSC: WCDMA,<mcc>,<mnc>,<arfcn>,<psc>,<cell>,<lac>,<rscp>,<rxlev>,<ecio>,...    (ME909s manual)
constexpr FieldRule wcdma_rules[] = {
    {3, Quantity::arfcn, Scale::number},   {4, Quantity::psc, Scale::number},     {5, Quantity::cell_id, Scale::hex},
    {6, Quantity::lac, Scale::hex},        {7, Quantity::rscp, Scale::decibels},  {8, Quantity::rssi, Scale::decibels},
    {9, Quantity::ecio, Scale::decibels},
};
// ^MONSC: GSM,<mcc>,<mnc>,<band>,<arfcn>,<bsic>,<cell>,<lac>,<rxlev>,...            (ME909s manual)
constexpr FieldRule gsm_rules[] = {
    {4, Quantity::arfcn, Scale::number},   {5, Quantity::bsic, Scale::number},    {6, Quantity::cell_id, Scale::hex},
    {7, Quantity::lac, Scale::hex},        {8, Quantity::rssi, Scale::decibels},
};

// ^HCSQ: "NR",77,241,31         (MT5700M: RSRP, SINR, RSRQ; the scale of RSRQ is not settled)
constexpr FieldRule nr_levels[] = {
    {1, Quantity::rsrp, Scale::lte_rsrp},  {2, Quantity::sinr, Scale::huawei_sinr},
};
// ^HCSQ: "LTE",66,55,166,18     (RSSI, RSRP, SINR, RSRQ)
constexpr FieldRule lte_levels[] = {
    {1, Quantity::rssi, Scale::rscp},      {2, Quantity::rsrp, Scale::lte_rsrp},
    {3, Quantity::sinr, Scale::huawei_sinr}, {4, Quantity::rsrq, Scale::lte_rsrq},
};
// ^HCSQ: "WCDMA",30,30,58       (ME909s manual: RSSI, RSCP, Ec/Io)
constexpr FieldRule wcdma_levels[] = {
    {1, Quantity::rssi, Scale::rscp},      {2, Quantity::rscp, Scale::rscp},      {3, Quantity::ecio, Scale::huawei_ecio},
};
// clang-format on

struct RulesByTechnology {
    FieldRules nr, lte, wcdma, gsm;

    FieldRules of(Technology technology) const
    {
        switch (technology) {
        case Technology::nr_sa:
            return nr;
        case Technology::lte:
            return lte;
        case Technology::wcdma:
            return wcdma;
        default:
            return technology == Technology::gsm ? gsm : FieldRules{};
        }
    }
};

} // namespace

bool read_monsc(std::string_view reply, Report &report)
{
    static constexpr RulesByTechnology rules = {nr_rules, lte_rules, wcdma_rules, gsm_rules};
    const Fields fields{record_of(reply, "^MONSC:")};
    const Technology technology = technology_of(fields[0]);
    if (technology == Technology::unknown)
        return fields[0] == "NONE";
    report.tell_technology(technology);
    report.serving.tell_network(fields[1], fields[2]);
    tell_fields(fields, rules.of(technology), report.serving);
    return true;
}

bool read_hcsq(std::string_view reply, Report &report)
{
    static constexpr RulesByTechnology rules = {nr_levels, lte_levels, wcdma_levels, FieldRules{wcdma_levels}.first(1)};
    const Fields fields{record_of(reply, "^HCSQ:")};
    const Technology technology = technology_of(fields[0]);
    if (technology == Technology::unknown)
        return false;
    report.tell_technology(technology);
    tell_fields(fields, rules.of(technology), report.serving);
    return true;
}

// ^HFREQINFO: 0,7,41,528960,2644800,60000,528960,2644800,60000,41,513000,...      (MT5700M)
//             0 1 2  3      4       5     6      7       8     the next carrier
// Field 1 is the technology, 6 LTE and 7 NR; then seven fields a carrier: band, downlink channel, frequency, bandwidth
// in kHz, and the same three for the uplink.
bool read_hfreqinfo(std::string_view reply, Report &report)
{
    constexpr size_t fields_before = 2;
    constexpr size_t fields_a_carrier = 7;
    const Fields fields{record_of(reply, "^HFREQINFO:")};
    const bool is_nr = fields[1] == "7";
    if (!is_nr && fields[1] != "6")
        return false;
    static constexpr FieldRule rules[] = {{1, Quantity::arfcn, Scale::number},
                                          {3, Quantity::bandwidth_dl, Scale::kilohertz}};
    // The last of LTE alone: NR tells the middle of the carrier.
    static constexpr FieldRule serving_rules[] = {{3, Quantity::bandwidth_dl, Scale::kilohertz},
                                                  {6, Quantity::bandwidth_ul, Scale::kilohertz},
                                                  {1, Quantity::arfcn, Scale::number}};
    if (!is_nr)
        report.tell_technology(Technology::lte);
    for (size_t start = fields_before; start + fields_a_carrier <= fields.size(); start += fields_a_carrier) {
        Cell *cell = report.carriers.add();
        if (cell == nullptr)
            break;
        cell->primary = start == fields_before;
        cell->rat = is_nr ? Technology::nr_sa : Technology::lte;
        cell->tell_band(decimal(fields[start]), is_nr);
        tell_fields(fields, rules, *cell, start);
        if (!cell->primary)
            continue;
        cell->tell(Quantity::pci, report.serving.get(Quantity::pci));
        report.serving.tell_band(cell->band.view());
        tell_fields(fields, is_nr ? FieldRules{serving_rules}.first(2) : serving_rules, report.serving, start);
    }
    return report.carriers.size > 0;
}
