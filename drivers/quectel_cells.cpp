#include "drivers/quectel_cells.h"

#include "at/at_command.h"
#include "at/reply.h"
#include "drivers/ask.h"
#include "drivers/quectel_fields.h"

namespace {

// clang-format off
constexpr FieldKey lte_cell[] = {
    {"mode", 3}, {"mcc", 4}, {"mnc", 5}, {"cellid", 6}, {"pcid", 7}, {"earfcn", 8}, {"band", 9},
    {"ul_bandwidth", 10, bw_index}, {"dl_bandwidth", 11, bw_index}, {"tac", 12},
    {"rsrp", 13}, {"rsrq", 14}, {"rssi", 15}, {"sinr", 16}, {"srxlev", 17},
};
constexpr FieldKey older_cell[] = {{"mcc", 3}, {"mnc", 4}, {"lac", 5}, {"cellid", 6}};
constexpr FieldKey wcdma_cell[] = {
    {"uarfcn", 7}, {"psc", 8}, {"rac", 9}, {"rscp", 10}, {"ecio", 11}, {"phych", 12}, {"sf", 13}, {"slot", 14},
    {"speech_code", 15}, {"commod", 16},
};
constexpr FieldKey tdscdma_cell[] = {{"pfreq", 7}, {"rssi", 8}, {"rscp", 9}, {"ecio", 10}};
constexpr FieldKey cdma_cell[] = {{"bcch", 7}, {"rxpwr", 8}, {"ecio", 9}, {"txpwr", 10}};
constexpr FieldKey gsm_cell[] = {{"rxlev", 10}};

constexpr FieldKey carrier_cell[] = {
    {"freq", 1}, {"band", 3}, {"bandwidth", 2, rb_bandwidth}, {"pcid", 5}, {"rsrp", 6}, {"rsrq", 7}, {"rssi", 8},
    {"sinr", 9},
};
constexpr FieldKey lte_neighbour[] = {{"earfcn", 2}, {"cellid|pcid", 3}};
constexpr FieldKey wcdma_neighbour[] = {{"uarfcn", 2}};
// clang-format on

Text<16> primary_state(const Field &field)
{
    switch (field.c_str()[0]) {
    case '0':
        return "No serving";
    case '1':
        return "Registered";
    default:
        return "-";
    }
}

Text<16> secondary_state(const Field &field)
{
    switch (field.c_str()[0]) {
    case '0':
        return "Deconfigured";
    case '1':
        return "deactivated";
    case '2':
        return "activated";
    default:
        return "-";
    }
}

void add_older_cell(json_object *object, std::string_view text, const Field &technology)
{
    const auto is = [&](const char *word) { return str_contains(technology.view(), word); };
    add_fields(object, text, older_cell);
    if (is("WCDMA")) {
        add_fields(object, text, wcdma_cell);
        kjson_add_string(object, "rat", "WCDMA");
    } else if (is("TDSCDMA")) {
        add_fields(object, text, tdscdma_cell);
        kjson_add_string(object, "rat", "TDSCDMA");
    } else if (is("CDMA") || str_contains(text, "HDR")) {
        add_fields(object, text, cdma_cell);
        kjson_add_string(object, "rat", technology.view());
    } else if (is("GSM")) {
        add_fields(object, text, gsm_cell);
        kjson_add_string(object, "rat", "GSM");
    }
}

} // namespace

int parse_servingcell(std::string_view text, json_object *object)
{
    const auto technology = cut_field(text, 2);
    if (!technology)
        return -1;
    kjson_add_string(object, "type", "servingcell");
    add_field(object, text, {"state", 1});
    if (str_contains(technology->view(), "LTE")) {
        add_fields(object, text, lte_cell);
        kjson_add_string(object, "rat", "LTE");
    } else {
        add_older_cell(object, text, *technology);
    }
    return 0;
}

// Which kind of carrier a line tells, and a neighbour's technology, is searched in the rest of the reply, not only in
// its line: that is how the reports have always been read.

void parse_carriers(std::string_view reply, json_object *array)
{
    for_each_tag(reply, "+QCAINFO:", 10, [&](std::string_view rest) {
        const bool primary = str_contains(rest, "pss");
        if (!primary && !str_contains(rest, "sss"))
            return;
        Json object{json_object_new_object()};
        kjson_add_string(object.get(), "type", primary ? "PSS" : "SSS");
        add_field(object.get(), rest, {"state", 4, primary ? primary_state : secondary_state});
        add_fields(object.get(), rest, carrier_cell);
        kjson_array_add(array, std::move(object));
    });
}

void parse_serving_cells(std::string_view reply, json_object *array)
{
    for_each_tag(reply, ": \"servingcell", 12, [&](std::string_view rest) {
        Json object{json_object_new_object()};
        if (parse_servingcell(rest, object.get()) == 0)
            kjson_array_add(array, std::move(object));
    });
}

void parse_neighbour_cells(std::string_view reply, json_object *array)
{
    for_each_tag(reply, ": \"neighbourcell", 13, [&](std::string_view rest) {
        Json object{json_object_new_object()};
        kjson_add_string(object.get(), "type", "neighbourcell");
        if (str_contains(rest, "LTE")) {
            add_fields(object.get(), rest, lte_neighbour);
            kjson_add_string(object.get(), "rat", "LTE");
        } else if (str_contains(rest, "WCDMA")) {
            add_fields(object.get(), rest, wcdma_neighbour);
            kjson_add_string(object.get(), "rat", "WCDMA");
        } else if (str_contains(rest, "GSM")) {
            kjson_add_string(object.get(), "rat", "GSM");
        }
        kjson_array_add(array, std::move(object));
    });
}

bool parse_ca_active(std::string_view reply)
{
    return (str_contains(reply, "pss") && str_contains(reply, "sss")) ||
           (str_contains(reply, "pcc") && str_contains(reply, "scc"));
}

int quectel_get_cells(const ModemDriver &rec, json_object *array)
{
    struct Report {
        const char *command;
        void (*parse)(std::string_view reply, json_object *array);
    };
    static constexpr Report reports[] = {
        {"AT+QCAINFO", parse_carriers},
        {"AT+QENG=\"servingcell\"", parse_serving_cells},
        {"AT+QENG=\"neighbourcell\"", parse_neighbour_cells},
    };
    for (const Report &report : reports) {
        Text<1024> reply;
        if (ask_modem_ok(rec, AtCommand{report.command}, reply))
            report.parse(reply.view(), array);
    }
    return 0;
}

int ep06_get_ca_info(const ModemDriver &rec)
{
    Text<1024> reply;
    return ask_modem_ok(rec, AtCommand{"AT+QCAINFO"}, reply) && parse_ca_active(reply.view()) ? 1 : 0;
}
