#pragma once

#include <array>
#include <string_view>

#include "api/request.h"
#include "discovery/usb/buses.h"
#include "platform/json.h"

// The modems of the router.

int32_t modem_info(Request &request, json_object *response);
int32_t modem_brief_info(Request &request, json_object *response);
int32_t modem_app_brief_info(Request &request, json_object *response);

// What the list of modems decides.

/// True if a LAN host has the modem's address by pass-through now: pass-through is enabled and runs over a modem, not
/// over the Ethernet WAN or PPPoE.
bool is_passing_through(std::string_view enable, std::string_view running);

/// The DNS servers of a comma-separated list without the first, which is the router's own; null for an empty list.
Json pick_pass_dns(std::string_view list);

/// True if the first count places are all disabled, count being the number of modems present: then no modem counts for
/// the Wi-Fi channel. Two modems at the first and third place are never all off by this rule.
bool are_all_off(int count, const std::array<bool, modem_places> &is_disabled);
