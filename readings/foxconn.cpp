#include "readings/foxconn.h"

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
// Keys that are not listed (transmit power, antennas) are passed over.
struct Key {
    std::string_view key;
    Quantity quantity;
    Scale scale;
};
constexpr Key lte_keys[] = {
    {"lte_cell_id", Quantity::cell_id, Scale::number},
    {"lte_tac", Quantity::tac, Scale::number},
    {"lte_band_width", Quantity::bandwidth_dl, Scale::with_unit},
    {"channel", Quantity::arfcn, Scale::number},
    {"pci", Quantity::pci, Scale::number},
    {"lte_rsrp", Quantity::rsrp, Scale::with_unit},
    {"rsrq", Quantity::rsrq, Scale::with_unit},
    {"lte_rssi", Quantity::rssi, Scale::with_unit},
    {"lte_snr", Quantity::sinr, Scale::with_unit},
};
constexpr Key nr_keys[] = {
    {"nr_cell_id", Quantity::cell_id, Scale::number},
    {"nr_tac", Quantity::tac, Scale::number},
    {"nr_band_width", Quantity::bandwidth_dl, Scale::with_unit},
    {"nr_channel", Quantity::arfcn, Scale::number},
    {"nr_pci", Quantity::pci, Scale::number},
    {"nr_rsrp", Quantity::rsrp, Scale::with_unit},
    {"nr_rsrq", Quantity::rsrq, Scale::with_unit},
    {"nr_snr", Quantity::sinr, Scale::with_unit},
};

void tell_key(std::span<const Key> keys, std::string_view key, std::string_view value, Cell &cell)
{
    for (const Key &row : keys)
        if (row.key == key)
            tell_value(value, row.quantity, row.scale, cell);
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
    Cell *carrier = &no_carrier;
    Text<4> mcc;
    bool understood = false;
    while (!reply.empty()) {
        std::string_view value = trim(take_until(reply, " ,\r\n"));
        if (value.find(':') == std::string_view::npos)
            continue;
        const std::string_view key = take_until(value, ":");
        if (key == "RAT") {
            const Technology technology = technology_of(value);
            understood = technology != Technology::unknown;
            report.tell_technology(technology);
            report.has_nr = report.has_nr || technology == Technology::nr_nsa;
        } else if (key == "mcc") {
            mcc.assign(value);
        } else if (key == "mnc") {
            report.serving.tell_network(mcc.view(), value);
        } else if (key == "pcell" || key == "scell") {
            Cell *added = add_carrier(report, key == "pcell");
            carrier = added != nullptr ? added : &no_carrier;
        } else if (key == "lte_band") {
            carrier->tell_band(decimal(value), false);
        } else if (key == "nr_band") {
            Cell &cell = report.has_nr ? report.nr : report.serving;
            cell.tell_band(decimal(without_first(value, 1)), true);
        } else {
            const bool is_of_carrier = key != "lte_cell_id" && key != "lte_tac";
            tell_key(lte_keys, key, value, is_of_carrier ? *carrier : report.serving);
            tell_key(nr_keys, key, value, report.has_nr ? report.nr : report.serving);
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
