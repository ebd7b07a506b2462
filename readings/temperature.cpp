#include "readings/temperature.h"

#include "readings/fields.h"

namespace {

// 255 and -273 stand for a sensor that is not there.
constexpr int32_t coldest = -50;
constexpr int32_t hottest = 150;

bool keep_hottest(std::string_view value, int32_t parts, Report &report)
{
    if (value.ends_with('C'))
        value.remove_suffix(1);
    const auto number = decimal(trim(value));
    if (!number || *number < INT16_MIN || *number > INT32_MAX)
        return false;
    const int32_t degrees = static_cast<int32_t>(*number) / parts;
    if (degrees < coldest || degrees > hottest)
        return false;
    if (!report.temperature_c || degrees > *report.temperature_c)
        report.temperature_c = degrees;
    return true;
}

// +QTEMP: 38,255,255                      (EC200T)
// +QTEMP:"modem-lte-sub6-pa1","31"        (RM520N; a line a sensor, as #TEMPSENS: TSENS,26 of Telit's modems)
// +CPMUTEMP: 34                           (SIM7600)
// ^CHIPTEMP: 432,445,451,65535            (MT5700M)
// +GTSENRDTEMP: 1,37628                   (FM350: the sensor's number, and thousandths)
// +MTSM: 52                               (FM150)
// +TEMP: "soc-thmzone","38500"            (SLM770A: in thousandths; SLM828: in degrees)
struct Form {
    std::string_view tag;
    uint8_t first;  ///< field of the first temperature
    uint16_t parts; ///< of a degree
};
constexpr Form forms[] = {
    {"+QTEMP:", 0, 1},          {"+CPMUTEMP:", 0, 1}, {"#TEMPSENS:", 1, 1}, {"^CHIPTEMP:", 0, 10},
    {"+GTSENRDTEMP:", 1, 1000}, {"+MTSM:", 0, 1},     {"+TEMP:", 1, 1},     {"+TEMP:", 1, 1000},
};

} // namespace

bool read_temperature(std::string_view reply, Report &report)
{
    bool understood = false;
    for (const Form &form : forms) {
        std::string_view rest = reply;
        for (std::string_view record; next_record(rest, form.tag, record);) {
            const Fields fields{record};
            for (size_t i = form.first; i < fields.size(); i++)
                understood = keep_hottest(fields[i], form.parts, report) || understood;
        }
    }
    constexpr std::string_view gap = ": ";
    // TSENS: 39C                          (T99W175; a line a sensor)
    for (std::string_view line; next_line(reply, line);)
        if (line.ends_with('C') && str_contains(line, gap))
            understood = keep_hottest(without_first(line, find_text(line, gap) + gap.size()), 1, report) || understood;
    return understood;
}
