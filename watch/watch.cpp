#include "watch/watch.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>

#include "core/model/state_dir.h"
#include "discovery/record/modem_record.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "readings/fields.h"
#include "status/traffic.h"
#include "status/usage.h"
#include "watch/actors.h"
#include "watch/ask_modem.h"
#include "watch/budgets.h"
#include "watch/observers.h"
#include "watch/scene.h"
#include "watch/sleep.h"
#include "watch/watch_log.h"

namespace {

constexpr uint32_t sample_interval_s = 60;
constexpr uint32_t read_interval_s = 5;
constexpr int most_calls = 12;
constexpr uint32_t most_graces = 10; // for a process that connects: 15 min
constexpr int64_t usual_between_writes_s = 3600;
constexpr uint32_t most_drift_s = 3600;
constexpr char lock_file[] = "watch.lock";

struct Watcher {
    const char *bus;
    Fd lock{}; ///< one process watches a bus
    Scene scene{};
    WatchSettings settings{};
    ModemDriver rec{};
    UsageBook fresh{};    ///< usage that is not in the flash yet
    InterfaceText last{}; ///< of the last report; empty: not to be used again
    uint32_t asked_s = 0; ///< uptime at which the modem was last asked
    uint32_t start_s = 0; ///< when the router has started, by its clock; 0: not known
    uint32_t left_s = 0;  ///< uptime since which another process connects the modem; 0: none does
    bool is_read = false; ///< somebody has read the snapshot since the last step
};

Fd take_lock(const char *bus)
{
    Fd lock = open_state(bus, lock_file, O_RDWR | O_CREAT);
    return lock && flock(lock.get(), LOCK_EX | LOCK_NB) == 0 ? std::move(lock) : Fd{};
}

// What the modem and the board have for the ladder. A healthy step does not need it.
void find_means(Watcher &watcher)
{
    const Json ignored{json_object_new_object()};
    detect_modem(watcher.rec, ignored.get(), watcher.bus);
    watcher.settings.config.stages = find_stages(watcher.rec, watcher.bus, watcher.settings.last_stage.view());
}

std::string_view reason_of(std::string_view line)
{
    take_until(line, ":");
    return without_first(line, 1);
}

// A change is worth a line in the log, a call of the hooks, and the LED.
void tell(Watcher &watcher, const WatchDecision &decision, WatchState before)
{
    const auto after = static_cast<WatchState>(watcher.scene.memory.state);
    syslog(LOG_NOTICE, "%s: %s", watcher.bus, decision.line.c_str());
    note_watch_change(watcher.bus, decision.line.view());
    watcher.scene.reason.assign(reason_of(decision.line.view()));
    write_scene(watcher.bus, watcher.scene); // a hook may ask for the status
    call_hooks(decision.action == WatchAction::stage ? "stage" : "state", watcher.bus, watcher.settings.iface.c_str(),
               watch_state_name(after), watcher.scene.reason.view());
    if (before != after)
        show_on_led(watcher.settings.led.view(), after == WatchState::online);
}

bool must_be_kept(const WatchMemory &before, const WatchDecision &decision)
{
    const bool is_last_stage = decision.action == WatchAction::stage && decision.stage >= WatchStage::power;
    const bool is_refused = decision.memory.state == static_cast<uint32_t>(WatchState::blocked) &&
                            before.state != decision.memory.state &&
                            decision.memory.cause == static_cast<uint32_t>(WatchCause::pin_refused);
    return is_last_stage || is_refused || before.reboots > decision.memory.reboots;
}

// @return false if the decision ends the step
bool answer(Watcher &watcher, const WatchDecision &decision, WatchObservation &seen, HistorySample &sample)
{
    switch (decision.action) {
    case WatchAction::again:
        return true;
    case WatchAction::look:
        look(watcher.scene, watcher.settings, seen);
        find_means(watcher);
        return true;
    case WatchAction::probe:
        probe(watcher.scene, watcher.settings, seen);
        return true;
    case WatchAction::ask:
        seen.is_told = true;
        watcher.last.clear();
        if (!watcher.rec.traits.drops_when_asked || seen.link != WatchLink::up)
            ask_modem(watcher.bus, watcher.scene, watcher.settings, seen, sample, watcher.last);
        watcher.asked_s = uptime_s();
        return true;
    case WatchAction::none:
        return false;
    default:
        watcher.scene.route = 0;
        // Remembered first, so that a process that is killed meanwhile does not act twice.
        write_scene(watcher.bus, watcher.scene);
        act(watcher.bus, watcher.rec, watcher.settings, decision.action, decision.stage);
        return false;
    }
}

// A model whose connection ends when it is asked for its card is asked only when it is not connected anyway.
bool may_ask(const Watcher &watcher, WatchState state)
{
    const bool is_at_work = state != WatchState::off && state != WatchState::absent && state != WatchState::blocked;
    return is_at_work && !watcher.rec.traits.drops_when_asked;
}

// The flash gets the usage at most once in so many seconds, and only if there is enough of it.
void keep_fresh_usage(Watcher &watcher, int64_t between_writes_s)
{
    constexpr uint64_t worth_a_write = 1'000'000;
    Scene &scene = watcher.scene;
    const int64_t age = uptime_s() - scene.kept;
    if (watcher.fresh.total() >= worth_a_write && age >= between_writes_s && keep_usage(watcher.fresh)) {
        watcher.fresh = {};
        scene.kept = uptime_s();
        write_new_usage(watcher.bus, watcher.fresh);
    }
}

// Counts what went through the device since the last step. @return true if the limit is reached and ends the session
bool count_usage(Watcher &watcher, const DeviceCounters &counters)
{
    Scene &scene = watcher.scene;
    const WatchSettings &settings = watcher.settings;
    const time_t now = time(nullptr);
    const uint32_t start_s = static_cast<uint32_t>(now) - uptime_s();
    // The clock was set: what was counted by the other one belongs to the month that is known now.
    const bool is_set = watcher.start_s != 0 && start_s - watcher.start_s + most_drift_s > 2 * most_drift_s;
    if (is_set)
        for (UsageEntry &entry : watcher.fresh.entries)
            entry.month = 0;
    watcher.start_s = start_s;
    const uint32_t month = billing_month(now, settings.first_day);
    const auto received = static_cast<uint64_t>(scene.received);
    const auto sent = static_cast<uint64_t>(scene.sent);
    watcher.fresh.add(scene.iccid.view(), month, counted_since(received, counters.rx_bytes),
                      counted_since(sent, counters.tx_bytes));
    if (is_set || received != counters.rx_bytes || sent != counters.tx_bytes)
        write_new_usage(watcher.bus, watcher.fresh);
    scene.received = static_cast<int64_t>(counters.rx_bytes);
    scene.sent = static_cast<int64_t>(counters.tx_bytes);
    if (settings.limit_mb == 0)
        return false;
    // A person may correct what the flash has, or put a copy back.
    const uint64_t used =
        read_kept_usage().total(scene.iccid.view(), month) + watcher.fresh.total(scene.iccid.view(), month);
    const auto percent = static_cast<int64_t>(used / (uint64_t{settings.limit_mb} * 10'000));
    const int64_t before = scene.warned;
    int64_t reached = percent >= 100 ? 100 : 0;
    for (std::string_view rest = settings.warnings.view(); !rest.empty();)
        if (const auto warning = decimal(take_until(rest, " ")); warning && *warning <= percent)
            reached = std::max(reached, *warning);
    if (reached > before) {
        const auto words = Text<64>::format("%lld per cent of the data limit", static_cast<long long>(reached));
        syslog(LOG_NOTICE, "%s: %s", watcher.bus, words.c_str());
        call_hooks("quota", watcher.bus, settings.iface.c_str(),
                   watch_state_name(static_cast<WatchState>(scene.memory.state)), words.view());
    }
    scene.warned = reached;
    return settings.is_limit_hard && percent >= 100;
}

// @return false if another process watches this bus
bool start(Watcher &watcher)
{
    watcher.lock = take_lock(watcher.bus);
    if (!watcher.lock)
        return false;
    read_scene(watcher.bus, watcher.scene);
    watcher.settings = read_watch_settings(watcher.bus);
    watcher.fresh = read_new_usage(watcher.bus);
    find_means(watcher);
    return true;
}

// Seconds to the next step.
uint32_t take_step(Watcher &watcher)
{
    Scene &scene = watcher.scene;
    WatchObservation seen = observe(watcher.bus, scene, watcher.settings);
    if (!seen.is_there || (seen.is_changed && seen.has_ports))
        find_means(watcher);
    HistorySample sample{.uptime_s = static_cast<int32_t>(uptime_s())};
    const uint32_t age = uptime_s() - static_cast<uint32_t>(scene.sampled);
    const bool is_due = scene.sampled == 0 || age >= sample_interval_s;
    watcher.is_read = take_snapshot_mark(watcher.bus);
    const auto state = static_cast<WatchState>(scene.memory.state);
    // However often somebody reads the snapshot, the modem is not asked more often than this.
    const bool is_stale = watcher.is_read && uptime_s() - watcher.asked_s >= read_interval_s;
    if ((is_due || is_stale) && seen.is_there && may_ask(watcher, state)) {
        if (state != WatchState::online || !seen.has_device || watcher.is_read)
            watcher.last.clear();
        ask_modem(watcher.bus, scene, watcher.settings, seen, sample, watcher.last);
        watcher.asked_s = uptime_s();
    }
    const DeviceCounters counters = read_device_counters(scene.device.view());
    seen.is_over_limit = count_usage(watcher, counters);
    const bool is_at_rest = state == WatchState::off || state == WatchState::blocked || state == WatchState::online;
    const bool is_connecting = !is_at_rest && is_being_connected(watcher.bus);
    if (!is_connecting || watcher.left_s == 0)
        watcher.left_s = is_connecting ? seen.now : 0;
    // A process that hangs must not keep the watch away for ever.
    const bool is_left_alone = is_connecting && seen.now - watcher.left_s < most_graces * watcher.settings.config.grace;
    uint32_t wait = read_interval_s;
    if (is_left_alone)
        scene.memory.seen = seen.now; // this time counts for nothing
    for (int calls = 0; calls < most_calls && !is_left_alone; calls++) {
        const WatchMemory before = scene.memory;
        const WatchDecision decision = decide(watcher.settings.config, scene.memory, seen);
        scene.memory = decision.memory;
        wait = decision.wait;
        if (!decision.line.empty())
            tell(watcher, decision, static_cast<WatchState>(before.state));
        if (must_be_kept(before, decision))
            keep(watcher.bus, decision.memory);
        if (!answer(watcher, decision, seen, sample))
            break;
    }
    if (is_due) {
        sample.state = static_cast<uint8_t>(scene.memory.state);
        sample.rx_bytes = counters.rx_bytes;
        sample.tx_bytes = counters.tx_bytes;
        add_history(watcher.bus, sample);
        keep_fresh_usage(watcher, usual_between_writes_s);
        scene.sampled = uptime_s();
    }
    write_scene(watcher.bus, scene);
    return watcher.is_read ? std::min(wait, read_interval_s) : wait;
}

void add_budgets(json_object *object, const WatchSettings &settings, const WatchMemory &memory)
{
    Json list{json_object_new_object()};
    for (unsigned i = 0; i < watch_stages; i++) {
        const auto stage = static_cast<WatchStage>(i);
        kjson_add_int(list.get(), watch_stage_name(stage),
                      static_cast<int32_t>(watch_budget(settings.config.resets_per_day, memory, stage)));
    }
    kjson_add_object(object, "budgets", std::move(list));
}

} // namespace

int watch(const char *bus, bool is_once)
{
    Watcher watcher{.bus = bus};
    if (!start(watcher))
        return -1;
    if (is_once)
        return static_cast<int>(take_step(watcher));
    const WatchSleep sleep;
    const sigset_t ending = only_ending();
    for (;;) {
        const uint32_t wait = take_step(watcher);
        give_back_memory();
        // In a step the signal ends the process at once; asleep, what a restart of the router would lose is kept first.
        sigprocmask(SIG_BLOCK, &ending, nullptr);
        if (!sleep.rest(bus, wait))
            keep_fresh_usage(watcher, 0);
        sigprocmask(SIG_UNBLOCK, &ending, nullptr);
    }
}

int pause_watch(const char *bus, int64_t seconds)
{
    const auto end = Text<24>::format("%lld\n", monotonic_ms() / 1000LL + seconds);
    Text<24> noted;
    write_state(bus, pause_file, end.view());
    read_state(bus, pause_file, 20, noted); // a full file system keeps the old file
    return noted == end.view() ? 0 : -1;
}

void resume_watch(const char *bus)
{
    remove_state(bus, pause_file);
}

bool add_watch_status(json_object *object, const char *bus)
{
    if (!has_state(bus, "watch"))
        return false;
    Scene scene;
    read_scene(bus, scene);
    const WatchMemory &memory = scene.memory;
    const WatchSettings settings = read_watch_settings(bus);
    kjson_add_string(object, "bus", bus);
    kjson_add_string(object, "interface", settings.iface.view());
    kjson_add_string(object, "state", watch_state_name(static_cast<WatchState>(memory.state)));
    kjson_add_int(object, "since_s", static_cast<int32_t>(memory.clock - memory.since + uptime_s() - memory.seen));
    kjson_add_string(object, "reason", scene.reason.view());
    if (memory.next != 0)
        kjson_add_string(object, "last_stage", watch_stage_name(static_cast<WatchStage>(memory.next - 1)));
    kjson_add_int(object, "round", static_cast<int32_t>(memory.round));
    kjson_add_int(object, "paused_s", static_cast<int32_t>(paused_seconds(bus)));
    kjson_add_string(object, "device", scene.device.view());
    add_budgets(object, settings, memory);
    return true;
}
