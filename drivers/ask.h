#pragma once

#include "at/at_command.h"
#include "core/model/modem_driver.h"

/// Sends command to rec's AT port, found afresh. @return at_command's result; -1 also without a port
int ask_modem(const ModemDriver &rec, const AtCommand &command, TextOut reply);

/// The same; whether a reply came and holds OK.
bool ask_modem_ok(const ModemDriver &rec, const AtCommand &command, TextOut reply);

/// Whether a +CREG or +CEREG reply tells "registered": 1 home network, 5 roaming (3GPP TS 27.007).
bool is_registered(std::string_view reply);
