#include "watch/decide.h"

#include <algorithm>
#include <iterator>

namespace {

// clang-format off
constexpr char state_names[][11] = {"off", "absent", "blocked", "no-service", "starting", "online", "suspect",
                                    "recovering", "slow"};
constexpr char stage_names[][10] = {"refresh", "reconnect", "radio", "modem", "usb", "power", "router", ""};
constexpr char cause_names[][40] = {"", "no SIM card", "the SIM card wants its PUK", "the PIN is not configured",
                                    "the PIN was refused", "the tries for the PIN are too few",
                                    "the network refuses the SIM card", "the settings are refused"};

struct Budget {
    uint8_t hour;
    uint8_t day;
    bool is_reset; // the modem restarts, and needs its PIN and its connection again
};
constexpr Budget budgets[watch_stages] = {
    {6, 60, false}, {6, 40, false}, {3, 12, false}, {2, 8, true}, {2, 6, true}, {1, 4, true}, {1, 1, true},
};
// clang-format on
constexpr uint32_t most_reboots = 3;
constexpr uint32_t refresh_wait = 20;
constexpr uint32_t longest_leap = 3600; // a longer one is a clock that was set, or a suspended router
constexpr uint32_t most_rounds = 3;
constexpr uint32_t most_doublings = 4;
constexpr uint32_t fact_silent = 1;
constexpr uint32_t fact_other_address = 2;

constexpr uint32_t bit(WatchStage stage)
{
    return 1U << static_cast<unsigned>(stage);
}

// What holds now. The rows below need some of these and exclude others.
enum Fact : uint32_t {
    unwanted = 1U << 0,
    paused = 1U << 1,
    upgrading = 1U << 2,
    gone = 1U << 3,
    changed = 1U << 4,
    over_limit = 1U << 5,
    roaming_off = 1U << 6,
    no_device = 1U << 7,
    looked = 1U << 8,
    up = 1U << 9,
    pending = 1U << 10,
    probed = 1U << 11,
    alive = 1U << 12,
    stalled = 1U << 13,
    idle = 1U << 14,
    told = 1U << 15,
    asked = 1U << 16,
    silent = 1U << 17,
    person = 1U << 18,
    locked = 1U << 19, // a person is needed at once: PIN or PUK
    may_send_pin = 1U << 20,
    unregistered = 1U << 21,
    due = 1U << 22,
    more_rounds = 1U << 23,
    connected = 1U << 24,
    seen = 1U << 25,
    no_ports = 1U << 26,
    can_radio = 1U << 27,
    no_sim = 1U << 28,
    probe_due = 1U << 29,
    registered = 1U << 30,
    failed = 1U << 31,
};

// What a row does beside the actions: the ladder's next stage, its restart after a back-off, a stage of its own.
enum class Deed : uint8_t { none, again, look, probe, ask, connect, disconnect, enter_pin, climb, retry, radio, round };

constexpr uint16_t in(WatchState state)
{
    return static_cast<uint16_t>(1U << static_cast<unsigned>(state));
}
using enum WatchState;
constexpr uint16_t s_off = in(off), s_absent = in(absent), s_blocked = in(blocked), s_wait = in(no_service),
                   s_online = in(online), s_suspect = in(suspect), s_slow = in(slow),
                   s_begin = in(starting) | in(recovering);
constexpr uint16_t s_any = 0x1ff;
constexpr WatchState same = WatchState::count;

struct Row {
    uint16_t from;
    uint32_t needs;
    uint32_t lacks;
    WatchState to;
    Deed deed;
    char reason[40];
};

// The first row that fits decides. A change of state without an action is followed by the rows of the new state, so
// that one step can go from a stalled line to its first probe.
// clang-format off
constexpr Row rows[] = {
    // Nobody wants it online, or somebody else is at work.
    {s_any,                unwanted,             0,            off,        Deed::none,       "not wanted"},
    {s_any,                paused,               0,            off,        Deed::none,       "paused"},
    {s_any,                upgrading,            0,            off,        Deed::none,       "a firmware upgrade"},
    // The modem comes and goes.
    {s_absent,             gone | seen | due,    0,            same,       Deed::climb,      "it stays away"},
    {s_any,                gone,                 0,            absent,     Deed::none,       "no modem on the bus"},
    {s_off,                0,                    looked,       same,       Deed::look,       ""},
    {s_off,                0,                    0,            starting,   Deed::again,      "wanted"},
    {s_absent,             0,                    0,            starting,   Deed::again,      "the modem is there"},
    // A person is needed. Nothing touches the modem; it is only looked at.
    {s_any ^ s_blocked,    over_limit,           0,            blocked,    Deed::disconnect, "the data limit is reached"},
    {s_any ^ s_blocked,    roaming_off,          0,            blocked,    Deed::disconnect, "roaming is not allowed"},
    {s_blocked,            over_limit,           0,            same,       Deed::none,       ""},
    {s_blocked,            changed,              0,            starting,   Deed::again,      "something was changed"},
    {s_blocked,            0,                    due,          same,       Deed::none,       ""},
    {s_blocked,            0,                    looked,       same,       Deed::look,       ""},
    {s_blocked,            0,                    told,         same,       Deed::ask,        ""},
    {s_blocked,            person,               0,            same,       Deed::round,      ""},
    {s_blocked,            roaming_off,          0,            same,       Deed::round,      ""},
    {s_blocked,            silent,               0,            same,       Deed::round,      ""},
    {s_blocked,            0,                    0,            starting,   Deed::again,      "the cause is gone"},
    // Online, and how it ends.
    {s_online,             no_device,            0,            suspect,    Deed::again,      "the interface has no address"},
    {s_online,             stalled,              0,            suspect,    Deed::again,      "packets out and none in"},
    {s_online,             failed,               0,            suspect,    Deed::again,      "no name server answers"},
    {s_online,             idle,                 probed,       same,       Deed::probe,      ""},
    {s_online,             0,                    0,            same,       Deed::none,       ""},
    // Starting, and waiting for what a stage has brought.
    {s_begin | s_suspect,  0,                    looked,       same,       Deed::look,       ""},
    {s_begin,              0,                    told | no_ports, same,    Deed::ask,        ""},
    {s_begin | s_suspect,  up,                   probed,       same,       Deed::probe,      ""},
    {s_any,                alive,                0,            online,     Deed::none,       "the network answers"},
    {s_begin,              may_send_pin,         0,            same,       Deed::enter_pin,  "the PIN is sent"},
    {s_begin,              locked,               0,            blocked,    Deed::none,       ""},
    {s_begin,              due,                  0,            suspect,    Deed::again,      "not online in time"},
    {s_begin,              told,                 up | pending | connected | no_sim, same, Deed::connect, ""},
    {s_begin,              0,                    0,            same,       Deed::none,       ""},
    // Suspect: three rounds, then the ladder. Why it is offline may need another remedy than a stage.
    {s_suspect,            0,                    told | asked | no_ports, same, Deed::ask,   ""},
    {s_suspect,            person,               0,            blocked,    Deed::none,       ""},
    {s_suspect,            unregistered,         0,            no_service, Deed::none,       "not registered"},
    {s_suspect,            0,                    due,          same,       Deed::none,       ""},
    {s_suspect,            more_rounds,          0,            same,       Deed::round,      ""},
    {s_suspect,            0,                    0,            recovering, Deed::climb,      ""},
    // No service: resets make no coverage.
    {s_wait,               0,                    looked,       same,       Deed::look,       ""},
    {s_wait,               0,                    told,         same,       Deed::ask,        ""},
    {s_wait,               person,               0,            blocked,    Deed::none,       ""},
    {s_wait,               silent,               0,            suspect,    Deed::again,      "the modem does not answer"},
    {s_wait,               registered,           0,            starting,   Deed::again,      "registered"},
    {s_wait,               up | due,             probed,       same,       Deed::probe,      ""},
    {s_wait,               due | can_radio,      0,            same,       Deed::radio,      "no network for long"},
    {s_wait,               due,                  0,            same,       Deed::round,      ""},
    {s_wait,               0,                    0,            same,       Deed::none,       ""},
    // Slow: the ladder is done, or its budget spent.
    {s_slow,               0,                    looked,       same,       Deed::look,       ""},
    {s_slow,               up | probe_due,       probed,       same,       Deed::probe,      ""},
    {s_slow,               0,                    due,          same,       Deed::none,       ""},
    {s_slow,               0,                    told | no_ports, same,    Deed::ask,        ""},
    {s_slow,               person,               0,            blocked,    Deed::none,       ""},
    {s_slow,               unregistered,         0,            no_service, Deed::none,       "not registered"},
    {s_slow,               0,                    0,            recovering, Deed::retry,      ""},
};
// clang-format on

class Decider {
  public:
    Decider(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &observation)
        : config_(config), seen_(observation)
    {
        memory_ = memory;
    }

