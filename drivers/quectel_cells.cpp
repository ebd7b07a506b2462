#include "drivers/quectel_cells.h"

#include <algorithm>
#include <span>

#include "drivers/ask.h"

// Lines of AT+QENG="servingcell" by technology (Quectel AT manuals, "AT+QENG"; recorded, except TDSCDMA and CDMA, of
// which the manuals show only the form). Field 0 is the tag, which begins at the colon.
//
//   +QENG: "servingcell","NOCONN","LTE","TDD",460,00,C412C83,401,38950,40,5,5,247C,-90,-7,-62,24,37   EC20
//          0             1        2     3     4   5  6       7   8     9  10  12   13  14 15  16 17
//   +QENG: "servingcell","NOCONN","WCDMA",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-   EC25
//          0             1        2       3   4   5    6     7    8  9   10  11 12  14  16
//   +QENG: "servingcell","LIMSRV","GSM",432,11,587,293A,31,98,-,-63,255,255,0,43,43,1   EC2x
//          0             1        2     3   4  5   6    7  8  9 10  11  12  13   15 16

struct CellLayout {
    const char *word;                 ///< of the technology
    const char *rat;                  ///< null: the technology as the modem prints it
    std::span<const FieldKey> fields; ///< after those of older_cell, except for LTE
};

namespace {

// clang-format off
constexpr FieldKey lte_cell[] = {
    {"mode", 3}, {"mcc", 4}, {"mnc", 5}, {"cellid", 6}, {"pcid", 7}, {"earfcn", 8}, {"band", 9},
    {"ul_bandwidth", 10, bw_index}, {"dl_bandwidth", 11, bw_index}, {"tac", 12},
    {"rsrp", 13}, {"rsrq", 14}, {"rssi", 15}, {"sinr", 16}, {"srxlev", 17},
};
constexpr int lte_band_field = 9;
constexpr FieldKey older_cell[] = {{"mcc", 3}, {"mnc", 4}, {"lac", 5}, {"cellid", 6}};
constexpr FieldKey wcdma_cell[] = {
    {"uarfcn", 7}, {"psc", 8}, {"rac", 9}, {"rscp", 10}, {"ecio", 11}, {"phych", 12}, {"sf", 13}, {"slot", 14},
    {"speech_code", 15}, {"commod", 16},
};
constexpr FieldKey tdscdma_cell[] = {{"pfreq", 7}, {"rssi", 8}, {"rscp", 9}, {"ecio", 10}};
constexpr FieldKey cdma_cell[] = {{"bcch", 7}, {"rxpwr", 8}, {"ecio", 9}, {"txpwr", 10}};
constexpr FieldKey gsm_cell[] = {{"rxlev", 10}};

// The first row whose word the technology contains counts.
constexpr CellLayout layouts[] = {
    {"LTE",     "LTE",     lte_cell},
    {"WCDMA",   "WCDMA",   wcdma_cell},
    {"TDSCDMA", "TDSCDMA", tdscdma_cell},
    {"CDMA",    nullptr,   cdma_cell},
    {"GSM",     "GSM",     gsm_cell},
};
constexpr const CellLayout &lte_layout = layouts[0];
constexpr const CellLayout &cdma_layout = layouts[3];

// Quectel AT manuals, "AT+QCAINFO"; recorded with an EM12, whose firmware says "pcc" and "scc". Field 0 holds the tag.
//
//   +QCAINFO: "pcc",250,50,"LTE BAND 1",1,277,-97,-9,-71,15
//             0     1   2  3            4 5   6   7  8   9
//   +QCAINFO: "scc",1600,100,"LTE BAND 3",1,38,-96,-10,-76,11
//             0     1    2   3            4 5  6   7   8   9
constexpr FieldKey carrier_cell[] = {
    {"freq", 1}, {"band", 3}, {"bandwidth", 2, rb_bandwidth}, {"pcid", 5}, {"rsrp", 6}, {"rsrq", 7}, {"rssi", 8},
    {"sinr", 9},
};

// Quectel AT manuals, "AT+QENG"; recorded with an EG25-G.
//
//   +QENG: "neighbourcell intra","LTE",6300,188,-12,-105,-75,-20,23,4,12,10,62
//          0                     1     2    3   4   5    6   7   8  9 10 11 12
//   +QENG: "neighbourcell","WCDMA",3062,3,16,2,-,-,-,-
//          0               1       2    3 4  5 6 7 8 9
constexpr FieldKey lte_neighbour[] = {{"earfcn", 2}, {"cellid|pcid", 3}};
constexpr FieldKey wcdma_neighbour[] = {{"uarfcn", 2}};
// clang-format on

struct NeighbourLayout {
    const char *word;
    std::span<const FieldKey> fields;
};
constexpr NeighbourLayout neighbour_layouts[] = {{"LTE", lte_neighbour}, {"WCDMA", wcdma_neighbour}, {"GSM", {}}};

// The state of a carrier by its digit.
Text<16> state_of(const Field &field, std::span<const char *const> states)
{
    const size_t digit = static_cast<unsigned char>(field.c_str()[0]) - size_t{'0'};
    return digit < states.size() ? states[digit] : "-";
}

Text<16> primary_state(const Field &field)
{
    static constexpr const char *states[] = {"No serving", "Registered"};
    return state_of(field, states);
}

Text<16> secondary_state(const Field &field)
{
    static constexpr const char *states[] = {"Deconfigured", "deactivated", "activated"};
    return state_of(field, states);
}

const CellLayout *find_layout(std::string_view technology, std::string_view text)
{
    for (const CellLayout &layout : layouts) {
        // EVDO modules print HDR, and some of them outside the technology's field.
        if (str_contains(technology, layout.word) || (&layout == &cdma_layout && str_contains(text, "HDR")))
            return &layout;
    }
    return nullptr;
}

void add_serving_cell(json_object *array, const ServingCell &cell)
{
    Json object{json_object_new_object()};
    kjson_add_string(object.get(), "type", "servingcell");
    add_field(object.get(), cell.line, {"state", 1});
    if (!cell.is_lte)
        add_fields(object.get(), cell.line, older_cell);
    if (cell.layout != nullptr) {
        add_fields(object.get(), cell.line, cell.layout->fields);
        kjson_add_string(object.get(), "rat", cell.layout->rat == nullptr ? cell.technology.view() : cell.layout->rat);
    }
    kjson_array_add(array, std::move(object));
}

} // namespace

