#include "readings/qeng.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// clang-format off

// LTE, and the line of the LTE anchor under EN-DC from its duplex mode on:
// +QENG: "servingcell","NOCONN","LTE","FDD",262,03,F62927,277,250,1,3,3,8D40,-97,-10,-69,16,9,160,-    (EM12-G)
//         0             1        2     3    4   5  6      7   8   9 10 11 12  13  14  15  16
// BG95 says eMTC, CAT-M, NBIoT and NTN NBIoT in the same layout.
// +MENG: "servingcell","CONNECT","LTE","FDD",262,01,2fc9902,316,1300,3,5,5,fbe,-108,-10.5,-77,-20,19   (SLM770A)
// Its older firmware leaves SINR out.
constexpr FieldRule lte_rules[] = {
    {6, Quantity::cell_id, Scale::hex},       {7, Quantity::pci, Scale::number},        {8, Quantity::arfcn, Scale::number},
    {9, {}, Scale::lte_band},                 {12, Quantity::tac, Scale::hex},          {13, Quantity::rsrp, Scale::decibels},
    {14, Quantity::rsrq, Scale::decibels},    {15, Quantity::rssi, Scale::decibels},
};
constexpr size_t lte_sinr = 16;
constexpr FieldRule lte_bandwidth_rules[] = {
    {10, Quantity::bandwidth_ul, Scale::lte_bw_index}, {11, Quantity::bandwidth_dl, Scale::lte_bw_index},
};

// +QENG: "servingcell","NOCONN","NR5G-SA","TDD",310,260,18666712F,335,794E00,516270,41,12,-75,-11,5,1,-   (RM520N-GL)
//         0             1        2         3    4   5   6         7   8      9      10 11 12  13  14
constexpr FieldRule nr_rules[] = {
    {6, Quantity::cell_id, Scale::hex},       {7, Quantity::pci, Scale::number},        {8, Quantity::tac, Scale::hex},
    {9, Quantity::arfcn, Scale::number},      {10, {}, Scale::nr_band},
    {12, Quantity::rsrp, Scale::decibels},    {13, Quantity::rsrq, Scale::decibels},    {14, Quantity::sinr, Scale::decibels},
};
// The first firmware leaves SINR out: the transmit power and the level for cell selection follow RSRQ.
constexpr size_t nr_fields_without_sinr = 16;

// +QENG: "NR5G-NSA",222,01,920,-96,18,-10,648768,78,10,1   (RM520N-GL; SINR comes before RSRQ)
//         0         1   2  3   4   5  6   7      8  9
constexpr FieldRule nr_beside_lte_rules[] = {
    {3, Quantity::pci, Scale::number},        {4, Quantity::rsrp, Scale::decibels},     {5, Quantity::sinr, Scale::decibels},
    {6, Quantity::rsrq, Scale::decibels},     {7, Quantity::arfcn, Scale::positive},    {8, {}, Scale::nr_band},
};

// +QENG: "servingcell","NOCONN","WCDMA",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-                    (EM06-A)
//         0             1        2       3   4   5    6     7    8  9   10  11
constexpr FieldRule wcdma_rules[] = {
    {5, Quantity::lac, Scale::hex},           {6, Quantity::cell_id, Scale::hex},       {7, Quantity::arfcn, Scale::number},
    {8, Quantity::psc, Scale::number},        {10, Quantity::rscp, Scale::decibels},    {11, Quantity::ecio, Scale::decibels},
};

// +QENG: "servingcell","NOCONN","TDSCDMA",<mcc>,<mnc>,<lac>,<cell>,<channel>,<rssi>,<rscp>,<ecio>          (EC20 manual)
//         0             1        2         3     4     5     6      7         8      9      10
constexpr FieldRule tdscdma_rules[] = {
    {5, Quantity::lac, Scale::hex},           {6, Quantity::cell_id, Scale::hex},       {7, Quantity::arfcn, Scale::number},
    {8, Quantity::rssi, Scale::decibels},     {9, Quantity::rscp, Scale::decibels},     {10, Quantity::ecio, Scale::decibels},
};

