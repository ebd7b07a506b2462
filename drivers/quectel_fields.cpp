#include "drivers/quectel_fields.h"

#include <algorithm>

#include "at/reply.h"

namespace {

constexpr const char *bandwidths[] = {"1.4M", "3M", "5M", "10M", "15M", "20M"};
constexpr int32_t resource_blocks[] = {6, 15, 25, 50, 75, 100};

int32_t integer_of(const Field &field)
{
    return text_to_int(field.c_str());
}

} // namespace

Text<16> negate_text(const Field &field)
{
    return Text<16>::format("-%d", integer_of(field));
}

Text<16> sinr_tenths(const Field &field)
{
    return Text<16>::format("%d", static_cast<int32_t>((int64_t{integer_of(field)} + 5) / 10));
}

Text<16> rb_bandwidth(const Field &field)
{
    const auto *found = std::ranges::find(resource_blocks, integer_of(field));
    return found == std::end(resource_blocks) ? "-" : bandwidths[found - resource_blocks];
}

Text<16> bw_index(const Field &field)
{
    const char digit = field.c_str()[0];
    return digit >= '0' && digit <= '5' ? bandwidths[digit - '0'] : "-";
}

std::optional<Field> cut_field(std::string_view line, int index)
{
    Field field;
    if (csv_field(line, index, field) != 0)
        return std::nullopt;
    return field;
}

Field convert_field(const Field &field, Conversion convert)
{
    return convert == nullptr ? field : Field{convert(field).view()};
}

void add_field(json_object *object, std::string_view line, const FieldKey &row)
{
    if (const auto field = cut_field(line, row.index))
        kjson_add_string(object, row.key, convert_field(*field, row.convert).c_str());
}

void add_fields(json_object *object, std::string_view line, std::span<const FieldKey> rows)
{
    for (const FieldKey &row : rows)
        add_field(object, line, row);
}