    WatchDecision run()
    {
        pass_time();
        count_packets();
        judge_person();
        const uint32_t facts = collect();
        for (const Row &row : rows)
            if ((row.from & in(state())) != 0 && (facts & row.needs) == row.needs && (facts & row.lacks) == 0) {
                follow(row);
                break;
            }
        decision_.memory = memory_;
        decision_.wait = pick_wait();
        return decision_;
    }

  private:
    WatchState state() const { return static_cast<WatchState>(memory_.state); }

    void pass_time()
    {
        const uint32_t passed = memory_.seen == 0 || seen_.now < memory_.seen ? 0 : seen_.now - memory_.seen;
        memory_.clock += std::min(passed, longest_leap);
        memory_.seen = seen_.now;
        for (const uint32_t slot = memory_.clock / watch_slot_length; memory_.slot < slot; memory_.slot++)
            for (size_t stage = 0; stage < watch_stages; stage++) {
                shift(memory_.by_slot[stage]);
                if ((memory_.slot + 1) % 6 == 0)
                    shift(memory_.by_hour[stage]);
            }
        if (seen_.is_there)
            memory_.there = 1;
        if (seen_.link == WatchLink::up || seen_.link == WatchLink::pending)
            memory_.downed = 0;
    }

    template <size_t N> static void shift(std::array<uint8_t, N> &counts)
    {
        std::copy_backward(counts.begin(), counts.end() - 1, counts.end());
        counts[0] = 0;
    }

