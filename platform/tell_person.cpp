#include "platform/tell_person.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

#include "platform/text.h"

bool person_watches()
{
    return isatty(STDERR_FILENO) != 0;
}

void tell_person(const char *format, ...)
{
    if (!person_watches())
        return;
    Text<256> text;
    va_list arguments;
    va_start(arguments, format);
    text.out().assign_format(format, arguments);
    va_end(arguments);
    fprintf(stderr, "modemctl: %s\n", text.c_str());
}
