#include "drivers/quectel_signal.h"

#include <algorithm>

#include "at/at_command.h"
#include "at/reply.h"
#include "core/model/signal_grade.h"
#include "drivers/ask.h"
#include "drivers/quectel_fields.h"

namespace {

constexpr GradeSteps lte_sinr_steps = {20, 12, 0};
constexpr GradeSteps wcdma_rscp_steps = {-60, -70, -85};

int32_t reading(json_object *object, const char *key)
{
    const char *text = kjson_get_string(object, key);
    return text == nullptr ? 0 : text_to_int(text);
}

int32_t grade_of(json_object *object, const char *key, const GradeSteps &steps)
{
    return grade_reading(reading(object, key), steps);
}

int32_t grade_or_best(json_object *object, const char *key, const GradeSteps &steps)
{
    return kjson_contain_key(object, key) ? grade_of(object, key, steps) : 4;
}

int32_t lte_level(json_object *object)
{
    return (grade_of(object, "rsrp", lte_rsrp_steps) + grade_of(object, "rsrq", lte_rsrq_steps) +
            grade_of(object, "sinr", lte_sinr_steps) + grade_of(object, "rssi", lte_rssi_steps)) /
           4;
}

int32_t wcdma_level(json_object *object, int32_t previous, WcdmaRssi wcdma_rssi)
{
    const int32_t rscp = grade_of(object, "rscp", wcdma_rscp_steps);
    const int32_t ecio = grade_or_best(object, "ecio", older_ecio_steps);
    if (wcdma_rssi == WcdmaRssi::previous)
        return (previous + ecio + rscp) / 2;
    return (grade_or_best(object, "rssi", older_rssi_steps) + ecio + rscp) / 3;
}

int32_t cdma_level(json_object *object, const char *rssi, const char *ecio)
{
    return (grade_of(object, rssi, older_rssi_steps) + grade_of(object, ecio, older_ecio_steps)) / 2;
}

// The values of a +QCSQ line by its system mode; the first word that the mode contains decides. No type: the mode's own
// text.
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

constexpr FieldKey lte_signal[] = {{"rsrp", 13}, {"rsrq", 14}, {"rssi", 15}, {"sinr", 16}};
constexpr FieldKey wcdma_signal[] = {{"rscp", 10}, {"ecio", 11}};
// clang-format on

// A signal object of one +QCSQ line (line starts at its fields); null when its system has no signal values.
Json read_qcsq_line(std::string_view line)
{
    const auto mode = cut_field(line, 0);
    if (!mode)
        return nullptr;
    const auto *system = std::find_if(std::begin(qcsq_systems), std::end(qcsq_systems),
                                      [&](const QcsqSystem &row) { return str_contains(mode->view(), row.word); });
    if (system == std::end(qcsq_systems))
        return nullptr;
    Json object{json_object_new_object()};
    kjson_add_string(object.get(), "type", system->type == nullptr ? mode->view() : system->type);
    for (const FieldKey &value : system->values) {
        if (value.key == nullptr)
            break;
        const Field field = cut_field(line, value.index).value_or(Field{"-"});
        kjson_add_string(object.get(), value.key, value.convert ? value.convert(field).view() : field.view());
    }
    return object;
}

Json read_servingcell_signal(std::string_view line)
{
    const auto technology = cut_field(line, 2);
    if (!technology)
        return nullptr;
    Json object{json_object_new_object()};
    if (str_contains(technology->view(), "LTE")) {
        kjson_add_string(object.get(), "type", "LTE");
        add_fields(object.get(), line, lte_signal);
    } else if (str_contains(technology->view(), "WCDMA")) {
        kjson_add_string(object.get(), "type", "WCDMA");
        add_fields(object.get(), line, wcdma_signal);
    } else {
        return nullptr;
    }
    return object;
}

// The best of the objects that were appended: the first with the highest generation.
struct BestSignal {
    int32_t level = -1; // of the last object
    int generation = -1;

    void append(json_object *array, Json object, WcdmaRssi wcdma_rssi, int32_t &best_level)
    {
        if (object == nullptr)
            return;
        const int found = signal_level(object.get(), level, wcdma_rssi);
        kjson_array_add(array, std::move(object));
        if (found <= generation)
            return;
        generation = found;
        best_level = level;
    }
};

} // namespace

int signal_level(json_object *object, int32_t &level, WcdmaRssi wcdma_rssi)
{
    const char *type = kjson_get_string(object, "type");
    // A type that is a leading part of a name counts as that name.
    const auto is = [type](std::string_view name) { return type != nullptr && name.starts_with(type); };
    if (is("LTE")) {
        level = lte_level(object);
        return 4;
    }
    if (is("WCDMA") || is("TDSCDMA")) {
        level = wcdma_level(object, level, wcdma_rssi);
        return 3;
    }
    if (is("CDMA") || is("EVDO")) {
        level = cdma_level(object, "rssi", "ecio");
        return is("CDMA") ? 2 : 3;
    }
    if (is("CDMA-EVDO")) {
        level = cdma_level(object, "rssi0", "ecio0");
        return 3;
    }
    if (is("GSM")) {
        level = grade_or_best(object, "rssi", older_rssi_steps);
        return 2;
    }
    return 0;
}

int parse_qcsq(std::string_view reply, json_object *array, int32_t &level)
{
    constexpr std::string_view tag = "+QCSQ: ";
    BestSignal best;
    for_each_tag(reply, tag, 12, [&](std::string_view found) {
        best.append(array, read_qcsq_line(without_first(found, tag.size())), WcdmaRssi::graded, level);
    });
    return best.generation;
}

int parse_servingcell_signal(std::string_view reply, json_object *array, int32_t &level)
{
    BestSignal best;
    for_each_tag(reply, ": \"servingcell", 12, [&](std::string_view found) {
        best.append(array, read_servingcell_signal(found), WcdmaRssi::previous, level);
    });
    return best.generation;
}

int quectel_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    Text<1024> reply;
    return ask_modem_ok(rec, AtCommand{"AT+QCSQ"}, reply) ? parse_qcsq(reply.view(), array, level) : -1;
}

int ep06_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    Text<1024> reply;
    if (!ask_modem_ok(rec, AtCommand{"AT+QENG=\"servingcell\""}, reply))
        return -1;
    return parse_servingcell_signal(reply.view(), array, level);
}

int quectel_check_register(const ModemDriver &rec)
{
    for (const char *command : {"AT+CREG?", "AT+CEREG?"}) {
        Text<256> reply;
        if (ask_modem_ok(rec, AtCommand{command}, reply) && is_registered(reply.view()))
            return 0;
    }
    return -1;
}
