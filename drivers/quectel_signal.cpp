#include "drivers/quectel_signal.h"

#include <algorithm>
#include <span>

#include "core/model/signal_grade.h"
#include "drivers/ask.h"

namespace {

using enum Generation;

constexpr Metric lte_metrics[] = {
    {"rsrp", lte_rsrp_steps}, {"rsrq", lte_rsrq_steps}, {"sinr", {20, 12, 0}}, {"rssi", lte_rssi_steps}};
constexpr Metric wcdma_metrics[] = {
    {"rssi", older_rssi_steps}, {"ecio", older_ecio_steps}, {"rscp", {-60, -70, -85}}}; // the RSSI stays first
constexpr Metric cdma_metrics[] = {{"rssi", older_rssi_steps}, {"ecio", older_ecio_steps}};
constexpr Metric cdma_evdo_metrics[] = {{"rssi0", older_rssi_steps}, {"ecio0", older_ecio_steps}};
constexpr Metric gsm_metrics[] = {{"rssi", older_rssi_steps}};

struct Rating {
    std::string_view type;
    Generation generation;
    std::span<const Metric> metrics;
};
constexpr Rating ratings[] = {
    {"LTE", g4, lte_metrics},   {"WCDMA", g3, wcdma_metrics}, {"TDSCDMA", g3, wcdma_metrics},
    {"CDMA", g2, cdma_metrics}, {"EVDO", g3, cdma_metrics},   {"CDMA-EVDO", g3, cdma_evdo_metrics},
    {"GSM", g2, gsm_metrics},
};

// The values of a +QCSQ line by its system mode; the first word that the mode contains decides. No type: the mode's own
// text. The RSSI comes without its sign, the SINR in steps of 0.2 dB. Quectel AT manuals, "AT+QCSQ"; recorded lines:
//
//   +QCSQ: "LTE",52,-83,207,-14   EP06-E
//          0     1  2   3   4
//   +QCSQ: "WCDMA",69,-72,-4   EC25
//          0       1  2   3
//   +QCSQ: "GSM",-69   BG96, which prints the sign
//          0     1
//   +QCSQ: "NOSERVICE"   BG96
struct QcsqSystem {
    const char *word;
    const char *type;
    FieldKey values[5];
};
// clang-format off
constexpr QcsqSystem qcsq_systems[] = {
    {"LTE",       "LTE",       {{"rssi", 1, negate_text}, {"rsrp", 2}, {"sinr", 3, sinr_tenths}, {"rsrq", 4}}},
    {"TDSCDMA",   nullptr,     {{"rssi", 1, negate_text}, {"rscp", 2}, {"ecio", 3}}},
    {"WCDMA",     nullptr,     {{"rssi", 1, negate_text}, {"rscp", 2}, {"ecio", 3}}},
    {"GSM",       "GSM",       {{"rssi", 1, negate_text}}},
    {"CDMA-EVDO", "CDMA-EVDO", {{"rssi0", 1, negate_text}, {"ecio0", 2}, {"rssi1", 3, negate_text}, {"ecio1", 4},
                                {"sinr", 5, sinr_tenths}}},
    {"CDMA",      "CDMA",      {{"rssi", 1, negate_text}, {"ecio", 2}}},
    {"EVDO",      "EVDO",      {{"rssi", 1, negate_text}, {"ecio", 2}, {"sinr", 3, sinr_tenths}}},
};
constexpr std::string_view qcsq_tag = "+QCSQ: ";
constexpr std::string_view shortest_qcsq_line = "+QCSQ: \"GSM\"";

// Where the signal is in AT+QENG="servingcell"; quectel_cells.cpp shows the whole lines.
constexpr FieldKey lte_signal[] = {{"rsrp", 13}, {"rsrq", 14}, {"rssi", 15}, {"sinr", 16}};
constexpr FieldKey wcdma_signal[] = {{"rscp", 10}, {"ecio", 11}};
struct CellSignal {
    const char *type; ///< the technology contains it
    std::span<const FieldKey> values;
};
constexpr CellSignal cell_signals[] = {{"LTE", lte_signal}, {"WCDMA", wcdma_signal}};
// clang-format on

struct SignalReport {
    const char *command;
    std::string_view tag;
    std::string_view shortest_line;
    std::optional<Signal> (*parse)(std::string_view line); ///< line: from the tag to the end of the reply
    WcdmaRssi wcdma_rssi;
};
constexpr SignalReport qcsq_report = {"AT+QCSQ", qcsq_tag, shortest_qcsq_line, parse_qcsq_line, WcdmaRssi::graded};
constexpr SignalReport servingcell_report = {"AT+QENG=\"servingcell\"", servingcell_tag, servingcell_tag,
                                             parse_servingcell_signal, WcdmaRssi::previous};

// The first with the highest generation among the signals that were appended.
struct BestSignal {
    int32_t level = -1; // of the last signal
    int generation = -1;

