#pragma once

#include <array>
#include <optional>

#include "platform/json.h"
#include "platform/text.h"

using Field = Text<100>;

/// A value of a reply: its text, which the reports show as the modem wrote it ("-", "--60"), and the number that it
/// starts with, for calculations.
struct Reading {
    Field text;
    std::optional<int32_t> number; ///< nothing when the text starts with none

    explicit Reading(std::string_view value);
    Reading() = default;
};

/// The signal of one system: what it is called, and its values in the order of the report.
struct Signal {
    struct Value {
        const char *key = nullptr; ///< null after the last value
        Reading reading;
    };
    Field type; ///< empty when the modem's report names no system
    std::array<Value, 6> values;

    void add(const char *key, std::string_view text);
    /// The number of a value; nothing when there is no such value, or it has none.
    std::optional<int32_t> number(std::string_view key) const;
};

/// Adds each value's text under its key.
void add_values(json_object *object, const Signal &signal);
