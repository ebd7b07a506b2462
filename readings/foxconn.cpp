#include "readings/foxconn.h"

#include <cstring>

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// RAT:LTE+NR                                             (T99W175)
// mcc:222,mnc:88
// lte_cell_id:80389889
// pcell: lte_band:3 lte_band_width:20.0MHz
// channel:1650 pci:28
// lte_rsrp:-84.1dBm,rsrq:-13.6dB
// scell: lte_band:1 lte_band_width:20.0MHz
// nr_band:n78
// nr_rsrp:-87dBm rx_diversity:15 (-84.8,-112.4,-84.7,-116.1)
//
// RAT:LTE                                                (T77W968: a blank after the colon, LTE alone)
// EARFCN(DL/UL): 3048/21048
// PLMN: 250 02
// eNB ID(PCI): 645413-4(130)
// RSRP: -71.6dBm rx_diversity: 3 (-78.5dBm,-71.6dBm,-256.0dBm,-256.0dBm)
// STATUS: SRV/REGISTERED
//
// Keys are in capitals here, and without the front that says LTE or NR: some firmware leaves it out. Keys that are not
// listed (transmit power, antennas) are passed over.
struct Key {
    const char *key;
    Quantity quantity;
    Scale scale;
};
constexpr Key keys[] = {
    {"CELL_ID", Quantity::cell_id, Scale::number},
    {"TAC", Quantity::tac, Scale::number},
    {"BAND_WIDTH", Quantity::bandwidth_dl, Scale::with_unit},
    {"BW", Quantity::bandwidth_dl, Scale::with_unit},
    {"CHANNEL", Quantity::arfcn, Scale::number},
    {"EARFCN(DL/UL)", Quantity::arfcn, Scale::number},
    {"PCI", Quantity::pci, Scale::number},
    {"RSRP", Quantity::rsrp, Scale::with_unit},
    {"RSRQ", Quantity::rsrq, Scale::with_unit},
    {"RSSI", Quantity::rssi, Scale::with_unit},
    {"SNR", Quantity::sinr, Scale::with_unit},
    {"RS-SINR", Quantity::sinr, Scale::with_unit},
    {"RS-SNR", Quantity::sinr, Scale::with_unit},
};

[[gnu::noinline]] bool is_key(std::string_view key, const char *word) // asked often: small code counts
{
    return key.size() == strlen(word) && starts_with_word(key, word);
}

bool take_front(std::string_view &key, const char *front)
{
    const bool has_front = starts_with_word(key, front);
    if (has_front)
        key.remove_prefix(strlen(front));
    return has_front;
}

// The next "key:value" or "key: value" of the reply.
bool next_pair(std::string_view &reply, std::string_view &key, std::string_view &value)
{
    constexpr std::string_view ends = " ,\r\n";
    while (!reply.empty()) {
        value = take_until(reply, ends);
        if (value.find(':') == std::string_view::npos)
            continue;
        key = take_until(value, ":");
        if (!value.empty())
            return true;
        std::string_view rest = trim(reply);
        const std::string_view word = take_until(rest, ends);
        if (word.find(':') == std::string_view::npos) {
            value = word;
            reply = rest;
        }
        return true;
    }
    return false;
}

// "645413-4(130)": the numbers of the base station and of its cell, which make the cell's identity, and the PCI.
void tell_station(std::string_view value, Cell &cell)
{
    const auto station = decimal(take_until(value, "-"));
    const auto sector = decimal(take_until(value, "("));
    if (station && sector)
        cell.tell(Quantity::cell_id, *station * 256 + *sector);
    cell.tell(Quantity::pci, decimal(take_until(value, ")")));
}

Cell *add_carrier(Report &report, bool is_primary)
{
    Cell *cell = report.carriers.add();
    if (cell != nullptr) {
        cell->primary = is_primary;
        cell->rat = Technology::lte;
    }
    return cell;
}

Technology technology_of(std::string_view rat)
{
    if (rat == "LTE+NR")
        return Technology::nr_nsa;
    if (rat == "NR5G_SA")
        return Technology::nr_sa;
    return rat == "LTE" ? Technology::lte : rat == "WCDMA" ? Technology::wcdma : Technology::unknown;
}

} // namespace

bool read_debug(std::string_view reply, Report &report)
{
    Cell no_carrier;
    Cell *carrier = &report.serving;
    Text<4> mcc;
    bool understood = false;
    for (std::string_view key, value; next_pair(reply, key, value);) {
        const bool is_nr = take_front(key, "NR_");
        const bool is_lte = take_front(key, "LTE_");
        if (is_key(key, "RAT")) {
            const Technology technology = technology_of(value);
            understood = technology != Technology::unknown;
            report.tell_technology(technology);
            report.has_nr = report.has_nr || technology == Technology::nr_nsa;
        } else if (is_key(key, "MCC")) {
            mcc.assign(value);
        } else if (is_key(key, "MNC")) {
            report.serving.tell_network(mcc.view(), value);
        } else if (is_key(key, "PLMN")) {
            report.serving.tell_network(value, take_until(reply, " ,\r\n"));
        } else if (is_key(key, "ID(PCI)")) {
            tell_station(value, report.serving);
        } else if (value == "SRV/REGISTERED") {
            report.tell_registration(Registration::registered);
        } else if (is_key(key, "PCELL") || is_key(key, "SCELL")) {
            Cell *added = add_carrier(report, is_key(key, "PCELL"));
            carrier = added != nullptr ? added : &no_carrier;
        } else if (starts_with_word(key, "SCELL")) { // SCell1: the T77W968 has them without the primary one
            carrier = &no_carrier;
        } else {
            // Beside LTE they are of the second cell, even if RAT does not name it.
            if (is_nr && report.technology == Technology::lte)
                report.tell_nr_beside_lte();
            const bool is_of_cell = is_key(key, "CELL_ID") || is_key(key, "TAC");
            Cell &cell = is_nr ? (report.has_nr ? report.nr : report.serving) : is_of_cell ? report.serving : *carrier;
            if (is_key(key, "BAND") && report.technology != Technology::wcdma)
                cell.tell_band(decimal(without_first(value, is_nr ? 1 : 0)), is_nr);
            // The T77W968's TAC has no front: its base is not known.
            if (is_of_cell && !is_nr && !is_lte)
                continue;
            for (const Key &row : keys)
                if (is_key(key, row.key))
                    tell_value(take_until(value, "/"), row.quantity, row.scale, cell);
        }
    }
    // The primary cell is the serving one.
    if (report.carriers.size > 0 && report.carriers.items[0].primary) {
        const Cell &primary = report.carriers.items[0];
        report.serving.tell_band(primary.band.view());
        for (size_t i = 0; i < static_cast<size_t>(Quantity::count); i++)
            report.serving.tell(static_cast<Quantity>(i), primary.get(static_cast<Quantity>(i)));
    }
    return understood;
}
