#include "readings/gtccinfo.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// 103 and 3 are B3; 5078 and 505 are n78 and n5.
void tell_band(Cell &cell, std::string_view code, bool is_nr)
{
    const auto number = decimal(code);
    if (!number)
        return;
    if (is_nr && code.starts_with("50"))
        return cell.tell_band(decimal(without_first(code, 2)), true);
    cell.tell_band(!is_nr && *number > 100 ? *number - 100 : *number, is_nr);
}

// 1,4,262,02,BFD3,2D4201,189C,30,120,50,16,42,42,26        (FM150, under "LTE service cell:")
// 1,4,250,1,1234,000123456,1802,470,103,100,-4,39,39,7     (FM350, no labels)
// 0 1 2   3 4    5         6    7   8   9   10 11 12 13
// Field 0 is 1 for a serving cell and 2 for a neighbour, field 1 the technology: 4 LTE, 9 NR. Firmware with labels
// prints channel and PCI in hexadecimal and SINR in half dB, firmware without them in decimal and in dB.
// clang-format off
constexpr FieldRule place_rules[] = {{4, Quantity::tac, Scale::hex}, {5, Quantity::cell_id, Scale::hex}};
constexpr FieldRule labelled_rules[] = {{6, Quantity::arfcn, Scale::hex}, {7, Quantity::pci, Scale::hex}};
constexpr FieldRule bare_rules[] = {{6, Quantity::arfcn, Scale::number}, {7, Quantity::pci, Scale::number}};
// The fields after the band: bandwidth, SINR, rxlev, RSRP, RSRQ. The FM350 counts NR bandwidth in fifths of MHz, as it
// counts LTE's in resource blocks.
constexpr FieldRule lte_labelled_levels[] = {
    {9, Quantity::bandwidth_dl, Scale::lte_bw_blocks}, {10, Quantity::sinr, Scale::halves},
    {12, Quantity::rsrp, Scale::lte_rsrp},             {13, Quantity::rsrq, Scale::lte_rsrq},
};
constexpr FieldRule lte_bare_levels[] = {
    {9, Quantity::bandwidth_dl, Scale::lte_bw_blocks}, {10, Quantity::sinr, Scale::decibels},
    {12, Quantity::rsrp, Scale::lte_rsrp},             {13, Quantity::rsrq, Scale::lte_rsrq},
};
constexpr FieldRule nr_labelled_levels[] = {
    {9, Quantity::bandwidth_dl, Scale::decibels},      {10, Quantity::sinr, Scale::nr_sinr},
    {12, Quantity::rsrp, Scale::nr_rsrp},              {13, Quantity::rsrq, Scale::nr_rsrq},
};
constexpr FieldRule nr_bare_levels[] = {
    {9, Quantity::bandwidth_dl, Scale::nr_bw_fifths},  {10, Quantity::sinr, Scale::decibels},
    {12, Quantity::rsrp, Scale::nr_rsrp},              {13, Quantity::rsrq, Scale::nr_rsrq},
};
// Rows of GSM and WCDMA begin alike. The scales of what follows are not settled.
constexpr FieldRule older_rules[] = {{4, Quantity::lac, Scale::hex}, {5, Quantity::cell_id, Scale::hex}};
// A neighbour row has no band and no bandwidth:
// 2,4,,,,,189C,190,,24,24,2
// 0 1     6    7    9 10 11
// Beside NR, one field more comes before the last three. A cell that served before keeps its band, too:
// 2,9,,,FFFFFFF,00FFFFFFF,646272,500,5078,100,20,0,76,67
constexpr size_t fields_beside_nr = 13;
constexpr size_t fields_with_band = 14;
constexpr FieldRule lte_neighbour_levels[] = {{10, Quantity::rsrp, Scale::lte_rsrp}, {11, Quantity::rsrq, Scale::lte_rsrq}};
constexpr FieldRule nr_neighbour_levels[] = {{10, Quantity::rsrp, Scale::nr_rsrp}, {11, Quantity::rsrq, Scale::nr_rsrq}};
// clang-format on

// By the technology, then by whether there are labels.
constexpr FieldRules serving_levels[2][2] = {
    {lte_bare_levels, lte_labelled_levels},
    {nr_bare_levels, nr_labelled_levels},
};

void read_channel(const Fields &fields, bool has_labels, Cell &cell)
{
    tell_fields(fields, has_labels ? FieldRules{labelled_rules} : FieldRules{bare_rules}, cell);
}

void read_neighbour(const Fields &fields, bool has_labels, Cell &cell)
{
    read_channel(fields, has_labels, cell);
    const size_t more = fields.size() >= fields_with_band && !fields[8].empty()  ? 2
                        : fields.size() >= fields_beside_nr && fields[9].empty() ? 1
                                                                                 : 0;
    tell_fields(fields,
                cell.rat == Technology::nr_sa ? FieldRules{nr_neighbour_levels} : FieldRules{lte_neighbour_levels},
                cell, more);
}

Technology technology_of_row(std::string_view field)
{
    if (field == "4")
        return Technology::lte;
    if (field == "9")
        return Technology::nr_sa;
    if (field == "2" || field == "3")
        return Technology::wcdma;
    return field == "1" ? Technology::gsm : Technology::unknown;
}

