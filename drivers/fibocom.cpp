#include "drivers/fibocom.h"

#include <cinttypes>
#include <span>

#include "at/reply.h"
#include "core/model/signal_grade.h"
#include "drivers/ask.h"
#include "drivers/setting.h"

namespace {

constexpr std::string_view serving_label = "LTE service cell:";
constexpr std::string_view neighbour_label = "LTE neighbor cell:";
// The characters between a label and its fields are counted, not compared.
constexpr size_t line_end = 2; // CR LF
constexpr size_t space = 1;

// Least index numbers of 3GPP TS 27.007, not dBm. 255, which means "not known", gets the grade 4: readers of the
// reports depend on it.
constexpr Metric quality_metrics[] = {{"rsrp", {80, 60, 45}}, {"rsrq", {28, 20, 10}}};
constexpr GradeSteps csq_index_steps = {20, 15, 10};

// +CESQ: 99,99,255,255,20,54   3GPP TS 27.007, "AT+CESQ"
//        0  1  2   3   4  5
constexpr const char *quality_keys[] = {"rxlev", "ber", "rscp", "ecno", "rsrq", "rsrp"};

// LTE service cell:
// 1,4,460,00,247E,5423D8D,9826,43,40,5,28,58,58,23   Fibocom AT manual, "AT+GTCCINFO"; recorded on band 40
// 0 1 2   3  4    5       6    7  8  9 10 11 12 13
constexpr const char *serving_keys[] = {
    "IsServiceCell",  "rat",  "mcc",       "mnc",         "tac",   "cellid", "earfcn",
    "physicalcellId", "band", "bandwidth", "rssnr_value", "rxlev", "rsrp",   "rsrq"};

// LTE neighbor cell:2,4,262,1,05D5,0019BF802,1300,359,100,50,52,18   the form with a label in each line
//                   0 1 2   3 4    5         6    7   8   9  10 11
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

// The line after a label and this many characters, or one more if lines end CR CR LF. Empty, and so without a field, if
// the reply has no such label.
std::string_view line_after(std::string_view reply, std::string_view label, size_t between)
{
    std::string_view text = without_first(after_first(reply, label).value_or(std::string_view{}), between);
    consume(text, "\n");
    return first_characters(text, text.find_first_of("\r\n"));
}

std::optional<Text<16>> field_at(std::string_view line, size_t index)
{
    Text<16> field;
    if (fibocom_field(line, static_cast<int>(index), field) != 0)
        return std::nullopt;
    return field;
}

void add_keys(json_object *object, std::string_view line, std::span<const char *const> keys)
{
    for (size_t i = 0; i < keys.size(); i++)
        if (const auto field = field_at(line, i))
            kjson_add_string(object, keys[i], keys[i] == band_key ? band_of_code(field->view()) : field->view());
}

Text<24> rssi_dbm(int32_t csq_index)
{
    return Text<24>::format("%" PRId64, int64_t{csq_index} * 2 - 113);
}

} // namespace

std::string_view serving_cell_line(std::string_view gtccinfo_reply)
{
    return line_after(gtccinfo_reply, serving_label, line_end);
}

bool is_registered_at_home(std::string_view reply)
{
    constexpr size_t fields_start = sizeof "\r\n+CREG: " - 1; // an echo before it has the same length and no comma
    const auto status = field_at(without_first(reply, fields_start), 1);
    return status && *status == "1";
}

std::optional<int32_t> parse_csq_index(std::string_view reply)
{
    const auto field = field_at(line_after(reply, "+CSQ:", space), 0);
    if (!field)
        return std::nullopt;
    return leading_int(field->view()).value_or(0);
}

Signal parse_cesq(std::string_view reply)
{
    const std::string_view line = line_after(reply, "+CESQ:", space);
    Signal quality;
    for (size_t i = 0; i < std::size(quality_keys); i++)
        if (const auto field = field_at(line, i))
            quality.add(quality_keys[i], field->view());
    return quality;
}

int32_t fibocom_level(const Signal &quality, std::optional<int32_t> csq_index)
{
    const int32_t sum =
        sum_of_grades(quality_metrics, [&](const char *key) { return quality.number(key).value_or(0); });
    return (sum + grade_reading(csq_index.value_or(0), csq_index_steps)) / 3;
}

void add_fibocom_signal(json_object *object, const Signal &quality, std::optional<int32_t> csq_index)
{
    add_values(object, quality);
    kjson_add_string(object, "rssi", csq_index ? rssi_dbm(*csq_index).view() : std::string_view{});
}

void add_fibocom_cells(std::string_view gtccinfo_reply, std::optional<int32_t> csq_index, json_object *array)
{
    if (str_contains(gtccinfo_reply, serving_label)) {
        Json serving{json_object_new_object()};
        add_keys(serving.get(), serving_cell_line(gtccinfo_reply), serving_keys);
        if (csq_index)
            kjson_add_string(serving.get(), "rssi", rssi_dbm(*csq_index).c_str());
        kjson_array_add(array, std::move(serving));
    }
    // The first label is the list's head line; the cells follow, each in a line that begins with the label again.
    std::string_view rest =
        without_first(after_first(gtccinfo_reply, neighbour_label).value_or(std::string_view{}), line_end);
    while (!rest.empty() && !rest.starts_with("OK")) {
        std::string_view line = first_characters(rest, rest.find_first_of("\r\n"));
        rest = without_first(rest, line.size() + 1);
        if (!consume(line, neighbour_label))
            continue;
        Json neighbour{json_object_new_object()};
        add_keys(neighbour.get(), line, neighbour_keys);
        kjson_array_add(array, std::move(neighbour));
    }
}

int fibocom_get_signal(const ModemDriver &rec, json_object *array, int32_t &level)
{
    Text<1024> quality;
    if (!ask_modem_ok(rec, "AT+CESQ", quality))
        quality.clear();
    Text<1024> strength;
    if (!ask_modem_ok(rec, "AT+CSQ?", strength))
        strength.clear();
    const Signal signal = parse_cesq(quality.view());
    const auto csq_index = parse_csq_index(strength.view());
    level = fibocom_level(signal, csq_index);
    Json object{json_object_new_object()};
    add_fibocom_signal(object.get(), signal, csq_index);
    kjson_array_add(array, std::move(object));
    return 0;
}

int fibocom_get_cells(const ModemDriver &rec, json_object *array)
{
    Text<1024> cells;
    if (!ask_modem_ok(rec, "AT+GTCCINFO?", cells))
        return -1;
    Text<1024> strength;
    if (!ask_modem_ok(rec, "AT+CSQ?", strength))
        strength.clear();
    add_fibocom_cells(cells.view(), parse_csq_index(strength.view()), array);
    return 0;
}

int fibocom_check_register(const ModemDriver &rec)
{
    Text<256> reply;
    return ask_modem_ok(rec, "AT+CREG?", reply) && is_registered_at_home(reply.view()) ? 0 : -1;
}

int fibocom_set_apn(const ModemDriver &rec, const char *apn)
{
    const char *text = apn == nullptr ? "" : apn;
    if (!is_plain_text(text))
        return -1;
    return write_setting(rec, compose_whole("AT+CGDCONT=1,\"IP\",\"%s\"", text));
}
