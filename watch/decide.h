#pragma once

#include <array>
#include <cstdint>

#include "platform/text.h"

// What the watch does next, as a pure function: no clock, no port, no file. docs/watch.md explains states and stages.

enum class WatchState : uint8_t {
    off,
    absent,
    blocked,
    no_service,
    starting,
    online,
    suspect,
    recovering,
    slow,
    count
};

/// From harmless to harsh; each is tried once per outage, in this order.
enum class WatchStage : uint8_t { refresh, reconnect, radio, modem, usb, power, router, count };
inline constexpr size_t watch_stages = static_cast<size_t>(WatchStage::count);

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

/// Why a person is needed.
enum class WatchCause : uint8_t { none, no_sim, puk, pin_missing, pin_refused, pin_tries, denied, settings, count };

const char *watch_state_name(WatchState state);
const char *watch_stage_name(WatchStage stage);
const char *watch_cause_name(WatchCause cause);

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
    uint32_t probe = static_cast<uint32_t>(WatchProbe::dns);
    uint32_t jitter = 10;  ///< per cent of each back-off, 0 to 20, so that a fleet does not return in step
    uint32_t stages = 0xf; ///< a bit for each stage that this modem and board have and the user allows
    uint32_t pin_hash = 0; ///< of the configured PIN and the card; 0 without a PIN
};

enum class WatchSim : uint8_t { untold, ready, wait, missing, pin, puk };
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
    // By the modem, if asked.
    bool is_told = false;
    bool is_silent = false; ///< it does not answer AT; false if its port could not be had
    WatchSim sim = WatchSim::untold;
    WatchService service = WatchService::untold;
    bool is_roaming_forbidden = false;
    bool has_other_address = false; ///< than the network daemon
    int32_t pin_tries = -1;         ///< -1: not told
};

/// What is remembered of an outage. All members are numbers, so a table writes and reads them.
struct WatchMemory {
    uint32_t clock = 0; ///< seconds of its own: it never goes back and never leaps
    uint32_t seen = 0;  ///< the observation's time at the last step
    uint32_t state = static_cast<uint32_t>(WatchState::off);
    uint32_t since = 0;     ///< clock at the change to this state
    uint32_t due = 0;       ///< clock at which the state has waited long enough
    uint32_t next = 0;      ///< the next stage of the ladder
    uint32_t round = 0;     ///< how often the ladder was done in this outage
    uint32_t tries = 0;     ///< rounds of probes in this suspicion
    uint32_t connected = 0; ///< 1 if this start has brought the interface up
    uint32_t downed = 0;    ///< 1 if the watch itself took the interface down
    uint32_t asked = 0;     ///< 1 if the modem was asked in this suspicion
    uint32_t facts = 0;     ///< what it said then: 1 silent, 2 another address
    uint32_t cause = 0;     ///< WatchCause
    uint32_t there = 0;     ///< 1 if the modem was seen since the router's start
    uint32_t received = 0;
    uint32_t sent = 0;                                           ///< packets when some last came in
    uint32_t quiet = 0;                                          ///< clock at which packets last came in
    uint32_t probed = 0;                                         ///< clock of the last probe
    uint32_t outage = 0;                                         ///< clock at which the outage began
    uint32_t pin_sent = 0;                                       ///< hash of a PIN that was sent and not yet accepted
    uint32_t reboots = 0;                                        ///< of the router, since the modem was last online
    uint32_t slot = 0;                                           ///< clock / slot_length
    std::array<std::array<uint8_t, 7>, watch_stages> by_slot{};  ///< how often each stage ran, newest first
    std::array<std::array<uint8_t, 25>, watch_stages> by_hour{}; ///< so any 24 hours are within the day's budget

    bool operator==(const WatchMemory &) const = default;
};
inline constexpr uint32_t watch_slot_length = 600;

struct WatchDecision {
    WatchAction action = WatchAction::none;
    WatchStage stage = WatchStage::count;
    WatchMemory memory;
    Text<128> line;    ///< for the log, empty if nothing is worth a line: "online -> suspect: packets out and none in"
    uint32_t wait = 0; ///< seconds to the next step
};

WatchDecision decide(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &observation);

/// How often the stage may run now: the least that is left of its hour and its day.
uint32_t watch_budget(const WatchConfig &config, const WatchMemory &memory, WatchStage stage);
uint32_t watch_budget_of_hour(WatchStage stage);

/// The memory as lines "name number"; at most 1400 bytes.
inline constexpr size_t longest_watch_memory = 1400;
void write_watch_memory(const WatchMemory &memory, TextOut out);
/// A new memory if text is not what write_watch_memory writes.
WatchMemory read_watch_memory(std::string_view text);