    void count_packets()
    {
        const auto more = static_cast<int32_t>(seen_.received - memory_.received);
        has_moved_ = more > 0;
        if (more != 0 || static_cast<int32_t>(seen_.sent - memory_.sent) < 0) {
            memory_.quiet = memory_.clock;
            memory_.received = seen_.received;
            memory_.sent = seen_.sent;
        }
        if (seen_.is_probed)
            memory_.probed = memory_.clock;
        if (seen_.is_answered) {
            memory_.quiet = memory_.clock;
            memory_.sent = seen_.sent;
        }
    }

    // The PIN that was sent counts as refused until the card is ready.
    void judge_person()
    {
        if (!seen_.is_told && seen_.link == WatchLink::untold)
            return;
        if (seen_.is_told && seen_.sim == WatchSim::ready)
            memory_.pin_sent = 0;
        if (seen_.is_told) {
            memory_.asked = 1;
            memory_.facts = (seen_.is_silent ? fact_silent : 0) | (seen_.has_other_address ? fact_other_address : 0);
        }
        cause_ = pick_cause();
        if (state() == WatchState::blocked && (seen_.is_told || cause_ != WatchCause::none))
            memory_.cause = static_cast<uint32_t>(cause_);
    }

    WatchCause pick_cause() const
    {
        if (seen_.is_told && seen_.sim == WatchSim::puk)
            return WatchCause::puk;
        if (seen_.is_told && seen_.sim == WatchSim::pin) {
            if (config_.pin_hash == 0)
                return WatchCause::pin_missing;
            if (memory_.pin_sent == config_.pin_hash)
                return WatchCause::pin_refused;
            // Of a card that does not tell, the protocol handler has had its one try.
            if (seen_.pin_tries < 3 && (seen_.pin_tries >= 0 || memory_.connected != 0))
                return WatchCause::pin_tries;
        }
        if (seen_.is_told && seen_.sim == WatchSim::missing)
            return WatchCause::no_sim;
        if (seen_.is_told && seen_.service == WatchService::denied)
            return WatchCause::denied;
        return seen_.is_misset ? WatchCause::settings : WatchCause::none;
    }

    bool is_locked() const
    {
        return cause_ == WatchCause::puk || cause_ == WatchCause::pin_missing || cause_ == WatchCause::pin_refused ||
               cause_ == WatchCause::pin_tries || cause_ == WatchCause::settings;
    }

