#include "watch/decide.h"

#include <algorithm>

#include "watch/budgets.h"
#include "watch/rows.h"

namespace {

constexpr uint32_t most_reboots = 3;
constexpr uint32_t refresh_wait = 20;
constexpr uint32_t longest_leap = 3600; // a longer one is a clock that was set, or a suspended router
constexpr uint32_t most_doublings = 4;
constexpr int32_t busy_packets = 100;   // received in "idle" seconds: more than a dead session gets
constexpr int32_t few_packets = 3;      // received for our own ARP while a line is judged
constexpr int32_t most_out_for_one = 8; // packets sent for one that came in

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
        const uint32_t facts = collect_facts(config_, memory_, seen_, cause_);
        for (const WatchRow &row : watch_rows)
            if ((row.from & state_bit(state())) != 0 && (facts & row.needs) == row.needs && (facts & row.lacks) == 0) {
                follow(row);
                break;
            }
        decision_.memory = memory_;
        decision_.wait = pick_wait();
        return decision_;
    }

  private:
    WatchState state() const { return static_cast<WatchState>(memory_.state); }
    bool is_online() const { return state() == WatchState::online; }

    void pass_time()
    {
        const uint32_t passed = memory_.seen == 0 || seen_.now < memory_.seen ? 0 : seen_.now - memory_.seen;
        memory_.clock += std::min(passed, longest_leap);
        memory_.seen = seen_.now;
        if (passed != 0)
            memory_.moved = 0; // a step's further calls see the same packets
        pass_budget_time(memory_);
        if (seen_.is_there)
            memory_.there = 1;
        if (seen_.link == WatchLink::up || seen_.link == WatchLink::pending)
            memory_.downed = 0;
    }

    // Where probes are answered, a few packets are no life: a modem answers ARP itself, and a dead session still gets
    // broadcasts. Where no probe was ever answered, packets are all that tells, but for those few.
    void count_packets()
    {
        const auto in = static_cast<int32_t>(seen_.received - memory_.received);
        const auto out = static_cast<int32_t>(seen_.sent - memory_.sent);
        const auto heard = static_cast<int32_t>(seen_.received - memory_.heard);
        const bool has_proof = memory_.answered != 0;
        if (has_proof ? heard >= busy_packets : in > few_packets)
            memory_.moved = 1;
        const bool is_life = in < 0 || out < 0 || in > (has_proof ? std::max(out / most_out_for_one, 1) : few_packets);
        if (is_online() && (is_life || seen_.is_answered))
            memory_.tries = !is_life && is_stalled(config_, memory_, seen_) ? 1 : 0;
        if (is_life || seen_.is_answered)
            begin_count();
        if (seen_.is_probed || heard >= busy_packets || heard < 0) {
            memory_.heard = seen_.received;
            memory_.probed = memory_.clock;
        }
        if (seen_.is_answered && !seen_.is_near)
            memory_.answered = 1;
    }

    void begin_count()
    {
        memory_.quiet = memory_.clock;
        memory_.received = seen_.received;
        memory_.sent = seen_.sent;
    }

    // The PIN that was sent counts as refused until the card is ready.
    void judge_person()
    {
        if (!seen_.is_told && seen_.link == WatchLink::untold)
            return;
        if (seen_.is_told && seen_.sim == WatchSim::ready)
            memory_.pin_sent = 0;
        if (seen_.is_told) {
            memory_.asked = seen_.is_busy ? 0 : 1; // it is asked again
            memory_.facts = (seen_.is_silent ? fact_silent : 0) | (seen_.has_other_address ? fact_other_address : 0) |
                            (seen_.is_busy ? fact_busy : 0);
        }
        cause_ = pick_cause(config_, memory_, seen_);
        if (state() == WatchState::blocked && (seen_.is_told || cause_ != WatchCause::none))
            memory_.cause = static_cast<uint32_t>(cause_);
    }

    uint32_t budget(WatchStage stage) const { return watch_budget(config_.resets_per_day, memory_, stage); }

    bool has(WatchStage stage) const { return (config_.stages & stage_bit(stage)) != 0; }

    // A stage that cannot help now is passed over: a modem that is deaf takes no command.
    bool can_help(WatchStage stage) const
    {
        const bool is_deaf = (memory_.facts & fact_silent) != 0 || !seen_.has_ports;
        if (!seen_.is_there)
            return stage >= WatchStage::power;
        // Another program is at work with the modem.
        if ((memory_.facts & fact_busy) != 0)
            return stage == WatchStage::reconnect;
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

    void follow(const WatchRow &row)
    {
        const char *reason = watch_reason(row);
        switch (row.deed) {
        case Deed::climb:
            climb(reason);
            return;
        case Deed::retry:
            // The first remedy once more, then one reset.
            memory_.round++;
            memory_.next = static_cast<uint32_t>(WatchStage::reconnect);
            climb("the wait is over");
            return;
        case Deed::radio:
            run_stage(WatchStage::radio, reason);
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
            tell_state(state(), reason);
            break;
        case Deed::none:
        case Deed::again:
        case Deed::look:
        case Deed::probe:
        case Deed::ask:
            break;
        case Deed::disconnect:
            memory_.downed = 1;
            memory_.due = memory_.clock + wait_of(WatchState::blocked);
            break;
        }
        decision_.action = pick_action(row.deed);
        if (row.to != same_state && row.to != state())
            change(row.to, reason);
        if (is_online() && memory_.clock - memory_.since >= config_.settle)
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
        if (to == WatchState::off || to == WatchState::blocked) {
            forget();
            memory_.answered = 0; // a person may bring another card, whose network answers no probe
        }
        if (is_online() || state() == WatchState::off)
            memory_.outage = memory_.clock;
        if (to == WatchState::starting)
            memory_.connected = 0;
        // It was online when it went, so all that it may need is a new session, whatever was tried in its absence.
        if (state() == WatchState::absent && memory_.outage == memory_.since)
            memory_.next = memory_.round = 0;
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
        if (stage != WatchStage::count && !has_reset && budget(stage) != 0) {
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
        spend_budget(memory_, stage);
        decision_.action = WatchAction::stage;
        decision_.stage = stage;
        begin_count(); // what was sent in vain before does not speak against what the stage brings
        const WatchState before = state();
        const WatchState to =
            before == WatchState::absent || before == WatchState::no_service ? before : WatchState::recovering;
        if (before != WatchState::no_service) {
            memory_.next = static_cast<uint32_t>(stage) + 1;
            // In a later round the reset that follows the reconnect is the modem's, not the radio's.
            if (memory_.round > 0 && stage == WatchStage::reconnect)
                memory_.next = static_cast<uint32_t>(WatchStage::modem);
        }
        if (to != before)
            change(to, reason);
        memory_.connected = is_reset(stage) ? 0 : 1;
        memory_.due = memory_.clock + grace_of(stage);
        if (stage == WatchStage::router)
            memory_.reboots++;
        decision_.line = Text<128>::format("%s -> %s: %s%s%s, %u of %u left this hour", watch_state_name(before),
                                           watch_state_name(to), watch_stage_name(stage), *reason == '\0' ? "" : ": ",
                                           reason, budget(stage), watch_budget_of_hour(stage));
    }

    uint32_t grace_of(WatchStage stage) const
    {
        if (stage == WatchStage::refresh)
            return std::min(refresh_wait, config_.grace);
        return is_reset(stage) ? config_.reset_grace : config_.grace;
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
};

} // namespace

WatchDecision decide(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &observation)
{
    return Decider{config, memory, observation}.run();
}
