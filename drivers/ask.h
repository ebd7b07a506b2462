#pragma once

#include <string_view>

#include "core/model/modem_driver.h"

/// Looks up rec's AT port and sends command to it. @return at_command's result; -1 also without a port
int ask_modem(const ModemDriver &rec, std::string_view command, TextOut reply);

/// The same; true if a reply came and contains OK.
bool ask_modem_ok(const ModemDriver &rec, std::string_view command, TextOut reply);

/// The same on a port that is known.
bool ask_port_ok(const char *port_path, std::string_view command, TextOut reply);

/// True if a +CREG or +CEREG reply means "registered": 1 home network, 5 roaming (3GPP TS 27.007).
bool is_registered(std::string_view reply);