    uint32_t collect() const
    {
        const uint32_t quiet = memory_.clock - memory_.quiet;
        const bool is_up = seen_.link == WatchLink::up;
        const bool is_online = state() == WatchState::online;
        const bool probes = config_.probe != static_cast<uint32_t>(WatchProbe::none);
        const bool is_alive = seen_.is_answered || (is_up && (has_moved_ || (!probes && !is_stalled()))) ||
                              (is_online && has_moved_ && seen_.has_device);
        const bool is_taken_down =
            seen_.link == WatchLink::down && !seen_.is_started && !seen_.is_misset && memory_.downed == 0;
        const struct {
            uint32_t fact;
            bool holds;
        } table[] = {
            {unwanted, !seen_.is_wanted || is_taken_down},
            {paused, seen_.is_paused},
            {upgrading, seen_.is_upgrading},
            {gone, !seen_.is_there},
            {changed, seen_.is_changed},
            {over_limit, seen_.is_over_limit},
            {roaming_off, seen_.is_told && seen_.is_roaming_forbidden},
            {no_device, !seen_.has_device},
            {looked, seen_.link != WatchLink::untold},
            {up, is_up},
            {pending, seen_.link == WatchLink::pending},
            {probed, seen_.is_probed || !probes},
            {alive, is_alive},
            {stalled, is_stalled()},
            {idle, probes && config_.idle != 0 && std::min(quiet, memory_.clock - memory_.probed) >= config_.idle},
            {probe_due, memory_.clock - memory_.probed >= config_.stall || memory_.clock >= memory_.due},
            {told, seen_.is_told},
            {asked, memory_.asked != 0},
            {silent, seen_.is_told && seen_.is_silent},
            {person, cause_ != WatchCause::none},
            {locked, is_locked()},
            {may_send_pin, seen_.is_told && seen_.sim == WatchSim::pin && config_.pin_hash != 0 &&
                               memory_.pin_sent != config_.pin_hash && seen_.pin_tries >= 3},
            {registered, seen_.is_told && seen_.service == WatchService::registered},
            {failed, seen_.is_probed && !seen_.is_answered},
            {unregistered, seen_.is_told && seen_.service == WatchService::searching},
            {due, memory_.clock >= memory_.due},
            {more_rounds, memory_.tries + 1 < most_rounds},
            {connected, memory_.connected != 0},
            {seen, memory_.there != 0},
            {no_ports, !seen_.has_ports},
            {can_radio,
             seen_.has_ports && has(WatchStage::radio) && watch_budget(config_, memory_, WatchStage::radio) != 0},
            {no_sim, cause_ == WatchCause::no_sim || seen_.sim == WatchSim::wait},
        };
        uint32_t facts = 0;
        for (const auto &entry : table)
            if (entry.holds)
                facts |= entry.fact;
        return facts;
    }

    bool is_stalled() const
    {
        return memory_.clock - memory_.quiet >= config_.stall && seen_.sent - memory_.sent >= config_.stall_packets;
    }

    bool has(WatchStage stage) const { return (config_.stages & bit(stage)) != 0; }

    // A stage that cannot help now is passed over: a modem that is deaf takes no command.
    bool can_help(WatchStage stage) const
    {
        const bool is_deaf = (memory_.facts & fact_silent) != 0 || !seen_.has_ports;
        if (!seen_.is_there)
            return stage >= WatchStage::power;
        switch (stage) {
        case WatchStage::refresh:
            return !is_deaf && (memory_.facts & fact_other_address) != 0;
        case WatchStage::reconnect:
            return seen_.has_ports;
        case WatchStage::radio:
        case WatchStage::modem:
            return !is_deaf;
        default:
            return is_deaf || stage == WatchStage::power;
        }
    }

    // After the first round each round has one reset: the mildest that can help, and in the next round the harshest
    // short of the router's, since one that did not help will not help again.
    WatchStage pick_stage() const
    {
        const bool wants_harshest = seen_.is_there && memory_.round > 0 && memory_.round % 2 == 0 &&
                                    memory_.next >= static_cast<uint32_t>(WatchStage::modem);
        WatchStage found = WatchStage::count;
        for (auto stage = static_cast<WatchStage>(memory_.next); stage < WatchStage::count;
             stage = static_cast<WatchStage>(static_cast<unsigned>(stage) + 1)) {
            if (!has(stage) || !can_help(stage) || (stage == WatchStage::router && !may_reboot()))
                continue;
            if (found == WatchStage::count || stage <= WatchStage::power)
                found = stage;
            if (!wants_harshest)
                break;
        }
        return found;
    }

    bool may_reboot() const { return !seen_.has_other_wan && memory_.reboots < most_reboots; }

