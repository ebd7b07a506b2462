#pragma once

#include <optional>
#include <span>

#include "at/reply.h"
#include "drivers/signal.h"

/// The text of a field in the report.
using Conversion = Text<16> (*)(const Field &field);

/// "-%d" of the integer: most modules print the RSSI without its sign. One that prints the sign gets two, "--60":
/// readers of the reports depend on that text.
Text<16> negate_text(const Field &field);
Text<16> sinr_tenths(const Field &field);  ///< (n + 5) / 10, truncating toward zero
Text<16> rb_bandwidth(const Field &field); ///< resource blocks to "1.4M" ... "20M", "-" for anything else
Text<16> bw_index(const Field &field);     ///< bandwidth digit 0 to 5 likewise

/// A field of a line, the key under which it is reported, and a conversion or null.
struct FieldKey {
    const char *key;
    int index;
    Conversion convert = nullptr;
};

/// Field index of line; nothing when it cannot be cut.
std::optional<Field> cut_field(std::string_view line, int index);

/// field as it is reported.
Field convert_field(const Field &field, Conversion convert);

/// Adds field row.index of line under row.key; nothing when it cannot be cut.
void add_field(json_object *object, std::string_view line, const FieldKey &row);

/// The same for all rows.
void add_fields(json_object *object, std::string_view line, std::span<const FieldKey> rows);

/// Calls visit with the text from each line's tag on. The search for the next tag starts after the shortest line that a
/// modem can print, so a tag within that line does not count.
template <typename Visit>
void for_each_line(std::string_view reply, std::string_view tag, std::string_view shortest_line, Visit visit)
{
    for (auto found = from_first(reply, tag); found;
         found = from_first(without_first(*found, shortest_line.size()), tag))
        visit(*found);
}

/// The tag of the lines of AT+QENG="servingcell".
inline constexpr std::string_view servingcell_tag = ": \"servingcell";
