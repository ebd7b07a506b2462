#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/json.h"

/// Ends the process when what must hold does not.
inline void check(bool holds, const char *what)
{
    if (holds)
        return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

/// Whether object prints as a text that can be read again and prints alike.
inline bool is_document(json_object *object)
{
    const std::string_view printed = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    const Json again{json_tokener_parse(printed.data())};
    return printed == json_object_to_json_string_ext(again.get(), JSON_C_TO_STRING_PLAIN);
}