    void follow(const Row &row)
    {
        switch (row.deed) {
        case Deed::climb:
            climb(row.reason);
            return;
        case Deed::retry:
            // The first remedy once more, then one reset.
            memory_.round++;
            memory_.next = static_cast<uint32_t>(WatchStage::reconnect);
            climb("the wait is over");
            return;
        case Deed::radio:
            run_stage(WatchStage::radio, row.reason);
            memory_.due = memory_.clock + 4 * config_.no_service_wait;
            return;
        case Deed::round:
            memory_.tries++;
            memory_.due = memory_.clock + wait_of(state());
            return;
        case Deed::connect:
            memory_.connected = 1;
            memory_.downed = 0;
            memory_.due = memory_.clock + std::max(config_.grace, memory_.due - memory_.clock);
            break;
        case Deed::enter_pin:
            memory_.pin_sent = config_.pin_hash; // before it is sent: a killed process must not send it again
            tell_state(state(), row.reason);
            break;
        case Deed::none:
        case Deed::again:
        case Deed::look:
        case Deed::probe:
        case Deed::ask:
            break;
        case Deed::disconnect:
            memory_.downed = 1;
            break;
        }
        decision_.action = pick_action(row.deed);
        if (row.to != same && row.to != state())
            change(row.to, row.reason);
        if (state() == WatchState::online && memory_.clock - memory_.since >= config_.settle)
            forget();
    }

    static WatchAction pick_action(Deed deed)
    {
        constexpr WatchAction actions[] = {WatchAction::none,       WatchAction::again,    WatchAction::look,
                                           WatchAction::probe,      WatchAction::ask,      WatchAction::connect,
                                           WatchAction::disconnect, WatchAction::enter_pin};
        return actions[static_cast<unsigned>(deed)];
    }

    void forget()
    {
        memory_.next = 0;
        memory_.round = 0;
        memory_.reboots = 0;
        memory_.outage = memory_.clock;
    }

    uint32_t wait_of(WatchState state) const
    {
        switch (state) {
        case WatchState::absent:
            return config_.absent_wait;
        case WatchState::blocked:
            return config_.blocked_wait;
        case WatchState::no_service:
            return config_.no_service_wait;
        case WatchState::starting:
            return config_.grace;
        case WatchState::suspect:
            return config_.retry * std::min(memory_.tries, 2U);
        case WatchState::slow: {
            const uint32_t whole = config_.backoff << std::min(memory_.round, most_doublings);
            return whole * (90 + std::min(config_.jitter, 20U)) / 100;
        }
        default:
            return 0;
        }
    }

    void change(WatchState to, const char *reason)
    {
        if (to == WatchState::blocked)
            memory_.cause = static_cast<uint32_t>(cause_);
        if (to == WatchState::off || to == WatchState::blocked)
            forget();
        if (state() == WatchState::online || state() == WatchState::off)
            memory_.outage = memory_.clock;
        if (to == WatchState::starting)
            memory_.connected = 0;
        if (to == WatchState::online)
            memory_.connected = 1;
        memory_.tries = 0;
        if (to == WatchState::suspect)
            memory_.asked = memory_.facts = 0;
        const char *cause = to == WatchState::blocked ? watch_cause_name(cause_) : "";
        tell_state(to, *cause == '\0' ? reason : cause);
        memory_.state = static_cast<uint32_t>(to);
        memory_.since = memory_.clock;
        memory_.due = memory_.clock + wait_of(to);
    }

    void tell_state(WatchState to, const char *reason)
    {
        decision_.line = Text<128>::format("%s -> %s: %s", watch_state_name(state()), watch_state_name(to), reason);
    }

    // The harsher stages come only after the milder ones. Without a budget for the next one the ladder rests.
    void climb(const char *reason)
    {
        const WatchStage stage = pick_stage();
        const bool is_absent = state() == WatchState::absent;
        const bool has_reset =
            !is_absent && memory_.round > 0 && memory_.next > static_cast<uint32_t>(WatchStage::modem);
        if (stage != WatchStage::count && !has_reset && watch_budget(config_, memory_, stage) != 0) {
            run_stage(stage, reason);
            return;
        }
        if (is_absent) {
            memory_.due = memory_.clock + wait_of(WatchState::slow);
            memory_.next = static_cast<uint32_t>(WatchStage::power);
            memory_.round++;
        } else if (state() == WatchState::slow)
            memory_.due = memory_.clock + wait_of(WatchState::slow);
        else
            change(WatchState::slow, stage == WatchStage::count || has_reset ? "nothing more to try" : "budget spent");
    }

