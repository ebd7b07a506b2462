#include "readings/report_json.h"

#include "readings/quality.h"

namespace {

// Nothing for an empty or a null text.
void add_text(json_object *object, const char *key, const char *text)
{
    if (text != nullptr && *text != '\0')
        kjson_add_string(object, key, text);
}

void add_number(json_object *object, const char *key, std::optional<int64_t> number)
{
    if (number)
        kjson_add_int64(object, key, *number);
}

// A number in hundredths, without the zeros at its end: -1740 is -17.4.
void add_hundredths(json_object *object, const char *key, int32_t hundredths)
{
    if (hundredths % 100 == 0)
        return add_number(object, key, hundredths / 100);
    const int32_t magnitude = hundredths < 0 ? -hundredths : hundredths;
    const int parts = magnitude % 100;
    const char *sign = hundredths < 0 ? "-" : "";
    const auto text = parts % 10 == 0 ? Text<24>::format("%s%d.%d", sign, magnitude / 100, parts / 10)
                                      : Text<24>::format("%s%d.%02d", sign, magnitude / 100, parts);
    kjson_add_object(object, key, Json{json_object_new_double_s(static_cast<double>(hundredths) / 100, text.c_str())});
}

void add_quantities(json_object *object, const Cell &cell, bool is_serving)
{
    for (size_t i = 0; i < quantity_rows.size(); i++) {
        const auto value = cell.get(static_cast<Quantity>(i));
        if (!value)
            continue;
        const QuantityRow &row = quantity_rows[i];
        const bool is_carriers_bandwidth = !is_serving && static_cast<Quantity>(i) == Quantity::bandwidth_dl;
        const char *key = is_carriers_bandwidth ? "bandwidth_mhz" : row.key;
        if (row.in_hundredths)
            add_hundredths(object, key, static_cast<int32_t>(*value)); // its range is small
        else
            add_number(object, key, value);
    }
}

// Adds an object only if it has members.
void add_filled(json_object *object, const char *key, Json child)
{
    if (json_object_object_length(child.get()) > 0)
        kjson_add_object(object, key, std::move(child));
}

Json modem_of(const Report &report)
{
    Json modem{json_object_new_object()};
    add_text(modem.get(), "manufacturer", report.manufacturer.c_str());
    add_text(modem.get(), "model", report.model.c_str());
    add_text(modem.get(), "revision", report.revision.c_str());
    add_text(modem.get(), "imei", report.imei.c_str());
    add_number(modem.get(), "temperature_c", report.temperature_c);
    return modem;
}

Json sim_of(const Report &report)
{
    Json sim{json_object_new_object()};
    add_text(sim.get(), "state", sim_state_name(report.sim_state));
    add_text(sim.get(), "iccid", report.iccid.c_str());
    add_text(sim.get(), "imsi", report.imsi.c_str());
    add_text(sim.get(), "number", report.number.c_str());
    add_number(sim.get(), "pin_tries", report.pin_tries);
    add_number(sim.get(), "puk_tries", report.puk_tries);
    return sim;
}

Json network_of(const Report &report)
{
    Json network{json_object_new_object()};
    add_text(network.get(), "registration", registration_name(report.registration));
    if (report.sms_only)
        kjson_add_boolean(network.get(), "sms_only", true);
    add_text(network.get(), "technology", technology_name(report.technology));
    add_text(network.get(), "technology_detail", report.technology_detail.c_str());
    add_text(network.get(), "operator_name", report.operator_name.c_str());
    add_text(network.get(), "mcc", report.serving.mcc.c_str());
    add_text(network.get(), "mnc", report.serving.mnc.c_str());
    add_text(network.get(), "modem_state", report.modem_state.c_str());
    return network;
}

Json serving_of(const Report &report)
{
    const Cell &cell = report.serving;
    Json serving{json_object_new_object()};
    add_text(serving.get(), "band", cell.band.c_str());
    add_text(serving.get(), "duplex", cell.duplex.c_str());
    add_quantities(serving.get(), cell, true);
    return serving;
}

Json nr_of(const Cell &cell)
{
    Json nr{json_object_new_object()};
    add_text(nr.get(), "band", cell.band.c_str());
    add_quantities(nr.get(), cell, true);
    add_text(nr.get(), "mcc", cell.mcc.c_str());
    add_text(nr.get(), "mnc", cell.mnc.c_str());
    return nr;
}

const char *rat_name(const Cell &cell)
{
    return cell.rat == Technology::nr_sa ? "NR5G" : technology_name(cell.rat);
}

Json carrier_of(const Cell &cell)
{
    Json carrier{json_object_new_object()};
    kjson_add_string(carrier.get(), "role", cell.primary ? "PCC" : "SCC");
    add_text(carrier.get(), "rat", rat_name(cell));
    add_text(carrier.get(), "band", cell.band.c_str());
    add_quantities(carrier.get(), cell, false);
    if (cell.active)
        kjson_add_boolean(carrier.get(), "active", *cell.active);
    return carrier;
}

Json neighbour_of(const Cell &cell)
{
    Json neighbour{json_object_new_object()};
    add_text(neighbour.get(), "rat", rat_name(cell));
    add_quantities(neighbour.get(), cell, false);
    return neighbour;
}

template <size_t N>
void add_cells(json_object *object, const char *key, const Cells<N> &cells, Json (*describe)(const Cell &))
{
    if (cells.size == 0)
        return;
    Json list{json_object_new_array()};
    for (size_t i = 0; i < cells.size; i++)
        kjson_array_add(list.get(), describe(cells.items[i]));
    kjson_add_object(object, key, std::move(list));
}

void add_bands(json_object *object, const char *key, const BandSet &bands)
{
    if (!bands.told)
        return;
    Json list{json_object_new_array()};
    for (int band = 1; band <= static_cast<int>(bands.bits.size() * 32); band++)
        if (bands.has(band))
            kjson_array_add(list.get(), Json{json_object_new_int(band)});
    kjson_add_object(object, key, std::move(list));
}

void add_quality(json_object *object, const Report &report)
{
    const auto quality = judge(report);
    if (!quality)
        return;
    Json member{json_object_new_object()};
    kjson_add_int(member.get(), "level", quality->level);
    kjson_add_string(member.get(), "words", quality->words);
    add_text(member.get(), "limit", quality->limit);
    kjson_add_object(object, "quality", std::move(member));
}

} // namespace

void add_report(json_object *object, const Report &report)
{
    static constexpr struct {
        const char *key;
        Json (*describe)(const Report &report);
    } parts[] = {{"modem", modem_of}, {"sim", sim_of}, {"network", network_of}, {"serving", serving_of}};
    for (const auto &part : parts)
        add_filled(object, part.key, part.describe(report));
    if (report.has_nr)
        kjson_add_object(object, "nr", nr_of(report.nr));
    add_cells(object, "carriers", report.carriers, carrier_of);
    add_cells(object, "neighbours", report.neighbours, neighbour_of);
    add_number(object, "csq_rssi_dbm", report.csq_rssi_dbm);
    add_quality(object, report);
    add_bands(object, "lte_bands", report.lte_bands);
    add_bands(object, "nr_bands", report.nr_bands);
    add_text(object, "scan_mode", report.scan_mode.c_str());
}