std::optional<ServingCell> parse_servingcell(std::string_view text)
{
    const auto technology = cut_field(text, 2);
    if (!technology)
        return std::nullopt;
    const CellLayout *layout = find_layout(technology->view(), text);
    return ServingCell{.line = text, .technology = *technology, .layout = layout, .is_lte = layout == &lte_layout};
}

std::optional<int32_t> lte_band(const ServingCell &cell)
{
    if (!cell.is_lte)
        return std::nullopt;
    const auto band = cut_field(cell.line, lte_band_field);
    return band ? leading_int(band->view()) : std::nullopt;
}

// The carrier's kind and the neighbour's technology are searched from this line to the end of the reply, not only in
// this line. People compare the reports with older ones, so this stays.

void add_carriers(std::string_view reply, json_object *array)
{
    for_each_line(reply, "+QCAINFO:", "+QCAINFO: ", [&](std::string_view rest) {
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

void add_serving_cells(std::string_view reply, json_object *array)
{
    for_each_line(reply, servingcell_tag, servingcell_tag, [&](std::string_view rest) {
        if (const auto cell = parse_servingcell(rest))
            add_serving_cell(array, *cell);
    });
}

void add_neighbour_cells(std::string_view reply, json_object *array)
{
    constexpr std::string_view tag = ": \"neighbourcell";
    for_each_line(reply, tag, tag, [&](std::string_view rest) {
        Json object{json_object_new_object()};
        kjson_add_string(object.get(), "type", "neighbourcell");
        const auto *layout = std::ranges::find_if(
            neighbour_layouts, [&](const NeighbourLayout &row) { return str_contains(rest, row.word); });
        if (layout != std::end(neighbour_layouts)) {
            add_fields(object.get(), rest, layout->fields);
            kjson_add_string(object.get(), "rat", layout->word);
        }
        kjson_array_add(array, std::move(object));
    });
}

bool has_two_carriers(std::string_view reply)
{
    return (str_contains(reply, "pss") && str_contains(reply, "sss")) ||
           (str_contains(reply, "pcc") && str_contains(reply, "scc"));
}

int quectel_get_cells(const ModemDriver &rec, json_object *array)
{
    struct Report {
        const char *command;
        void (*add)(std::string_view reply, json_object *array);
    };
    static constexpr Report reports[] = {
        {"AT+QCAINFO", add_carriers},
        {"AT+QENG=\"servingcell\"", add_serving_cells},
        {"AT+QENG=\"neighbourcell\"", add_neighbour_cells},
    };
    for (const Report &report : reports) {
        Text<1024> reply;
        if (ask_modem_ok(rec, report.command, reply))
            report.add(reply.view(), array);
    }
    return 0;
}

int ep06_get_ca_info(const ModemDriver &rec)
{
    Text<1024> reply;
    return ask_modem_ok(rec, "AT+QCAINFO", reply) && has_two_carriers(reply.view()) ? 1 : 0;
}
