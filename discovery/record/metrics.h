#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include "platform/json.h"

// The reports of the router's modems as metrics, for Prometheus and what reads its text format. docs/fleets.md has the
// list. A value that a modem does not report has no series, so that no chart shows a -1.

enum class MetricShape : uint8_t {
    up,      ///< 1 if the modem answered
    number,  ///< the member
    truth,   ///< 1 if the member is the word in the row's labels, else 0
    state,   ///< a series for each word in the row's labels, 1 for the one that the member is
    info,    ///< always 1: the labels tell
    signal,  ///< the member of each carrier that has it
    carrier, ///< as info, for each carrier
};

/// A name that ends in _total is a counter's, all others are gauges.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which a row is read
struct MetricRow {
    const char *name;
    const char *help;
    MetricShape shape;
    const char *group; ///< the object of the report that has the member; null: the report itself
    const char *member = nullptr;
    const char *labels = ""; ///< "label=group.member ...", or the words of a state
    bool identifies = false; ///< tells whose modem it is, or where it is: only printed if asked for
    int32_t factor = 1;      ///< from the report's unit to the metric's
};
// NOLINTNEXTLINE(bugprone-dynamic-static-initializers): a table of constants
extern const std::span<const MetricRow> metric_rows;

struct MetricsOptions {
    bool identify = false;    ///< IMEI, IMSI, ICCID and cell too
    bool openmetrics = false; ///< OpenMetrics 1.0: counters' families without _total, "# EOF" at the end
};

/// Prints the metrics of reports, an array of what `modemctl info --json` prints. Elements of other types are left out.
void print_metrics(FILE *out, json_object *reports, const MetricsOptions &options);
