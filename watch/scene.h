#pragma once

#include "discovery/record/modem_record.h"
#include "status/history.h"
#include "watch/decide.h"
#include "watch/settings.h"

// What a step of the watch knows: what it remembers, the settings, and what was seen.

/// Kept as a file of the state folder from step to step.
struct Scene {
    WatchMemory memory;
    Text<16> device;      ///< the interface's network device, as the network daemon last said
    Text<46> server;      ///< its first name server
    Text<16> address;     ///< IPv4, of the device itself; empty if it has none
    Text<16> plug;        ///< plug number of the modem
    Text<16> stamp;       ///< of the configuration files
    int64_t sampled = 0;  ///< uptime of the last sample; 0: none so far
    Text<24> iccid;       ///< of the card, as the modem last said
    int64_t received = 0; ///< the device's bytes up to which usage is counted
    int64_t sent = 0;
    int64_t kept = 0;   ///< uptime at which the flash last got the usage
    int64_t warned = 0; ///< the last warning of the limit, in per cent
    int64_t route = 0; ///< by the device: 1 if the router's IPv4 goes out there, 2 if it went and has no way at all now
    int64_t loader = 0; ///< uptime at which the modem was first seen in its boot loader; 0: it is not there
    Text<64> reason;    ///< of the last change
};

/// True for the interface itself and its companions: "wanb" is not one of "wan".
bool is_own_interface(std::string_view name, std::string_view iface);

void read_scene(const char *bus, Scene &scene);
void write_scene(const char *bus, const Scene &scene);

/// The seconds for which the watch is paused; 0 if it is not.
int64_t paused_seconds(const char *bus);

/// What costs no process and no question. It reads the settings again if their files have changed.
WatchObservation observe(const char *bus, Scene &scene, WatchSettings &settings);

/// Asks the network daemon about the interface and its companions.
void look(Scene &scene, const WatchSettings &settings, WatchObservation &seen);

/// Asks a name server, or for an echo.
void probe(const Scene &scene, const WatchSettings &settings, WatchObservation &seen);

/// What the network daemon last said of the interface, as a document: asking it again needs a process.
using InterfaceText = Text<600>;

/// Asks the modem, a question at a time, keeps the answers as the snapshot, and fills the sample's signal. Asks the
/// network daemon only if last is empty, and fills it.
void ask_modem(const char *bus, Scene &scene, WatchSettings &settings, WatchObservation &seen, HistorySample &sample,
               InterfaceText &last);
