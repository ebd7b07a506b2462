#include "platform/debug.h"

#include <cstdarg>
#include <cstdio>

#include "platform/text.h"

namespace {
constinit bool debug_on = false;
}

void set_debug(bool on)
{
    debug_on = on;
}

bool debug_is_on()
{
    return debug_on;
}

void debug_print(const char *format, ...)
{
    if (!debug_on)
        return;
    Text<1024> text;
    va_list arguments;
    va_start(arguments, format);
    text.out().assign_format(format, arguments);
    va_end(arguments);
    fputs(text.c_str(), stdout);
}