    void run_stage(WatchStage stage, const char *reason)
    {
        const auto index = static_cast<size_t>(stage);
        memory_.by_slot[index][0]++;
        memory_.by_hour[index][0]++;
        decision_.action = WatchAction::stage;
        decision_.stage = stage;
        memory_.quiet = memory_.clock; // what was sent in vain before does not speak against what the stage brings
        memory_.received = seen_.received;
        memory_.sent = seen_.sent;
        const WatchState before = state();
        const WatchState to =
            before == WatchState::absent || before == WatchState::no_service ? before : WatchState::recovering;
        if (before != WatchState::no_service) {
            memory_.next = static_cast<uint32_t>(index) + 1;
            // In a later round the reset that follows the reconnect is the modem's, not the radio's.
            if (memory_.round > 0 && stage == WatchStage::reconnect)
                memory_.next = static_cast<uint32_t>(WatchStage::modem);
        }
        if (to != before)
            change(to, reason);
        memory_.connected = budgets[index].is_reset ? 0 : 1;
        memory_.due = memory_.clock + grace_of(stage);
        if (stage == WatchStage::router)
            memory_.reboots++;
        decision_.line =
            Text<128>::format("%s -> %s: %s%s%s, %u of %u left this hour", watch_state_name(before),
                              watch_state_name(to), stage_names[index], *reason == '\0' ? "" : ": ", reason,
                              watch_budget(config_, memory_, stage), unsigned{budgets[index].hour});
    }

    uint32_t grace_of(WatchStage stage) const
    {
        if (stage == WatchStage::refresh)
            return std::min(refresh_wait, config_.grace);
        return budgets[static_cast<size_t>(stage)].is_reset ? config_.reset_grace : config_.grace;
    }

    // In health as long as the user wants; otherwise at most four times a minute, and not past the time that is due.
    uint32_t pick_wait() const
    {
        const uint32_t least = std::min(config_.interval, 15U);
        if (state() == WatchState::online || state() == WatchState::off || state() == WatchState::blocked ||
            state() == WatchState::slow || state() == WatchState::no_service)
            return std::max(config_.interval, 1U);
        const uint32_t left = memory_.due > memory_.clock ? memory_.due - memory_.clock : least;
        return std::max(std::min(left, least), 1U);
    }

