#include "watch/facts.h"

#include <algorithm>

#include "watch/budgets.h"

namespace {

constexpr uint32_t most_rounds = 3;

bool is_locked(WatchCause cause)
{
    return cause == WatchCause::puk || cause == WatchCause::pin_missing || cause == WatchCause::pin_refused ||
           cause == WatchCause::pin_tries || cause == WatchCause::settings || cause == WatchCause::lock;
}

bool is_online(const WatchMemory &memory)
{
    return memory.state == static_cast<uint32_t>(WatchState::online);
}

} // namespace

bool is_stalled(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now)
{
    // A line that only sends was asked and has answered, so it is asked less often.
    const bool is_one_way = is_online(memory) && memory.tries != 0;
    return memory.clock - memory.quiet >= std::max(config.stall, is_one_way ? config.idle : 0) &&
           now.sent - memory.sent >= config.stall_packets;
}

WatchCause pick_cause(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now)
{
    if (now.is_told && now.sim == WatchSim::puk)
        return WatchCause::puk;
    if (now.is_told && now.sim == WatchSim::pin) {
        if (config.pin_hash == 0)
            return WatchCause::pin_missing;
        if (memory.pin_sent == config.pin_hash)
            return WatchCause::pin_refused;
        // Of a card that does not tell, the protocol handler has had its one try.
        if (now.pin_tries < 3 && (now.pin_tries >= 0 || memory.connected != 0))
            return WatchCause::pin_tries;
    }
    if (now.is_told && now.sim == WatchSim::missing)
        return WatchCause::no_sim;
    if (now.is_told && now.sim == WatchSim::locked)
        return WatchCause::lock;
    if (now.is_told && now.service == WatchService::denied)
        return WatchCause::denied;
    return now.is_misset ? WatchCause::settings : WatchCause::none;
}

uint32_t collect_facts(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now,
                       WatchCause cause)
{
    const uint32_t quiet = memory.clock - std::max(memory.answered != 0 ? 0 : memory.quiet, memory.probed);
    const bool is_up = now.link == WatchLink::up;
    const bool probes = config.probe != static_cast<uint32_t>(WatchProbe::none);
    // Without probes the network daemon is believed, but not about a device that has gone and come back without it.
    const bool is_believed = !probes && now.has_device && !is_stalled(config, memory, now);
    const bool is_alive = now.is_answered || (is_up && (memory.moved != 0 || is_believed));
    // A stage would break off what the protocol handler has just begun by itself.
    const bool is_reconnecting = now.link == WatchLink::pending && memory.clock - memory.outage < config.grace;
    // A program that talks to the modem may soon be done.
    const bool is_busy = (memory.facts & fact_busy) != 0 && memory.clock - memory.since < config.grace;
    const bool is_blocked = memory.state == static_cast<uint32_t>(WatchState::blocked);
    const bool is_taken_down = now.link == WatchLink::down && !now.is_started && !now.is_misset && memory.downed == 0;
    const struct {
        uint32_t fact;
        bool holds;
    } table[] = {
        {unwanted, !now.is_wanted || is_taken_down},
        {paused, now.is_paused},
        {upgrading, now.is_upgrading},
        {gone, !now.is_there},
        {changed, now.is_changed},
        {over_limit, now.is_over_limit},
        {roaming_off, now.is_told && now.is_roaming_forbidden},
        {no_device, !now.has_device},
        {looked, now.link != WatchLink::untold},
        {up, is_up},
        {pending, now.link == WatchLink::pending},
        {probed, now.is_probed || !probes},
        {alive, is_alive},
        {stalled, is_stalled(config, memory, now)},
        {idle, probes && config.idle != 0 && quiet >= config.idle},
        {probe_due, memory.clock - memory.probed >= config.stall || memory.clock >= memory.due},
        {told, now.is_told},
        {asked, memory.asked != 0},
        {silent, now.is_told && (now.is_silent || (now.is_busy && is_blocked))},
        {person, cause != WatchCause::none},
        {locked, is_locked(cause)},
        {may_send_pin, now.is_told && now.sim == WatchSim::pin && config.pin_hash != 0 &&
                           memory.pin_sent != config.pin_hash && now.pin_tries >= 3},
        {registered, now.is_told && now.service == WatchService::registered},
        {failed, now.is_probed && !now.is_answered},
        {unregistered, now.is_told && now.service == WatchService::searching && now.sim != WatchSim::wait},
        {due, memory.clock >= memory.due},
        {more_rounds, memory.tries + 1 < most_rounds || is_reconnecting || is_busy},
        {connected, memory.connected != 0},
        {seen, memory.there != 0},
        {no_ports, !now.has_ports},
        {can_radio, now.has_ports && !now.is_busy && (config.stages & stage_bit(WatchStage::radio)) != 0 &&
                        watch_budget(config.resets_per_day, memory, WatchStage::radio) != 0},
        {no_sim, cause == WatchCause::no_sim || now.sim == WatchSim::wait},
    };
    uint32_t facts = 0;
    for (const auto &entry : table)
        if (entry.holds)
            facts |= entry.fact;
    return facts;
}
