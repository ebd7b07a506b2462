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

// Nothing for NR: the scale of its SINR differs between firmwares.
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
    }
    return understood;
}
