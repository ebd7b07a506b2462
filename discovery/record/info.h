#pragma once

#include "discovery/record/modem_port.h"
#include "platform/json.h"
#include "readings/report.h"

/// How long the port is kept. one_question lets other programs have it after each answer.
enum class PortUse : uint8_t { whole_report, one_question };

/// Adds all that is known about the modem on bus to object: the members of docs/info.md. The AT port is opened once or
/// once for each question; all takes 10 s at most, with one_question 12.8 s. What the modem did not report in time is
/// listed in "missing". Its identity is asked once while it is plugged in, and kept in its state folder. told, if
/// given, gets the modem's words. before, if given, is a report of before: what the network daemon said then is taken
/// over, with counters and times of now, and the daemon is not asked.
/// @return no_answer and port_busy leave an object without the modem's own words
InfoResult add_info(json_object *object, const char *bus, PortUse use = PortUse::whole_report, Report *told = nullptr,
                    json_object *before = nullptr);

/// Adds "interface", what the network daemon says about the interface; nothing if it does not know it. With
/// companion_of, the network device of another interface, it must be a companion of that one.
void add_interface(json_object *object, const char *iface, const char *companion_of = nullptr);
