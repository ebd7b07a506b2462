#pragma once

#include "platform/shell_line.h"

// Every line that this room gives to the shell.

inline constexpr char reboot_router[] = "reboot";

/// Brings the modem on bus online as the package's script does, with the APN of its card or the user's settings.
ShellLine<100> compose_reconnect(const char *bus);
/// Runs the hooks in /etc/hotplug.d/modem.
ShellLine<300> compose_call_hooks(const char *what, const char *bus, const char *iface, const char *state,
                                  std::string_view reason);
