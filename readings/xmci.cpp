#include "readings/xmci.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// +XMCI: 4,510,11,"0x7D08","0x04E23C06","0x0016","0x00000F1E","0x00005570","0xFFFFFFFF",64,28,29,"0x00000003",...
// (L850)
//        0 1   2  3        4            5        6            7            8            9  10 11
// Field 0: 0 GSM, 2 WCDMA, 4 LTE; one more for a neighbour. The scale of SINR is not settled.
// clang-format off
constexpr FieldRule place_rules[] = {{3, Quantity::tac, Scale::hex}, {4, Quantity::cell_id, Scale::hex}};
constexpr FieldRule older_place_rules[] = {{3, Quantity::lac, Scale::hex}, {4, Quantity::cell_id, Scale::hex}};
constexpr FieldRule lte_rules[] = {
    {5, Quantity::pci, Scale::hex},        {6, Quantity::arfcn, Scale::hex},
    {9, Quantity::rsrp, Scale::lte_rsrp},  {10, Quantity::rsrq, Scale::lte_rsrq},
};
// clang-format on
constexpr Technology technologies[] = {Technology::gsm, Technology::wcdma, Technology::lte};

} // namespace

bool read_xmci(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "+XMCI:", record);) {
        // The modem breaks long records after a comma. What comes unasked in between ends the record.
        for (std::string_view more; record.ends_with(',') && next_line(reply, more) && more.starts_with('"');)
            record = {record.data(), static_cast<size_t>(more.data() + more.size() - record.data())};
        const Fields fields{record};
        const auto kind = decimal(fields[0]);
        if (!kind || *kind < 0 || *kind >= static_cast<int64_t>(2 * std::size(technologies)))
            continue;
        understood = true;
        const Technology technology = technologies[*kind / 2];
        const bool is_lte = technology == Technology::lte;
        const bool is_neighbour = *kind % 2 != 0;
        Cell *cell = &report.serving;
        if (is_neighbour)
            cell = is_lte ? report.neighbours.add() : nullptr;
        if (cell == nullptr)
            continue;
        if (is_lte)
            tell_fields(fields, lte_rules, *cell);
        if (is_neighbour) {
            cell->rat = technology;
            continue;
        }
        report.tell_technology(technology);
        cell->tell_network(fields[1], fields[2]);
        tell_fields(fields, is_lte ? FieldRules{place_rules} : FieldRules{older_place_rules}, *cell);
    }
    return understood;
}
