#pragma once

#include "at/at_command.h"
#include "core/model/modem_driver.h"

/// Looks up rec's AT port and sends command to it. @return at_command's result; -1 also without a port
int ask_modem(const ModemDriver &rec, const AtCommand &command, TextOut reply);

/// The same; true if a reply came and contains OK.
bool ask_modem_ok(const ModemDriver &rec, const AtCommand &command, TextOut reply);

/// True if a +CREG or +CEREG reply means "registered": 1 home network, 5 roaming (3GPP TS 27.007).
bool is_registered(std::string_view reply);
