#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "discovery/usb/buses.h"

// LTE bands 7 and 40 lie next to the 2.4 GHz band, 40 beside its low channels, 7 beside its high ones: a radio at the
// edge that touches a band in use and the modem disturb each other.

/// The LTE band in use at each place for a modem, 0 for none.
using LteBands = std::array<int32_t, modem_places>;

/// The channel that avoids the bands, 0 when channel does not clash.
int32_t pick_wifi_channel(int32_t channel, const LteBands &bands);

/// The same for the channel that the router's configuration gives its 2.4 GHz radio; 0 also while the radio is off or
/// finds its channel by itself.
int32_t wifi_channel_hint(const LteBands &bands);

/// The band of the modem on bus at a place (from 0), by the record's AT port unless devconf.modem.dev1, dev2, dev3
/// fixes it.
int32_t read_lte_band(const char *bus, int32_t control_port, int place);

/// Finds the bands of the modems that are present. @return 0; -1 without any, and on boards without a 2.4 GHz radio
/// that the program may move
int check_interference(LteBands &bands);

/// Moves a radio that finds its channel by itself away from the bands, by writing a fixed channel and restarting the
/// Wi-Fi. A channel that a user has chosen is left alone, so after one move nothing happens until "auto" is set again.
void avoid_interference(const LteBands &bands);

// What the configuration says. Both are -1 while the main network and the guest network are switched off.

/// @return 0 for "auto" or none
int32_t pick_configured_channel(bool is_off, std::string_view channel);
/// True if the live channel counts: the radio is on and chooses its channel itself.
bool is_channel_free(bool is_off, std::string_view channel);