    void append(json_object *array, const Signal &signal, WcdmaRssi wcdma_rssi, int32_t &best_level)
    {
        Json object{json_object_new_object()};
        kjson_add_string(object.get(), "type", signal.type.c_str());
        add_values(object.get(), signal);
        kjson_array_add(array, std::move(object));
        const int found = static_cast<int>(signal_level(signal, level, wcdma_rssi));
        if (found <= generation)
            return;
        generation = found;
        best_level = level;
    }
};

int add_signals(std::string_view reply, const SignalReport &report, json_object *array, int32_t &level)
{
    BestSignal best;
    for_each_line(reply, report.tag, report.shortest_line, [&](std::string_view line) {
        if (const auto signal = report.parse(line))
            best.append(array, *signal, report.wcdma_rssi, level);
    });
    return best.generation;
}

int read_signals(const ModemDriver &rec, const SignalReport &report, json_object *array, int32_t &level)
{
    Text<1024> reply;
    return ask_modem_ok(rec, report.command, reply) ? add_signals(reply.view(), report, array, level) : -1;
}

} // namespace

Generation signal_level(const Signal &signal, int32_t &level, WcdmaRssi wcdma_rssi)
{
    // A type that is the beginning of a name counts as that name, and an empty type as LTE: the signal cache follows
    // the same rule.
    const auto *rating =
        std::ranges::find_if(ratings, [&](const Rating &row) { return row.type.starts_with(signal.type.view()); });
    if (rating == std::end(ratings))
        return unrated;
    const auto read = [&](const char *key) { return signal.number(key).value_or(0); };
    if (rating->metrics.data() == wcdma_metrics && wcdma_rssi == WcdmaRssi::previous)
        level =
            (level + sum_of_grades(rating->metrics.subspan(1), read)) / 2; // of three grades: readers know this level
    else
        level = sum_of_grades(rating->metrics, read) / static_cast<int32_t>(rating->metrics.size());
    return rating->generation;
}

std::optional<Signal> parse_qcsq_line(std::string_view line)
{
    Field mode;
    if (!consume(line, qcsq_tag) || csv_field(line, 0, mode) != 0)
        return std::nullopt;
    const auto *system =
        std::ranges::find_if(qcsq_systems, [&](const QcsqSystem &row) { return str_contains(mode.view(), row.word); });
    if (system == std::end(qcsq_systems))
        return std::nullopt;
    Signal signal;
    signal.type = system->type == nullptr ? mode : Field{system->type};
    for (const FieldKey &row : system->values) {
        if (row.key == nullptr)
            break;
        Field field = "-"; // if it cannot be cut
        csv_field(line, row.index, field);
        signal.add(row.key, convert_field(field, row.convert).view());
    }
    return signal;
}

std::optional<Signal> parse_servingcell_signal(std::string_view line)
{
    const auto technology = cut_field(line, 2);
    if (!technology)
        return std::nullopt;
    for (const CellSignal &row : cell_signals) {
        if (!str_contains(technology->view(), row.type))
            continue;
        Signal signal;
        signal.type = row.type;
        for (const FieldKey &value : row.values)
            if (const auto field = cut_field(line, value.index))
                signal.add(value.key, field->view());
        return signal;
    }
    return std::nullopt;
}

int add_qcsq_signals(std::string_view reply, json_object *array, int32_t &level)
{
    return add_signals(reply, qcsq_report, array, level);
}

int add_servingcell_signals(std::string_view reply, json_object *array, int32_t &level)
{
    return add_signals(reply, servingcell_report, array, level);
}

int quectel_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    return read_signals(rec, qcsq_report, array, level);
}

int ep06_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    return read_signals(rec, servingcell_report, array, level);
}

int quectel_check_register(const ModemDriver &rec)
{
    for (const char *command : {"AT+CREG?", "AT+CEREG?"}) {
        Text<256> reply;
        if (ask_modem_ok(rec, command, reply) && is_registered(reply.view()))
            return 0;
    }
    return -1;
}
