#include "readings/temperature.h"

#include "readings/fields.h"

namespace {

// 255 and -273 stand for a sensor that is not there.
constexpr int64_t coldest = -50;
constexpr int64_t hottest = 150;

bool keep_hottest(std::string_view value, Report &report)
{
    if (value.ends_with('C'))
        value.remove_suffix(1);
    const auto degrees = decimal(trim(value));
    if (!degrees || *degrees < coldest || *degrees > hottest)
        return false;
    if (!report.temperature_c || *degrees > *report.temperature_c)
        report.temperature_c = degrees;
    return true;
}

} // namespace

// +QTEMP: 38,255,255                      (EC200T)
// +QTEMP:"modem-lte-sub6-pa1","31"        (RM520N; a line a sensor)
// TSENS: 39C                              (T99W175; a line a sensor)
bool read_temperature(std::string_view reply, Report &report)
{
    bool understood = false;
    std::string_view rest = reply;
    for (std::string_view record; next_record(rest, "+QTEMP:", record);) {
        const Fields fields{record};
        for (size_t i = 0; i < fields.size(); i++)
            understood = keep_hottest(fields[i], report) || understood;
    }
    for (std::string_view line; next_line(reply, line);)
        if (line.ends_with('C') && line.find(": ") != std::string_view::npos)
            understood = keep_hottest(without_first(line, line.find(": ") + 2), report) || understood;
    return understood;
}
