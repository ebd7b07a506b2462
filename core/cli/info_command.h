#pragma once

#include <cstdint>

#include "core/cli/commands.h"
#include "discovery/record/modem_port.h"
#include "platform/json.h"

/// `info [--json [--pretty]] [--all] [--cached]`: all that is known about a modem, as a page or as JSON.
/// @return 0 reported, 1 no modem, 2 the modem does not answer, 3 its port is busy, 64 an argument that is not
/// understood. With --all the first of these that is not 0, and 1 without any modem
int run_info(const CommandRun &run);

inline constexpr int64_t no_age = -1;
inline constexpr int64_t any_age = INT64_MAX;

/// The newest report of the modem on bus, if it is at most oldest_s old; else the modem is asked, and its report kept.
InfoResult newest_report(const char *bus, int64_t oldest_s, Json &report);

/// The same for every modem of the router, as an array. Those that are asked are asked side by side.
/// @param worst the first result that is not reported; no_modem without any modem
Json reports_of_all(int64_t oldest_s, InfoResult &worst);

/// Tells a person why the modem on bus was not asked to the end; nothing when it was.
void tell_reason(InfoResult result, const char *bus);