// +QENG: "servingcell","LIMSRV","GSM",432,11,587,293A,31,98,-,-63,255,255,0,43,43,1,-,-,-,-,-,-,-,-,-,"-"  (EC25)
//         0             1        2    3   4  5   6    7  8  9 10
constexpr FieldRule gsm_rules[] = {
    {5, Quantity::lac, Scale::hex},           {6, Quantity::cell_id, Scale::hex},       {7, Quantity::bsic, Scale::number},
    {8, Quantity::arfcn, Scale::number},      {10, Quantity::rssi, Scale::decibels},
};

// Neighbours, seen from LTE (RSRQ before RSRP), from GSM and WCDMA (RSRP first), and GSM cells seen from GSM. Older
// firmware prints "neighbourcell" for those seen from LTE too.
// +QENG: "neighbourcell intra","LTE",275,280,-14,-99,-67,-,-,-,-,-,-            (RM520N-GL)
//         0                     1     2   3   4   5   6
// +QENG: "neighbourcell","GSM",94,3,14,50,255,0,0,-1920,0                       (EC25 on LTE: ARFCN first)
// +QENG: "neighbourcell","GSM",460,00,24A5,1241,33,33,-83,22,146,0,0            (EC20 on GSM: 13 fields)
// +QENG: "neighbourcell","WCDMA",4385,0,14,62,84,-1010,-100,17                  (EM06-A)
// +QENG: "neighbourcell","NR",<arfcn>,<pci>,<rsrp>,<rsrq>,<sinr>,...            (RM500U manual)
constexpr FieldRule lte_neighbour_rules[] = {
    {2, Quantity::arfcn, Scale::number},      {3, Quantity::pci, Scale::number},        {4, Quantity::rsrq, Scale::decibels},
    {5, Quantity::rsrp, Scale::decibels},     {6, Quantity::rssi, Scale::decibels},
};
constexpr FieldRule lte_from_older_rules[] = {
    {2, Quantity::arfcn, Scale::number},      {3, Quantity::pci, Scale::number},        {4, Quantity::rsrp, Scale::decibels},
    {5, Quantity::rsrq, Scale::decibels},
};
constexpr FieldRule gsm_from_gsm_rules[] = {
    {4, Quantity::lac, Scale::hex},           {5, Quantity::cell_id, Scale::hex},       {6, Quantity::bsic, Scale::number},
    {7, Quantity::arfcn, Scale::number},      {8, Quantity::rssi, Scale::decibels},
};
constexpr FieldRule other_neighbour_rules[] = {{2, Quantity::arfcn, Scale::number}};
// clang-format on

void tell_duplex(std::string_view mode, Cell &cell)
{
    if (mode == "FDD" || mode == "TDD")
        cell.duplex.assign(mode);
}

// shift is -2 for the anchor's own line, whose duplex mode is field 1.
void read_lte(const Fields &fields, size_t shift, bool has_bandwidth, bool has_sinr, Cell &cell)
{
    tell_duplex(fields[3 + shift], cell);
    cell.tell_network(fields[4 + shift], fields[5 + shift]);
    tell_fields(fields, lte_rules, cell, shift);
    if (has_bandwidth)
        tell_fields(fields, lte_bandwidth_rules, cell, shift);
    if (has_sinr)
        tell_value(fields[lte_sinr + shift], Quantity::sinr, Scale::decibels, cell);
}

// RM500U, RG255C and their kin print MHz instead of an index, and one field more of a standalone cell. A bandwidth in
// MHz is a multiple of 5.
void tell_nr_bandwidth(const Fields &fields, size_t index, const Report &report, Cell &cell)
{
    constexpr size_t most_fields_with_index = 17;
    const bool is_mhz = (fields.size() > most_fields_with_index && decimal(fields[index]).value_or(0) % 5 == 0) ||
                        find_word(report.model.view(), "00U") != std::string_view::npos;
    tell_value(fields[index], Quantity::bandwidth_dl, is_mhz ? Scale::decibels : Scale::nr_bw_index, cell);
}

bool is_modem_state(std::string_view word)
{
    return word == "SEARCH" || word == "LIMSRV" || word == "NOCONN" || word == "CONNECT";
}

