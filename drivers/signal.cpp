#include "drivers/signal.h"

#include "at/reply.h"

Reading::Reading(std::string_view value) : text(value), number(leading_int(text.view())) {}

void Signal::add(const char *key, std::string_view text)
{
    for (Value &value : values) {
        if (value.key != nullptr)
            continue;
        value.key = key;
        value.reading = Reading{text};
        return;
    }
}

std::optional<int32_t> Signal::number(std::string_view key) const
{
    for (const Value &value : values)
        if (value.key != nullptr && value.key == key)
            return value.reading.number;
    return std::nullopt;
}

void add_values(json_object *object, const Signal &signal)
{
    for (const Signal::Value &value : signal.values)
        if (value.key != nullptr)
            kjson_add_string(object, value.key, value.reading.text.c_str());
}
