#include "readings/gstatus.h"

#include <cstring>

#include "readings/fields.h"
#include "readings/scales.h"

// System mode:   ENDC        	PS state:    Attached                      (EM9191)
// LTE band:      B3     		LTE bw:      20 MHz
// PCC RxM RSSI:  -65		PCC RxM RSRP:  -99
// A line has two pairs of label and value, separated by tabs, spaces or, when pasted, a single space. So a value is
// found by its label anywhere, and read up to the end of its own form.

namespace {

// Labels of NR cells are those of LTE with this in front.
constexpr char nr_front[] = "NR5G ";
constexpr char no_front[] = "";

// The text after the first occurrence of front and label together, to the end of its line; empty without it. Without a
// front, NR's labels are passed over.
std::string_view after(const std::string_view &report, const char *front_text, const char *label)
{
    const std::string_view front = front_text;
    const std::string_view sought = front.empty() ? label : front;
    for (size_t position = 0; position < report.size(); position++) {
        const size_t found = find_word(without_first(report, position), sought);
        if (found == std::string_view::npos)
            break;
        position += found;
        const std::string_view rest = without_first(report, position + front.size());
        const bool is_nr = front.empty() && first_characters(report, position).ends_with(nr_front);
        if (is_nr || !starts_with_word(rest, label))
            continue;
        const std::string_view value = without_first(rest, strlen(label));
        return trim(first_characters(value, value.find_first_of("\r\n")));
    }
    return {};
}

std::string_view word_after(const std::string_view &report, const char *front, const char *label)
{
    std::string_view value = after(report, front, label);
    return take_until(value, " \t");
}

struct LabelRule {
    const char *label; ///< in capitals
    Quantity quantity;
    Scale scale;
};

void tell_labels(const std::string_view &report, const char *front, std::span<const LabelRule> rules, Cell &cell)
{
    for (const LabelRule &rule : rules) {
        std::string_view value = after(report, front, rule.label);
        if (rule.scale != Scale::both_forms)
            value = take_until(value, " \t");
        // "B25", "n78"
        if (rule.scale == Scale::lte_band || rule.scale == Scale::nr_band)
            value = without_first(value, 1);
        tell_value(value, rule.quantity, rule.scale, cell);
    }
}

// clang-format off
// Several labels mean one quantity: the first that is there counts.
constexpr LabelRule lte_labels[] = {
    {"LTE BAND:",     {},                       Scale::lte_band},
    {"LTE BW:",       Quantity::bandwidth_dl,   Scale::decibels},
    {"LTE RX CHAN:",  Quantity::arfcn,          Scale::positive},
    {"PCC RXM RSSI:", Quantity::rssi,           Scale::decibels},
    {"\nRSSI (DBM):", Quantity::rssi,           Scale::decibels}, // MC77xx; others have such a label for each antenna of NR
    {"PCC RXD RSSI:", Quantity::rssi_diversity, Scale::decibels},
    {"PCC RXM RSRP:", Quantity::rsrp,           Scale::decibels},
    {"PCC RXD RSRP:", Quantity::rsrp_diversity, Scale::decibels},
    {"\nRSRP (DBM):", Quantity::rsrp,           Scale::decibels},
    {"RSRQ (DB):",    Quantity::rsrq,           Scale::decibels},
    {"SINR (DB):",    Quantity::sinr,           Scale::decibels},
    {"TAC:",          Quantity::tac,            Scale::both_forms},
    {"CELL ID:",      Quantity::cell_id,        Scale::both_forms},
};
// WCDMA band:    WCDMA 2100                          (MC7710)
// RX level C0:   -68              LAC:         1389 (5001)
constexpr LabelRule wcdma_labels[] = {
    {"WCDMA CHANNEL:",            Quantity::arfcn,   Scale::number},
    {"RXM RSSI C0:",              Quantity::rssi,    Scale::decibels},
    {"RX LEVEL CARRIER 0 (DBM):", Quantity::rssi,    Scale::decibels},
    {"RX LEVEL C0:",              Quantity::rssi,    Scale::decibels},
    {"RX LEVEL (DBM):",           Quantity::rssi,    Scale::decibels},
    {"LAC:",                      Quantity::lac,     Scale::both_forms},
    {"CELL ID:",                  Quantity::cell_id, Scale::both_forms},
};
// NR5G band:       n78       		NR5G Carrier ID: 0           (EM919x; "---" for what is not there)
constexpr LabelRule nr_labels[] = {
    {"TAC:",        Quantity::tac,          Scale::both_forms},
    {"CELL ID:",    Quantity::cell_id,      Scale::both_forms},
    {"BAND:",       {},                     Scale::nr_band},
    {"DL BW:",      Quantity::bandwidth_dl, Scale::decibels},
    {"BW:",         Quantity::bandwidth_dl, Scale::decibels},
    {"UL BW:",      Quantity::bandwidth_ul, Scale::decibels},
    {"RX CHAN:",    Quantity::arfcn,        Scale::number},
    {"RSRP (DBM):", Quantity::rsrp,         Scale::decibels},
    {"RSRQ (DB):",  Quantity::rsrq,         Scale::decibels},
    {"SINR (DB):",  Quantity::sinr,         Scale::decibels},
};
// LTE CA state:  ACTIVE      		LTE Scell band:B12       (MC7455: one secondary cell)
constexpr LabelRule scell_labels[] = {
    {"LTE SCELL BAND:", {},                     Scale::lte_band},
    {"LTE SCELL BW:",   Quantity::bandwidth_dl, Scale::decibels},
    {"LTE SCELL CHAN:", Quantity::arfcn,        Scale::number},
    {"SCC RXM RSSI:",   Quantity::rssi,         Scale::decibels},
};
// LTE SCC1 state:INACTIVE    	LTE SCC1 band: B1        (EM9191; the EM7565 writes SSC)
constexpr LabelRule numbered_labels[] = {
    {"BAND:",    {},                     Scale::lte_band},
    {"BW  :",    Quantity::bandwidth_dl, Scale::decibels},
    {"BW:",      Quantity::bandwidth_dl, Scale::decibels},
    {"RX CHAN:", Quantity::arfcn,        Scale::number},
    {"CHAN:",    Quantity::arfcn,        Scale::number},
};
// SCC1 RxM RSSI: -86   SCC1 RxM RSRP: -122 (both, on a line of their own)
constexpr LabelRule numbered_levels[] = {
    {"RXM RSSI:", Quantity::rssi, Scale::decibels},
    {"RXM RSRP:", Quantity::rsrp, Scale::decibels},
};
// clang-format on

// MC74xx has one label for the RSRP of both antennas and of the secondary cell, each on the line of its RSSI.
void tell_rsrp(const std::string_view &report, const char *rssi_label, Quantity quantity, Cell &cell)
{
    const LabelRule rule = {"RSRP (DBM):", quantity, Scale::decibels};
    tell_labels(after(report, no_front, rssi_label), no_front, {&rule, 1}, cell);
}

// "WCDMA 2100", also printed "WCDMA2100".
void tell_wcdma_band(Cell &cell, const std::string_view &report)
{
    std::string_view value = after(report, no_front, "WCDMA BAND:");
    if (!starts_with_word(value, "WCDMA"))
        return;
    value = trim(without_first(value, 5));
    if (const auto number = decimal(take_until(value, " \t")))
        cell.tell_band(Text<20>::format("WCDMA %d", static_cast<int>(*number)).view());
}

void add_primary(const Cell &serving, Cells<8> &carriers)
{
    Cell *cell = serving.band.empty() ? nullptr : carriers.add();
    if (cell == nullptr)
        return;
    cell->primary = true;
    cell->rat = Technology::lte;
    cell->band = serving.band;
    for (const Quantity quantity : {Quantity::bandwidth_dl, Quantity::arfcn, Quantity::rsrp, Quantity::rssi})
        cell->tell(quantity, serving.get(quantity));
}

Cell *add_secondary(const std::string_view &report, const char *front, const char *state_label,
                    std::span<const LabelRule> rules, Cells<8> &carriers)
{
    Cell *cell = carriers.add();
    if (cell == nullptr)
        return nullptr;
    cell->rat = Technology::lte;
    cell->active = word_after(report, front, state_label) == "ACTIVE";
    tell_labels(report, front, rules, *cell);
    return cell;
}

void add_secondaries(const std::string_view &report, Cells<8> &carriers)
{
    if (!word_after(report, no_front, "LTE SCELL BAND:").empty())
        if (Cell *cell = add_secondary(report, no_front, "LTE CA STATE:", scell_labels, carriers); cell != nullptr)
            tell_rsrp(report, "SCC RXM RSSI:", Quantity::rsrp, *cell);
    constexpr int most_numbered = 4;
    for (int number = 1; number <= most_numbered; number++)
        for (const char *kind : {"SCC", "SSC"}) {
            const auto front = Text<12>::format("LTE %s%d ", kind, number);
            if (!decimal(without_first(word_after(report, front.c_str(), "BAND:"), 1)))
                continue;
            if (Cell *cell = add_secondary(report, front.c_str(), "STATE:", numbered_labels, carriers); cell != nullptr)
                tell_labels(report, Text<8>::format("SCC%d ", number).c_str(), numbered_levels, *cell);
        }
}

void tell_registration(const std::string_view &text, Report &report)
{
    for (const char *label : {"EMM STATE:", "MM5G STATE:", "GMM (PS) STATE:"}) {
        const std::string_view state = after(text, no_front, label);
        if (starts_with_word(state, "REGISTERED"))
            return report.tell_registration(Registration::registered);
        if (starts_with_word(state, "DEREGISTERED"))
            report.tell_registration(Registration::not_registered);
    }
}

struct Mode {
    const char *word;
    Technology technology;
};
constexpr Mode modes[] = {
    {"LTE", Technology::lte},     {"ENDC", Technology::nr_nsa}, {"NR5G", Technology::nr_sa},
    {"WCDMA", Technology::wcdma}, {"GSM", Technology::gsm},     {"UNKNOWN", Technology::none},
};

} // namespace

