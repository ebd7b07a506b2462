#include "drivers/sierra_report.h"

#include <span>

#include "at/reply.h"
#include "core/model/signal_grade.h"

namespace {

struct ReportKey {
    const char *key;
    const char *label;
    int earlier = 0; ///< occurrences of label that belong to other keys
};

struct ReportCell {
    const char *word; ///< the report has such a cell if it contains this
    const char *type;
    const char *technology;
    std::span<const ReportKey> keys;
};

// AT!GSTATUS? of an MC7455 (Sierra Wireless AT manual, "AT!GSTATUS"); a TAB separates the two values of a line:
//
//   System mode:   LTE           PS state:    Attached
//   LTE band:      B2            LTE bw:      20 MHz
//   LTE Rx chan:   800           LTE Tx chan: 18800
//   LTE CA state:  ACTIVE        LTE Scell band:B12
//   LTE Scell bw:10 MHz          LTE Scell chan:5110
//   PCC RxM RSSI:  -45           RSRP (dBm):  -81
//   PCC RxD RSSI:  -44           RSRP (dBm):  -79
//   SCC RxM RSSI:  -52           RSRP (dBm):  -83
//   SCC RxD RSSI:  -51           RSRP (dBm):  -81
//   Tx Power:      15            TAC:         8C65 (35666)
//   RSRQ (dB):     -14.0         Cell ID:     0A14666A (169106666)
//   SINR (dB):     23.8

// clang-format off
constexpr ReportKey primary_keys[] = {
    {"state", "PS state:"}, {"cellid", "Cell ID:"}, {"band", "LTE band:"}, {"bandwidth", "LTE bw:"},
    {"tx-chan", "LTE Tx chan:"}, {"rx-chan", "LTE Rx chan:"}, {"M-rssi", "PCC RxM RSSI:"}, {"D-rssi", "PCC RxD RSSI:"},
    {"M-rsrp", "RSRP (dBm):"}, {"D-rsrp", "RSRP (dBm):", 1}, {"rsrq", "RSRQ (dB):"}, {"sinr", "SINR (dB):"}, {"tac", "TAC:"},
};
constexpr ReportKey secondary_keys[] = {
    {"band", "LTE Scell band:"}, {"bandwidth", "LTE Scell bw:"}, {"chan", "LTE Scell chan:"},
    {"M-rssi", "SCC RxM RSSI:"}, {"D-rssi", "SCC RxD RSSI:"}, {"M-rsrp", "RSRP (dBm):", 2}, {"D-rsrp", "RSRP (dBm):", 3},
};
constexpr ReportKey wcdma_keys[] = {
    {"state", "PS state:"}, {"cellid", "UTRAN Cell ID:"}, {"band", "WCDMA band:"}, {"chan", "WCDMA channel:"},
    {"M-rssi-c0", "RxM RSSI C0:"}, {"M-rssi-c1", "RxM RSSI C1:"}, {"D-rssi-c0", "RxD RSSI C0:"}, {"D-rssi-c1", "RxD RSSI C1:"},
    {"lac", "LAC:"},
};
constexpr ReportCell report_cells[] = {
    {"LTE",   "PSS",         "LTE",   primary_keys},
    {"SCC",   "SSS",         "LTE",   secondary_keys},
    {"WCDMA", "servingcell", "WCDMA", wcdma_keys},
};
// clang-format on

// The spaces between label and value in the report belong to the label.
constexpr Metric lte_metrics[] = {
    {"PCC RxM RSSI:  ", lte_rssi_steps},
    {"RSRP (dBm):  ", lte_rsrp_steps},
    {"RSRQ (dB):     ", lte_rsrq_steps},
    {"SINR (dB):     ", {13, 10, 7}},
};
constexpr Metric wcdma_metrics[] = {{"RxM RSSI C0:", lte_rssi_steps}};

std::optional<GradedSignal> grade_report(std::string_view report, std::span<const Metric> metrics,
                                         Generation generation)
{
    bool is_whole = true;
    const int32_t sum = sum_of_grades(metrics, [&](const char *label) {
        int32_t value = 0;
        is_whole &= int_after_label(report, label, value) == 0;
        return value;
    });
    if (!is_whole)
        return std::nullopt;
    return GradedSignal{.generation = generation, .level = sum / static_cast<int32_t>(metrics.size())};
}

void fill_cell(json_object *object, std::string_view report, const ReportCell &cell)
{
    kjson_add_string(object, "type", cell.type);
    for (const ReportKey &row : cell.keys) {
        Text<101> value;
        if (field_after_label(report, row.label, row.earlier, value) == 0)
            kjson_add_string(object, row.key, value.c_str());
    }
    kjson_add_string(object, "rat", cell.technology);
}

} // namespace

std::optional<GradedSignal> parse_gstatus_signal(std::string_view report)
{
    if (str_contains(report, "LTE"))
        return grade_report(report, lte_metrics, Generation::g4);
    if (str_contains(report, "WCDMA"))
        return grade_report(report, wcdma_metrics, Generation::g3);
    return std::nullopt;
}

int add_gstatus_cells(std::string_view report, json_object *array)
{
    for (const ReportCell &cell : report_cells) {
        if (!str_contains(report, cell.word))
            continue;
        Json object{json_object_new_object()};
        if (!object)
            return -1;
        fill_cell(object.get(), report, cell);
        kjson_array_add(array, std::move(object));
    }
    return 0;
}

bool is_aggregated(std::string_view report)
{
    Text<101> state;
    return field_after_label(report, "LTE CA state:", 0, state) == 0 && !str_contains(state.view(), "NOT ASSIGNED");
}
