#pragma once

#include <cstdint>
#include <span>

/// Least readings for the grades 4, 3 and 2; what is below earns 1.
struct GradeSteps {
    int32_t four, three, two;
};

constexpr int32_t grade_reading(int32_t reading, const GradeSteps &steps)
{
    return reading >= steps.four ? 4 : reading >= steps.three ? 3 : reading >= steps.two ? 2 : 1;
}

/// A value that goes into a level, by the name it has in its source, and the steps that grade it.
struct Metric {
    const char *name;
    GradeSteps steps;
};

/// Sum of the grades of metrics; read gives the reading of a name. Divided by their number it is the level, 1 to 4.
template <typename Read> int32_t sum_of_grades(std::span<const Metric> metrics, Read read)
{
    int32_t sum = 0;
    for (const Metric &metric : metrics)
        sum += grade_reading(read(metric.name), metric.steps);
    return sum;
}

// The steps that every source of signal values shares, in dBm and dB. No standard names them: they are what the
// router's reports and its LEDs have always used, and a level has to mean the same from every source.

inline constexpr GradeSteps lte_rsrp_steps = {-90, -105, -120};
inline constexpr GradeSteps lte_rsrq_steps = {-9, -12, -13}; // -13 alone earns 2: the bars that users know stay
inline constexpr GradeSteps lte_rssi_steps = {-65, -75, -85};
inline constexpr GradeSteps older_rssi_steps = {-70, -80, -95}; // WCDMA, CDMA, GSM
inline constexpr GradeSteps older_ecio_steps = {0, -10, -20};
