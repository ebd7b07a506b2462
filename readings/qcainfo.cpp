#include "readings/qcainfo.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// clang-format off

// +QCAINFO: "pcc",250,50,"LTE BAND 1",1,277,-97,-9,-71,15                       (EM12-G)
// +QCAINFO: "SCC",1350,100,"LTE BAND 3",1,240,-95,-18,-68,-10,0,-,-             (RM520N-GL)
//            0     1    2   3            4 5   6   7   8   9
constexpr FieldRule lte_rules[] = {
    {1, Quantity::arfcn, Scale::number},   {2, Quantity::bandwidth_dl, Scale::lte_bw_blocks}, {3, {}, Scale::band_words},
    {5, Quantity::pci, Scale::number},     {6, Quantity::rsrp, Scale::decibels},              {7, Quantity::rsrq, Scale::decibels},
    {8, Quantity::rssi, Scale::decibels},  {9, Quantity::sinr, Scale::decibels},
};

// An NR row has one of four lengths (RM5xx and RM551E firmware):
//   5  "SCC",648768,10,"NR5G BAND 78",920
//   8  "SCC",528030,8,"NR5G BAND 41",262,-91,-11,2681                 RSRP, RSRQ, SINR in hundredths
//   9  "SCC",501870,3,"NR5G BAND 41",1,271,0,-,-                      the carrier's state before the PCI
//  12  the same, then RSRP, RSRQ and SINR
constexpr FieldRule nr_rules[] = {
    {1, Quantity::arfcn, Scale::number},   {2, Quantity::bandwidth_dl, Scale::nr_bw_index},   {3, {}, Scale::band_words},
};
constexpr FieldRule nr_levels[] = {
    {0, Quantity::rsrp, Scale::decibels},  {1, Quantity::rsrq, Scale::decibels},              {2, Quantity::sinr, Scale::hundredth},
};
// clang-format on

void read_nr(const Fields &fields, Cell &cell)
{
    constexpr size_t fields_with_state = 9;
    const bool has_state = fields.size() >= fields_with_state;
    const size_t levels = has_state ? 9 : 5;
    tell_fields(fields, nr_rules, cell);
    cell.tell(Quantity::pci, decimal(fields[has_state ? 5 : 4]));
    cell.tell(Quantity::rsrp, hundredths(fields[levels]));
    // A secondary carrier that is not measured repeats the primary one's row, which the RSRP gives away.
    if (!has_state || cell.get(Quantity::rsrp))
        tell_fields(fields, nr_levels, cell, levels);
}

} // namespace

bool read_qcainfo(std::string_view reply, Report &report)
{
    bool has_primary = false;
    bool has_lte = false; // as the primary carrier
    bool has_nr = false;
    for (std::string_view record; next_record(reply, "+QCAINFO:", record);) {
        const Fields fields{record};
        const bool is_primary = starts_with_word(fields[0], "PCC") || starts_with_word(fields[0], "PSS");
        if (!is_primary && !starts_with_word(fields[0], "SCC") && !starts_with_word(fields[0], "SSS"))
            continue;
        const bool is_nr = starts_with_word(fields[3], "NR5G");
        has_lte = has_lte || (is_primary && !is_nr);
        has_nr = has_nr || is_nr;
        has_primary = has_primary || is_primary;
        Cell *cell = report.carriers.add();
        if (cell == nullptr)
            break;
        cell->primary = is_primary;
        cell->rat = is_nr ? Technology::nr_sa : Technology::lte;
        if (is_nr)
            read_nr(fields, *cell);
        else
            tell_fields(fields, lte_rules, *cell);
    }
    if (has_primary)
        report.tell_technology(!has_lte ? Technology::nr_sa : has_nr ? Technology::nr_nsa : Technology::lte);
    return report.carriers.size > 0;
}
