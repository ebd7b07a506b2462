#pragma once

#include <optional>

#include "at/at_command.h"
#include "core/model/modem_driver.h"

// Settings that carry texts of the router's configuration into the modem.

/// True if text may be part of an AT command: it has no quote and no control character. Those would end the quoted text
/// or the line, and the modem would read the rest as another command.
bool is_plain_text(std::string_view text);

/// What printf would write; nothing if that is longer than a command can be. A cut command would set another value, so
/// it is never sent.
std::optional<AtCommand> compose_whole(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// Sends command to rec's AT port. A modem that cannot be asked counts as success: only a refusal is a failure.
/// @return 0; -1 for a reply without OK, and for no command, nothing is sent then
int write_setting(const ModemDriver &rec, const std::optional<AtCommand> &command);
