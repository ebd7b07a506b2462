#include "drivers/fibocom.h"

#include <cinttypes>

#include "at/at_command.h"
#include "at/reply.h"
#include "core/model/signal_grade.h"
#include "drivers/ask.h"
#include "drivers/setting.h"

namespace {

using Field = Text<16>;

constexpr std::string_view serving_label = "LTE service cell:";
constexpr std::string_view neighbour_label = "LTE neighbor cell:";
constexpr size_t line_end = 2; // CR LF behind a label

// Least index numbers of 3GPP TS 27.007, not dBm.
constexpr GradeSteps rsrp_index_steps = {80, 60, 45};
constexpr GradeSteps rsrq_index_steps = {28, 20, 10};
constexpr GradeSteps csq_index_steps = {20, 15, 10};

constexpr const char *quality_keys[] = {"rxlev", "ber", "rscp", "ecno", "rsrq", "rsrp"};
constexpr const char *serving_keys[] = {
    "IsServiceCell",  "rat",  "mcc",       "mnc",         "tac",   "cellid", "earfcn",
    "physicalcellId", "band", "bandwidth", "rssnr_value", "rxlev", "rsrp",   "rsrq"};
constexpr const char *neighbour_keys[] = {"IsServiceCell",  "rat",       "mcc",   "mnc",  "tac", "cellid", "earfcn",
                                          "physicalcellId", "bandwidth", "rxlev", "rsrp", "rsrq"};
constexpr std::string_view band_key = "band";

std::string_view band_of_code(std::string_view code)
{
    struct Band {
        std::string_view code;
        std::string_view band;
    };
    static constexpr Band bands[] = {{"101", "1"},  {"103", "3"},  {"105", "5"},  {"107", "7"},  {"108", "8"},
                                     {"120", "20"}, {"128", "28"}, {"132", "32"}, {"140", "40"}, {"141", "41"}};
    for (const Band &row : bands)
        if (row.code == code)
            return row.band;
    return code;
}

// The line that starts so many characters after the start of label, or one later where lines end CR CR LF; empty
// without it.
std::string_view line_at(std::string_view reply, std::string_view label, size_t offset)
{
    std::string_view text = without_first(from_first(reply, label), offset);
    if (text.starts_with('\n'))
        text.remove_prefix(1);
    return first_characters(text, text.find_first_of("\r\n"));
}

template <size_t N> void add_keys(json_object *object, std::string_view line, const char *const (&keys)[N])
{
    for (size_t i = 0; i < N; i++) {
        Field field;
        if (fibocom_field(line, static_cast<int>(i), field) == 0)
            kjson_add_string(object, keys[i], keys[i] == band_key ? band_of_code(field.view()) : field.view());
    }
}

int32_t reading(json_object *object, const char *key)
{
    const char *text = kjson_get_string(object, key);
    return text == nullptr ? 0 : text_to_int(text);
}

// Empty when the reply tells none.
Field csq_index(std::string_view reply)
{
    Field field;
    fibocom_field(line_at(reply, "+CSQ:", sizeof "+CSQ:"), 0, field);
    return field;
}

Text<24> rssi_dbm(const Field &index)
{
    return Text<24>::format("%" PRId64, int64_t{text_to_int(index.c_str())} * 2 - 113);
}

} // namespace

int fibocom_field(std::string_view text, int index, TextOut out)
{
    for (; index > 0; index--) {
        const size_t comma = text.find(',');
        if (comma == std::string_view::npos)
            return -1;
        text.remove_prefix(comma + 1);
    }
    const std::string_view field = first_characters(text, text.find_first_of(",\r"));
    if (field.empty())
        return -1;
    out.assign(field);
    return 0;
}

std::string_view serving_cell_line(std::string_view gtccinfo_reply)
{
    return line_at(gtccinfo_reply, serving_label, serving_label.size() + line_end);
}

bool parse_home_registration(std::string_view reply)
{
    constexpr size_t fields_start = sizeof "\r\n+CREG: " - 1; // an echo in front has the same length and no comma
    Field status;
    return fibocom_field(without_first(reply, fields_start), 1, status) == 0 && status == "1";
}

Json parse_fibocom_signal(std::string_view cesq_reply, std::string_view csq_reply, int32_t &level)
{
    Json object{json_object_new_object()};
    add_keys(object.get(), line_at(cesq_reply, "+CESQ:", sizeof "+CESQ:"), quality_keys);
    const Field index = csq_index(csq_reply);
    kjson_add_string(object.get(), "rssi", index.empty() ? std::string_view{} : rssi_dbm(index).view());
    level = (grade_reading(reading(object.get(), "rsrp"), rsrp_index_steps) +
             grade_reading(reading(object.get(), "rsrq"), rsrq_index_steps) +
             grade_reading(text_to_int(index.c_str()), csq_index_steps)) /
            3;
    return object;
}

void parse_fibocom_cells(std::string_view gtccinfo_reply, std::string_view csq_reply, json_object *array)
{
    if (str_contains(gtccinfo_reply, serving_label)) {
        Json serving{json_object_new_object()};
        add_keys(serving.get(), serving_cell_line(gtccinfo_reply), serving_keys);
        if (const Field index = csq_index(csq_reply); !index.empty())
            kjson_add_string(serving.get(), "rssi", rssi_dbm(index).view());
        kjson_array_add(array, std::move(serving));
    }
    // The first label is the list's head line; the cells follow, each in a line that begins with the label again.
    std::string_view rest =
        without_first(from_first(gtccinfo_reply, neighbour_label), neighbour_label.size() + line_end);
    while (!rest.empty() && !rest.starts_with("OK")) {
        const std::string_view line = first_characters(rest, rest.find_first_of("\r\n"));
        if (line.starts_with(neighbour_label)) {
            Json neighbour{json_object_new_object()};
            add_keys(neighbour.get(), without_first(line, neighbour_label.size()), neighbour_keys);
            kjson_array_add(array, std::move(neighbour));
        }
        rest = without_first(rest, line.size() + 1);
    }
}

int fibocom_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    Text<1024> quality;
    if (!ask_modem_ok(rec, AtCommand{"AT+CESQ"}, quality))
        quality.clear();
    Text<1024> strength;
    if (!ask_modem_ok(rec, AtCommand{"AT+CSQ?"}, strength))
        strength.clear();
    kjson_array_add(array, parse_fibocom_signal(quality.view(), strength.view(), level));
    return 0;
}

int fibocom_get_cells(const ModemDriver &rec, json_object *array)
{
    Text<1024> cells;
    if (!ask_modem_ok(rec, AtCommand{"AT+GTCCINFO?"}, cells))
        return -1;
    Text<1024> strength;
    if (!ask_modem_ok(rec, AtCommand{"AT+CSQ?"}, strength))
        strength.clear();
    parse_fibocom_cells(cells.view(), strength.view(), array);
    return 0;
}

int fibocom_check_register(const ModemDriver &rec)
{
    Text<256> reply;
    return ask_modem_ok(rec, AtCommand{"AT+CREG?"}, reply) && parse_home_registration(reply.view()) ? 0 : -1;
}

int fibocom_set_apn(const ModemDriver &rec, const char *apn)
{
    const char *text = apn == nullptr ? "" : apn;
    if (!is_plain_text(text))
        return -1;
    return write_setting(rec, compose_whole("AT+CGDCONT=1,\"IP\",\"%s\"", text));
}
