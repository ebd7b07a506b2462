#pragma once

#include <array>

#include "platform/json.h"
#include "platform/text.h"
#include "platform/uci.h"

/// A router has three places for a modem at most. Each entry of the list devconf.modem.bus names a place's bus; an
/// empty or missing one is a place without a modem.
inline constexpr int modem_places = 3;
using ModemBuses = std::array<Text<32>, modem_places>;

ModemBuses read_modem_buses(const Uci &uci);

/// The names of all USB devices that the kernel shows, hubs too, sorted.
Json list_usb_buses();
