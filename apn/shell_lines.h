#pragma once

#include "platform/shell_line.h"

// Every line that this room gives to the shell.

/// Keeps the IMSI of the modem on bus.
ShellLine<100> compose_keep_imsi(std::string_view imsi, const char *bus);

/// Name column of the operator list's lines that contain code (MCC and MNC).
ShellLine<100> compose_find_operator(std::string_view code);

/// Succeeds if address answers an echo request within 3 s. Only device is used: another way out would answer for it.
ShellLine<128> compose_echo(const char *device, const char *address);

/// A digest of what somebody can set for the interface, as modemctl-reconnect makes it: it keeps that of the settings
/// that it found by itself in devconf.modem_auto.<interface>.
ShellLine<220> compose_settings_digest(const char *iface);
