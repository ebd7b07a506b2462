#pragma once

#include <optional>

#include "at/reply.h"
#include "platform/json.h"
#include "platform/text.h"

using Field = Text<100>;

/// Text that a field becomes in the report.
using Conversion = Text<16> (*)(const Field &field);

Text<16> negate_text(const Field &field);  ///< "-%d" of the integer; one that is negative gets two signs
Text<16> sinr_tenths(const Field &field);  ///< (n + 5) / 10, truncating toward zero
Text<16> rb_bandwidth(const Field &field); ///< resource blocks to "1.4M" ... "20M", "-" for anything else
Text<16> bw_index(const Field &field);     ///< bandwidth digit 0 to 5 likewise

/// A field of a line and the key it is stored under, converted where a conversion is given.
struct FieldKey {
    const char *key;
    int index;
    Conversion convert = nullptr;
};

/// Field index of line; nothing when it cannot be cut.
std::optional<Field> cut_field(std::string_view line, int index);

/// Adds field row.index of line under row.key; nothing when it cannot be cut.
void add_field(json_object *object, std::string_view line, const FieldKey &row);

template <size_t N> void add_fields(json_object *object, std::string_view line, const FieldKey (&rows)[N])
{
    for (const FieldKey &row : rows)
        add_field(object, line, row);
}

/// Calls visit with the text from each occurrence of tag on; the next search starts step characters after the found
/// one.
template <typename Visit> void for_each_tag(std::string_view reply, std::string_view tag, size_t step, Visit visit)
{
    for (auto found = from_first(reply, tag); found.data() != nullptr;
         found = from_first(without_first(found, step), tag))
        visit(found);
}
