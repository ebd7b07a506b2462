#pragma once

#include "at/at_session.h"
#include "core/model/modem_driver.h"

/// What asking a modem ends with; the exit status of the commands that do.
enum class InfoResult : int { reported = 0, no_modem = 1, no_answer = 2, port_busy = 3 };

/// A modem whose AT port is open.
struct ModemPort {
    ModemDriver rec; ///< the row of its model, or that of the unknown device, bound to the bus
    uint32_t usb_vendor = 0;
    uint32_t usb_product = 0;
    Text<30> path; ///< "/dev/ttyUSB2"
    AtSession session;
};

/// Finds the modem on bus and opens its AT port: the one of its model's row, else the first port that answers "AT"
/// within 300 ms. What was found so is kept in the modem's state folder while it is plugged in, and is searched for
/// again when it does not answer any more.
/// @return reported with an open session; otherwise modem holds what was found, and rec unless there is no modem
InfoResult open_modem(const char *bus, ModemPort &modem);

/// The number that the kernel gives a device when it is plugged in; empty without one.
Text<16> plug_number(const char *bus);
