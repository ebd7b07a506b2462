#pragma once

#include "readings/report.h"

/// How good a signal is, judged for people. Programs use the numbers themselves.
struct Quality {
    int level;         ///< 0 none to 5 excellent: the level of the worst value
    const char *words; ///< "none", "very weak", "weak", "fair", "good", "excellent"
    const char *limit; ///< the worst value, "sinr"; null at level 0 without service
};

/// Judges RSRP, RSRQ and SINR on LTE and NR, RSCP and Ec/Io on WCDMA, the RSSI on GSM. Nothing if the modem reported
/// none of them.
std::optional<Quality> judge(const Report &report);