void read_serving_line(const Fields &fields, bool is_meig, Report &report)
{
    constexpr size_t fields_with_sinr = 18;
    if (is_modem_state(fields[1]))
        tell_text(report.modem_state, fields[1]);
    if (fields[1] == "SEARCH")
        return report.tell_technology(Technology::none);
    const Technology technology = technology_of_quectel(fields[2]);
    report.tell_technology(technology);
    Cell &cell = report.serving;
    switch (technology) {
    case Technology::lte:
    case Technology::emtc:
    case Technology::nb_iot:
        // A narrow-band carrier has no bandwidth of the LTE list; its field is 0.
        return read_lte(fields, 0, technology != Technology::nb_iot, !is_meig || fields.size() >= fields_with_sinr,
                        cell);
    case Technology::nr_sa:
        tell_duplex(fields[3], cell);
        cell.tell_network(fields[4], fields[5]);
        tell_nr_bandwidth(fields, 11, report, cell);
        return tell_fields(
            fields, FieldRules{nr_rules}.first(std::size(nr_rules) - (fields.size() == nr_fields_without_sinr)), cell);
    default: // of CDMA the network alone; its levels have no settled scales
        cell.tell_network(fields[3], fields[4]);
        return tell_fields(fields,
                           technology == Technology::gsm     ? FieldRules{gsm_rules}
                           : fields[2] == "WCDMA"            ? FieldRules{wcdma_rules}
                           : technology == Technology::wcdma ? FieldRules{tdscdma_rules}
                                                             : FieldRules{},
                           cell);
    }
}

void read_neighbour(const Fields &fields, Cell &cell)
{
    constexpr size_t gsm_fields_on_gsm = 13;
    // No RSRP is above -31 dBm, and no RSRQ that low.
    const bool has_rsrq_first = hundredths(fields[4]).value_or(0) > -3100;
    constexpr int64_t highest_pci = 1007; // some firmware has it in the place of the channel
    const bool is_lte = cell.rat == Technology::lte;
    const bool has_channel_first = cell.rat == Technology::nr_sa && decimal(fields[2]).value_or(0) > highest_pci;
    if (cell.rat == Technology::gsm && fields.size() >= gsm_fields_on_gsm)
        tell_fields(fields, gsm_from_gsm_rules, cell);
    else if (is_lte ? !has_rsrq_first : has_channel_first)
        tell_fields(fields, lte_from_older_rules, cell);
    else if (is_lte)
        tell_fields(fields, lte_neighbour_rules, cell);
    else
        tell_fields(fields, other_neighbour_rules, cell);
}

} // namespace

bool read_qeng_serving(std::string_view reply, Report &report)
{
    constexpr auto anchor_shift = static_cast<size_t>(-2);
    bool understood = false;
    // A line break may separate the tag from its fields, so lines are recognised by their first field.
    for (std::string_view line; next_line(reply, line);) {
        const bool is_meig = starts_with_word(line, "+MENG:");
        if (is_meig || starts_with_word(line, "+QENG:"))
            line = trim(without_first(line, 6));
        const Fields fields{line};
        const bool is_quoted = line.starts_with('"');
        if (is_quoted && fields[0] == "servingcell") {
            read_serving_line(fields, is_meig, report);
        } else if (is_quoted && fields[0] == "LTE") {
            report.tell_technology(Technology::lte);
            read_lte(fields, anchor_shift, true, true, report.serving);
        } else if (is_quoted && fields[0] == "NR5G-NSA") {
            report.tell_nr_beside_lte();
            report.nr.tell_network(fields[1], fields[2]);
            // Older firmware ends after the levels.
            tell_fields(fields, FieldRules{nr_beside_lte_rules}.first(fields.size() == 7 ? 4 : 6), report.nr);
            // What is not measured yet has 0 for its channel and the index 0 for its bandwidth.
            if (report.nr.get(Quantity::arfcn))
                tell_nr_bandwidth(fields, 9, report, report.nr);
        } else {
            continue;
        }
        understood = true;
    }
    return understood;
}

bool read_qeng_neighbours(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "ENG:", record);) {
        const Fields fields{record};
        if (!fields[0].starts_with("neighbourcell"))
            continue;
        understood = true;
        const Technology technology =
            fields[1].starts_with("NR") ? Technology::nr_sa : technology_of_quectel(fields[1]);
        if (technology == Technology::unknown)
            continue;
        if (Cell *cell = report.neighbours.add(); cell != nullptr) {
            cell->rat = technology;
            read_neighbour(fields, *cell);
        }
    }
    return understood;
}