bool read_gstatus(std::string_view reply, Report &report)
{
    const std::string_view mode = after(reply, no_front, "SYSTEM MODE:");
    Technology technology = Technology::unknown;
    for (const Mode &row : modes)
        if (starts_with_word(mode, row.word))
            technology = row.technology;
    if (technology == Technology::unknown)
        return false;
    report.tell_technology(technology);
    tell_registration(reply, report);
    if (!report.temperature_c)
        report.temperature_c = decimal(word_after(reply, no_front, "TEMPERATURE:"));
    if (technology == Technology::wcdma) {
        tell_wcdma_band(report.serving, reply);
        tell_labels(reply, no_front, wcdma_labels, report.serving);
    }
    if (technology == Technology::nr_sa) {
        std::string_view mnc = word_after(reply, nr_front, "MCC-MNC:"); // "310-260"
        const std::string_view mcc = take_until(mnc, "-");
        report.serving.tell_network(mcc, mnc);
        tell_labels(reply, nr_front, nr_labels, report.serving);
    }
    if (technology != Technology::lte && technology != Technology::nr_nsa)
        return true;
    tell_labels(reply, no_front, lte_labels, report.serving);
    tell_rsrp(reply, "PCC RXM RSSI:", Quantity::rsrp, report.serving);
    tell_rsrp(reply, "PCC RXD RSSI:", Quantity::rsrp_diversity, report.serving);
    add_primary(report.serving, report.carriers);
    add_secondaries(reply, report.carriers);
    if (technology == Technology::nr_nsa) {
        report.has_nr = true;
        tell_labels(reply, nr_front, nr_labels, report.nr);
    }
    return true;
}

