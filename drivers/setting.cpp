#include "drivers/setting.h"

#include <algorithm>
#include <cstdarg>

#include "at/at_command.h"
#include "at/reply.h"
#include "drivers/ask.h"

bool is_plain_text(std::string_view text)
{
    constexpr char delete_character = 0x7f;
    return std::ranges::all_of(text, [](char character) {
        const bool control = static_cast<unsigned char>(character) < ' ' || character == delete_character;
        return !control && character != '"';
    });
}

std::optional<AtCommand> compose_whole(const char *format, ...)
{
    Text<AtCommand::max_length + 1> text;
    va_list arguments;
    va_start(arguments, format);
    const bool whole = text.out().assign_format(format, arguments);
    va_end(arguments);
    if (!whole)
        return std::nullopt;
    return AtCommand{text.view()};
}

int write_setting(const ModemDriver &rec, const std::optional<AtCommand> &command)
{
    if (!command)
        return -1;
    Text<200> reply;
    return ask_modem(rec, *command, reply) != 0 || reply_has_ok(reply.view()) ? 0 : -1;
}
