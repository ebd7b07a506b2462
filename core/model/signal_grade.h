#pragma once

#include <cstdint>

/// Least readings for the grades 4, 3 and 2; what is below earns 1.
struct GradeSteps {
    int32_t four, three, two;
};

constexpr int32_t grade_reading(int32_t reading, const GradeSteps &steps)
{
    return reading >= steps.four ? 4 : reading >= steps.three ? 3 : reading >= steps.two ? 2 : 1;
}

// The steps that every source of signal values shares, in dBm and dB.

inline constexpr GradeSteps lte_rsrp_steps = {-90, -105, -120};
inline constexpr GradeSteps lte_rsrq_steps = {-9, -12, -13}; // -13 alone earns 2: the bars that users know stay
inline constexpr GradeSteps lte_rssi_steps = {-65, -75, -85};
inline constexpr GradeSteps older_rssi_steps = {-70, -80, -95}; // WCDMA, CDMA, GSM
inline constexpr GradeSteps older_ecio_steps = {0, -10, -20};