    const WatchConfig &config_;
    const WatchObservation &seen_;
    WatchMemory memory_;
    WatchDecision decision_;
    WatchCause cause_ = WatchCause::none;
    bool has_moved_ = false;
};

template <size_t N> uint32_t sum(const std::array<uint8_t, N> &counts)
{
    uint32_t total = 0;
    for (const uint8_t count : counts)
        total += count;
    return total;
}

// The numbers of a memory in the order of its text. A memory with a number above its limit is not ours.
struct MemoryRow {
    char name[10];
    uint32_t WatchMemory::*number;
    uint32_t most;
};
// clang-format off
constexpr MemoryRow memory_rows[] = {
    {"clock",     &WatchMemory::clock,     UINT32_MAX / 2},
    {"seen",      &WatchMemory::seen,      UINT32_MAX},
    {"state",     &WatchMemory::state,     static_cast<uint32_t>(WatchState::count) - 1},
    {"since",     &WatchMemory::since,     UINT32_MAX / 2},
    {"due",       &WatchMemory::due,       UINT32_MAX},
    {"next",      &WatchMemory::next,      watch_stages},
    {"round",     &WatchMemory::round,     UINT32_MAX},
    {"tries",     &WatchMemory::tries,     UINT32_MAX},
    {"connected", &WatchMemory::connected, 1},
    {"downed",    &WatchMemory::downed,    1},
    {"asked",     &WatchMemory::asked,     1},
    {"facts",     &WatchMemory::facts,     3},
    {"cause",     &WatchMemory::cause,     static_cast<uint32_t>(WatchCause::count) - 1},
    {"there",     &WatchMemory::there,     1},
    {"received",  &WatchMemory::received,  UINT32_MAX},
    {"sent",      &WatchMemory::sent,      UINT32_MAX},
    {"quiet",     &WatchMemory::quiet,     UINT32_MAX / 2},
    {"probed",    &WatchMemory::probed,    UINT32_MAX / 2},
    {"outage",    &WatchMemory::outage,    UINT32_MAX / 2},
    {"pin_sent",  &WatchMemory::pin_sent,  UINT32_MAX},
    {"reboots",   &WatchMemory::reboots,   UINT32_MAX},
    {"slot",      &WatchMemory::slot,      UINT32_MAX},
};
// clang-format on

template <typename Visit> bool each_count(WatchMemory &memory, Visit visit)
{
    for (size_t stage = 0; stage < watch_stages; stage++) {
        for (uint8_t &count : memory.by_slot[stage])
            if (!visit(count))
                return false;
        for (uint8_t &count : memory.by_hour[stage])
            if (!visit(count))
                return false;
    }
    return true;
}

bool take_number(std::string_view &text, uint32_t &number)
{
    uint64_t value = 0;
    size_t digits = 0;
    for (; digits < text.size() && is_digit(text[digits]) && digits < 10; digits++)
        value = value * 10 + static_cast<uint64_t>(text[digits] - '0');
    text.remove_prefix(digits);
    number = static_cast<uint32_t>(value);
    return digits > 0 && value <= UINT32_MAX;
}

bool take_word(std::string_view &text, std::string_view word)
{
    if (!text.starts_with(word))
        return false;
    text.remove_prefix(word.size());
    return true;
}

// A count is one character from '0' up: no stage runs more than 60 times a day.
constexpr char count_zero = '0';
constexpr uint8_t most_count = 'z' - count_zero;

bool read_memory(std::string_view text, WatchMemory &memory)
{
    for (const MemoryRow &row : memory_rows)
        if (!take_word(text, row.name) || !take_word(text, " ") || !take_number(text, memory.*row.number) ||
            memory.*row.number > row.most || !take_word(text, "\n"))
            return false;
    const auto read = [&text](uint8_t &count) {
        if (text.empty() || text[0] < count_zero || text[0] > count_zero + most_count)
            return false;
        count = static_cast<uint8_t>(text[0] - count_zero);
        text.remove_prefix(1);
        return true;
    };
    return take_word(text, "budgets ") && each_count(memory, read) && text == "\n" &&
           memory.slot == memory.clock / watch_slot_length &&
           std::max({memory.since, memory.quiet, memory.probed, memory.outage}) <= memory.clock;
}

} // namespace

const char *watch_state_name(WatchState state)
{
    return state_names[static_cast<size_t>(state)];
}

const char *watch_stage_name(WatchStage stage)
{
    return stage_names[static_cast<size_t>(stage)];
}

const char *watch_cause_name(WatchCause cause)
{
    return cause_names[static_cast<size_t>(cause)];
}

WatchDecision decide(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &observation)
{
    return Decider{config, memory, observation}.run();
}

uint32_t watch_budget_of_hour(WatchStage stage)
{
    return budgets[static_cast<size_t>(stage)].hour;
}

uint32_t watch_budget(const WatchConfig &config, const WatchMemory &memory, WatchStage stage)
{
    const auto index = static_cast<size_t>(stage);
    const auto left = [](uint32_t budget, uint32_t spent) { return spent < budget ? budget - spent : 0; };
    uint32_t least = std::min(left(budgets[index].hour, sum(memory.by_slot[index])),
                              left(budgets[index].day, sum(memory.by_hour[index])));
    if (stage >= WatchStage::modem) {
        uint32_t resets = 0;
        for (auto other = static_cast<size_t>(WatchStage::modem); other < watch_stages; other++)
            resets += sum(memory.by_hour[other]);
        least = std::min(least, left(config.resets_per_day, resets));
    }
    return least;
}

void write_watch_memory(const WatchMemory &memory, TextOut out)
{
    out.clear();
    for (const MemoryRow &row : memory_rows)
        out.append(Text<24>::format("%s %u\n", row.name, memory.*row.number).view());
    out.append("budgets ");
    WatchMemory copy = memory;
    each_count(copy, [&out](uint8_t &count) {
        const char character = static_cast<char>(count_zero + std::min(count, most_count));
        return out.append({&character, 1});
    });
    out.append("\n");
}

WatchMemory read_watch_memory(std::string_view text)
{
    WatchMemory memory;
    return read_memory(text, memory) ? memory : WatchMemory{};
}