// Serving:   EARFCN MCC MNC   TAC      CID Bd D U SNR PCI  RSRQ   RSRP   RSSI RXLV     (MC7455)
//               800 310 410 35666 0A14666A  2 5 5  22 404 -14.1  -79.6  -45.5 --
//                 0   1   2     3        4  5 6 7   8   9    10     11     12
// IntraFreq:                                          PCI  RSRQ   RSRP   RSSI RXLV     (the serving cell among them)
//                                                     402 -20.0  -89.3  -57.6 --
//                                                       0   1      2      3
// InterFreq: EARFCN ThresholdLow ThresholdHi Priority PCI  RSRQ   RSRP   RSSI RXLV
//              5110            0           0        0 272 -12.1  -80.9  -50.6   0
bool read_lteinfo(std::string_view reply, Report &report)
{
    static constexpr FieldRule rules[] = {
        {0, Quantity::arfcn, Scale::positive},
        {3, Quantity::tac, Scale::number},
        {4, Quantity::cell_id, Scale::hex},
        {5, {}, Scale::lte_band},
        {6, Quantity::bandwidth_dl, Scale::lte_bw_index},
        {7, Quantity::bandwidth_ul, Scale::lte_bw_index},
        {9, Quantity::pci, Scale::number},
        {10, Quantity::rsrq, Scale::decibels},
        {11, Quantity::rsrp, Scale::decibels},
        {12, Quantity::rssi, Scale::decibels},
    };
    static constexpr FieldRule neighbour_rules[] = {
        {0, Quantity::pci, Scale::number},
        {1, Quantity::rsrq, Scale::decibels},
        {2, Quantity::rsrp, Scale::decibels},
        {3, Quantity::rssi, Scale::decibels},
    };
    constexpr size_t intra_fields = 5;
    constexpr size_t inter_fields = 9;
    constexpr size_t least_fields = 13;
    const bool understood = find_word(reply, "!LTEINFO:") != std::string_view::npos;
    for (std::string_view line; next_line(reply, line);) {
        Text<100> row; // with commas between the fields
        while (!line.empty()) {
            row.append(row.empty() ? "" : ",");
            row.append(take_until(line, " \t"));
            line = trim(line);
        }
        const Fields fields{row.view()};
        const size_t channel_fields = fields.size() - intra_fields;
        const auto pci = report.serving.get(Quantity::pci);
        if (pci && decimal(fields[0]) && (fields.size() == intra_fields || fields.size() == inter_fields)) {
            const auto serving_channel = report.serving.get(Quantity::arfcn);
            const auto channel = channel_fields == 0 ? serving_channel : decimal(fields[0]);
            const bool is_serving = channel == serving_channel && decimal(fields[channel_fields]) == pci;
            if (Cell *cell = is_serving ? nullptr : report.neighbours.add(); cell != nullptr) {
                cell->rat = Technology::lte;
                cell->tell(Quantity::arfcn, channel);
                tell_fields(fields, neighbour_rules, *cell, channel_fields);
            }
        }
        if (fields.size() < least_fields || !decimal(fields[1])) // a heading
            continue;
        report.tell_technology(Technology::lte);
        if (report.technology != Technology::lte && report.technology != Technology::nr_nsa)
            break;
        report.serving.tell_network(fields[1], fields[2]);
        tell_fields(fields, rules, report.serving);
    }
    return understood;
}

bool read_nrinfo(std::string_view reply, Report &report)
{
    const std::string_view mode = word_after(reply, no_front, "CONNECTIVITY MODE:");
    if (mode != "SA")
        return false;
    report.tell_technology(Technology::nr_sa);
    tell_labels(reply, nr_front, nr_labels, report.serving);
    return true;
}
