#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/model/generation.h"
#include "platform/json.h"

// How the report is read.

struct GradedSignal {
    Generation generation;
    int32_t level; ///< 1 to 4
};

/// Nothing if the report names no technology, or lacks one of its values.
std::optional<GradedSignal> parse_gstatus_signal(std::string_view report);

/// Appends the cells of the report. @return 0, -1 when memory runs out
int add_gstatus_cells(std::string_view report, json_object *array);

/// True if the report has a carrier aggregation state other than "NOT ASSIGNED".
bool is_aggregated(std::string_view report);
