#include "readings/qcsq.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// clang-format off
// +QCSQ: "LTE",52,-83,207,-14         (EP06-E)
// +QCSQ: "eMTC",-56,-78,210,-9        (BG770A)
//         0     1   2   3   4
// EC2x and EP06 print the RSSI without its minus sign, the BG family with it.
constexpr FieldRule lte_rules[] = {
    {1, Quantity::rssi, Scale::unsigned_dbm},  {2, Quantity::rsrp, Scale::decibels},
    {3, Quantity::sinr, Scale::quectel_sinr},  {4, Quantity::rsrq, Scale::decibels},
};
// +QCSQ: "WCDMA",61,-61,-6            (EC25)
// +QCSQ: "GSM",-48                    (BG96)
constexpr FieldRule wcdma_rules[] = {
    {1, Quantity::rssi, Scale::unsigned_dbm},  {2, Quantity::rscp, Scale::decibels},
    {3, Quantity::ecio, Scale::decibels},
};
// clang-format on

// +QCSQ: "NR5G",-75,4,-11             (RM520N standalone: RSRP, SINR, RSRQ)
// The scale of SINR differs between firmwares, and some have other fields.
constexpr FieldRule nr_rules[] = {{1, Quantity::rsrp, Scale::decibels}, {3, Quantity::rsrq, Scale::decibels}};
constexpr size_t nr_fields = 4;
// +QRSRP: -94,-88,-44,-44,NR5G        (the main antenna first; -44 and -140 are no reading)
constexpr FieldRule rsrp_rules[] = {{0, Quantity::rsrp, Scale::decibels}};

FieldRules rules_of(Technology technology)
{
    switch (technology) {
    case Technology::lte:
    case Technology::emtc:
    case Technology::nb_iot:
        return lte_rules;
    case Technology::wcdma:
        return wcdma_rules;
    case Technology::gsm:
        return FieldRules{wcdma_rules}.first(1);
    default:
        return {};
    }
}

} // namespace

bool read_qcsq(std::string_view reply, Report &report)
{
    bool understood = false;
    const bool has_lte = has_lte_record(reply, "+QCSQ:");
    for (std::string_view record; next_record(reply, "+QCSQ:", record);) {
        const Fields fields{record};
        const Technology technology = technology_of_quectel(fields[0]);
        if (technology == Technology::unknown)
            continue;
        understood = true;
        if (technology == Technology::nr_nsa || (has_lte && technology == Technology::nr_sa))
            report.tell_nr_beside_lte();
        else
            report.tell_technology(technology);
        tell_fields(fields, rules_of(technology), report.serving);
        if (technology == Technology::nr_sa && !has_lte && fields.size() == nr_fields)
            tell_fields(fields, nr_rules, report.serving);
    }
    return understood;
}

bool read_qrsrp(std::string_view reply, Report &report)
{
    constexpr size_t technology = 4;
    const Fields fields{record_of(reply, "+QRSRP:")};
    if (fields.size() <= technology)
        return false;
    const bool is_nr = technology_of_quectel(fields[technology]) == Technology::nr_sa;
    const bool is_serving =
        report.technology == Technology::unknown || is_nr == (report.technology == Technology::nr_sa);
    if (fields[0] != "-44" && fields[0] != "-140" && is_serving)
        tell_fields(fields, rsrp_rules, report.serving);
    return true;
}
