#pragma once

#include "watch/memory.h"

// What the watch does next, as a pure function: no clock, no port, no file. docs/watch.md explains states and stages.

/// The first four ask for another call: at once, or with more in the observation. The rest act.
enum class WatchAction : uint8_t {
    none,
    again, ///< nothing more needs to be known
    look,  ///< fill in what the network daemon says
    probe, ///< ask a name server through the interface
    ask,   ///< fill in what the modem says
    connect,
    disconnect,
    enter_pin,
    stage, ///< WatchDecision::stage
};

enum class WatchProbe : uint8_t { none, dns, ping, both };

/// All times are in seconds.
struct WatchConfig {
    uint32_t interval = 30;
    uint32_t idle = 300; ///< probes a line that has received nothing for so long; 0: never
    uint32_t stall = 60; ///< packets out and none in for so long are suspicious
    uint32_t stall_packets = 10;
    uint32_t grace = 90;        ///< for a connection to come up
    uint32_t reset_grace = 180; ///< the same after the modem was restarted
    uint32_t retry = 5;         ///< between the first two rounds of probes; twice that before the third
    uint32_t settle = 600;      ///< online for so long ends the outage
    uint32_t absent_wait = 120;
    uint32_t blocked_wait = 600;
    uint32_t no_service_wait = 1800; ///< then every four times as long
    uint32_t backoff = 900;          ///< doubles up to sixteen times
    uint32_t resets_per_day = 8;     ///< of the modem, by all stages from "modem" on
    uint32_t probe = static_cast<uint32_t>(WatchProbe::both);
    uint32_t jitter = 10;  ///< per cent of each back-off, 0 to 20, so that a fleet does not return in step
    uint32_t stages = 0xf; ///< a bit for each stage that this modem and board have and the user allows
    uint32_t pin_hash = 0; ///< of the configured PIN and the card; 0 without a PIN
};

enum class WatchSim : uint8_t { untold, ready, wait, missing, pin, puk, locked }; ///< wait: busy, or failing
enum class WatchService : uint8_t { untold, registered, searching, denied };
enum class WatchLink : uint8_t { untold, up, pending, down };

struct WatchObservation {
    uint32_t now = 0; ///< of a clock that is never set; a jump does no harm
    // Read at every step.
    bool is_wanted = true; ///< enabled, and the interface is not disabled
    bool is_paused = false;
    bool is_upgrading = false; ///< of the modem's or the router's firmware
    bool is_there = false;     ///< the USB device
    bool has_ports = false;
    bool is_changed = false; ///< the configuration has changed, or the modem was plugged in again
    bool is_over_limit = false;
    bool has_device = false; ///< the network device is there and has an address; true as long as it is not known
    uint32_t received = 0;   ///< packets, modulo 2^32
    uint32_t sent = 0;
    // By the network daemon, if asked.
    WatchLink link = WatchLink::untold;
    bool is_started = true;    ///< false if a person took the interface down
    bool is_misset = false;    ///< the protocol handler refuses the settings
    bool has_other_wan = true; ///< another interface has a default route
    // By a probe.
    bool is_probed = false;
    bool is_answered = false;
    bool is_near = false; ///< the modem itself has answered, so its silence will tell nothing
    // By the modem, if asked.
    bool is_told = false;
    bool is_silent = false; ///< it does not answer AT; false if its port could not be had
    bool is_busy = false;   ///< another program has its port
    WatchSim sim = WatchSim::untold;
    WatchService service = WatchService::untold;
    bool is_roaming_forbidden = false;
    bool has_other_address = false; ///< than the network daemon
    int32_t pin_tries = -1;         ///< -1: not told
};

struct WatchDecision {
    WatchAction action = WatchAction::none;
    WatchStage stage = WatchStage::count;
    WatchMemory memory;
    Text<128> line;    ///< for the log, empty if nothing is worth a line: "online -> suspect: packets out and none in"
    uint32_t wait = 0; ///< seconds to the next step
};

WatchDecision decide(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &observation);
