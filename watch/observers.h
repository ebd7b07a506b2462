#pragma once

#include "watch/scene.h"
#include "watch/settings.h"

/// True for the interface itself and its companions: "wanb" is not one of "wan".
bool is_own_interface(std::string_view name, std::string_view iface);

/// The seconds for which the watch is paused; 0 if it is not.
int64_t paused_seconds(const char *bus);

/// What costs no process and no question. It reads the settings again if their files have changed.
WatchObservation observe(const char *bus, Scene &scene, WatchSettings &settings);

/// Asks the network daemon about the interface and its companions.
void look(Scene &scene, const WatchSettings &settings, WatchObservation &seen);

/// Asks a name server, or for an echo.
void probe(const Scene &scene, const WatchSettings &settings, WatchObservation &seen);
