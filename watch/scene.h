#pragma once

#include "watch/memory.h"

/// What a step of the watch knows from the steps before. Kept as a file of the state folder.
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

void read_scene(const char *bus, Scene &scene);
void write_scene(const char *bus, const Scene &scene);