// A row of NR beside one of LTE is the second cell, whichever comes first.
bool has_lte_row(std::string_view reply)
{
    for (std::string_view line; next_line(reply, line);)
        if (const Fields fields{line}; fields[0] == "1" && fields[1] == "4")
            return true;
    return false;
}

void read_serving(const Fields &fields, Technology technology, bool has_labels, bool has_lte, Report &report)
{
    const bool is_beside_lte = technology == Technology::nr_sa && has_lte;
    if (is_beside_lte)
        report.tell_nr_beside_lte();
    else
        report.tell_technology(technology);
    Cell &cell = is_beside_lte ? report.nr : report.serving;
    cell.rat = technology;
    cell.tell_network(fields[2], fields[3]);
    const bool is_nr = technology == Technology::nr_sa;
    if (!is_nr && technology != Technology::lte)
        return tell_fields(fields, older_rules, cell);
    tell_fields(fields, place_rules, cell);
    read_channel(fields, has_labels, cell);
    tell_band(cell, fields[8], is_nr);
    tell_fields(fields, serving_levels[is_nr][has_labels], cell);
}

} // namespace

bool read_gtccinfo(std::string_view reply, Report &report)
{
    const bool has_labels = find_word(reply, "SERVICE CELL") != std::string_view::npos;
    const bool has_lte = has_lte_row(reply);
    bool understood = false;
    for (std::string_view line; next_line(reply, line);) {
        const Fields fields{line};
        const Technology technology = technology_of_row(fields[1]);
        constexpr size_t least_fields = 8;
        if (technology == Technology::unknown || fields.size() < least_fields)
            continue;
        if (fields[0] == "1") {
            read_serving(fields, technology, has_labels, has_lte, report);
        } else if (fields[0] == "2" && (technology == Technology::lte || technology == Technology::nr_sa)) {
            if (Cell *cell = report.neighbours.add(); cell != nullptr) {
                cell->rat = technology;
                read_neighbour(fields, has_labels, *cell);
            }
        } else {
            continue;
        }
        understood = true;
    }
    return understood;
}

// +GTCAINFO: PCC:103,470,1725,75,...    a line or one line for all:
// PCC: 120,48,6300,50,0,1,0,0,42                    (FM150; the last is the RSRP's index)
// PCC:103,470,1802,100,100,1,1,2,2,-102             (FM350; the last is the RSRP in dBm)
//     0   1   2    3
// SCC 1:2,0,138,18,38100,100,255,0,255,0,255,-102   (FM350; state 2 is active, the last is the PCC's RSRP again)
//       0 1 2   3  4     5
// NR PCC: 5078,392,643296,100,2,,1,3,77             (FM190; with the bandwidth in MHz)
// LTE SCC1: 1,0,108,383,3700,50,0,1,1,6,6,56        (FM190; the last is its own RSRP's index)
bool read_gtcainfo(std::string_view reply, Report &report)
{
    static constexpr FieldRule carrier_rules[] = {{1, Quantity::pci, Scale::number},
                                                  {2, Quantity::arfcn, Scale::number}};
    const size_t before = report.carriers.size;
    while (Cell *cell = report.carriers.add()) {
        const size_t primary = find_word(reply, "PCC:");
        const size_t secondary = find_word(reply, "SCC");
        const bool is_primary = primary < secondary;
        reply = without_first(reply, is_primary ? primary : secondary);
        take_until(reply, ":");
        std::string_view record = first_characters(reply, reply.find_first_of("\r\n"));
        record = first_characters(record, find_word(record, "SCC"));
        const Fields fields{record};
        const size_t band = is_primary ? 0 : 2;
        constexpr size_t least_fields = 4;
        if (fields.size() < least_fields) {
            report.carriers.items[--report.carriers.size] = {};
            break;
        }
        reply.remove_prefix(record.size());
        const bool is_nr = fields[band].starts_with("50") && fields[band].size() > 2;
        constexpr size_t fields_with_rsrp = 9;
        const std::string_view rsrp = fields.size() < fields_with_rsrp ? "" : fields[fields.size() - 1];
        const bool is_index = decimal(rsrp).value_or(0) > 0;
        cell->primary = is_primary;
        cell->rat = is_nr ? Technology::nr_sa : Technology::lte;
        tell_band(*cell, fields[band], is_nr);
        tell_fields(fields, carrier_rules, *cell, band);
        if (!is_nr)
            tell_value(fields[band + 3], Quantity::bandwidth_dl, Scale::lte_bw_blocks, *cell);
        else if (!rsrp.empty())
            tell_value(fields[band + 3], Quantity::bandwidth_dl, is_index ? Scale::decibels : Scale::nr_bw_fifths,
                       *cell);
        if (!is_primary)
            cell->active = fields[0] == "2";
        if (is_index)
            tell_value(rsrp, Quantity::rsrp, is_nr ? Scale::nr_rsrp : Scale::lte_rsrp, *cell);
        else if (is_primary && rsrp != "0") // 0: too weak to be measured
            tell_value(rsrp, Quantity::rsrp, Scale::decibels, *cell);
    }
    return report.carriers.size > before;
}
