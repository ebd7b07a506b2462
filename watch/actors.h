#pragma once

#include "core/model/modem_driver.h"
#include "platform/json.h"
#include "watch/decide.h"
#include "watch/settings.h"

// What the watch does. Each runs in a process of its own that SIGTERM does not end, so that a modem is never left with
// its radio or its USB port switched off. The caller waits for it, and may be killed meanwhile.

/// The stages that this modem and this board have, and that the user allows, as a set of bits.
uint32_t find_stages(const ModemDriver &rec, const char *bus, std::string_view last_stage);

/// True if the package's script is there, which brings an interface online that has no section in the configuration
/// yet.
bool can_reconnect();

/// True while that script runs for an event of the modem, or at the router's start.
bool is_being_connected(const char *bus);

/// Runs connect, disconnect, enter_pin or a stage.
void act(const char *bus, const ModemDriver &rec, const WatchSettings &settings, WatchAction action, WatchStage stage);

/// By the network daemon's status document: false if a person has taken the interface down.
bool is_started(json_object *status);

/// What connect and disconnect do, in this process.
void bring_online(const char *bus, const char *iface);
void take_offline(const char *iface);
/// Restarts the modem by its model's command.
void restart_modem(const char *bus, const ModemDriver &rec);

/// The hooks in /etc/hotplug.d/modem, in the background: ACTION is what happened.
void call_hooks(const char *what, const char *bus, const char *iface, const char *state, std::string_view reason);

/// Lights the LED, or makes it dark; an empty name is no LED.
void show_on_led(std::string_view led, bool is_online);

// What must outlive the router's start: how often it was started in vain, and the PIN that was refused.

void read_kept(const char *bus, WatchMemory &memory);
/// Writes the flash only if something has changed.
void keep(const char *bus, const WatchMemory &memory);
