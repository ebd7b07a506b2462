#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <iterator>
#include <vector>

#include "watch/decide.h"

/// Walks the decider through a world that changes by a byte at a time, and says what does not hold. The unit test feeds
/// it random bytes, the fuzz target the search's.
class WatchWalk {
  public:
    /// What does not hold; null as long as all holds.
    const char *fault() const { return fault_; }
    const WatchMemory &memory() const { return memory_; }
    size_t acts() const { return acts_; }

    void step(uint8_t what, uint8_t value)
    {
        change_world(what, value);
        observed_ = world_;
        observed_.link = WatchLink::untold;
        observed_.is_probed = observed_.is_answered = observed_.is_told = false;
        for (int calls = 0;; calls++) {
            require(calls < 12, "a step comes to an end");
            const WatchMemory before = memory_;
            const WatchDecision decision = decide(config_, memory_, observed_);
            memory_ = decision.memory;
            check(before, decision);
            if (fault_ != nullptr || !answer(decision.action))
                break;
        }
        world_.is_changed = false;
        received_ = world_.received;
        Text<longest_watch_memory> text;
        if (what % 16 == 0) {
            write_watch_memory(memory_, text);
            require(text.size() + 1 < text.capacity() && read_watch_memory(text.view()) == memory_,
                    "a memory reads back");
        }
    }

  private:
    void require(bool holds, const char *what)
    {
        if (!holds && fault_ == nullptr)
            fault_ = what;
    }

    // True in one step of so many, or false in one of so many.
    struct Flag {
        bool WatchObservation::*flag;
        uint8_t one_of;
        bool is_rare;
    };
    static constexpr Flag flags[] = {
        {&WatchObservation::is_wanted, 16, false},
        {&WatchObservation::is_paused, 16, true},
        {&WatchObservation::is_upgrading, 32, true},
        {&WatchObservation::is_there, 4, false},
        {&WatchObservation::has_ports, 4, false},
        {&WatchObservation::is_changed, 2, false},
        {&WatchObservation::is_over_limit, 16, true},
        {&WatchObservation::has_device, 2, false},
        {&WatchObservation::is_started, 16, false},
        {&WatchObservation::is_misset, 16, true},
        {&WatchObservation::has_other_wan, 2, false},
        {&WatchObservation::is_silent, 2, false},
        {&WatchObservation::is_roaming_forbidden, 16, true},
        {&WatchObservation::has_other_address, 2, false},
    };

    void change_world(uint8_t what, uint8_t value)
    {
        const size_t index = what % 32;
        if (index < std::size(flags)) {
            const Flag &row = flags[index];
            world_.*row.flag = (value % row.one_of == 0) == row.is_rare;
        }
        switch (index) {
        case 14:
            world_.link = static_cast<WatchLink>(1 + value % 3);
            break;
        case 15:
            answers_ = value % 4 == 0;
            break;
        case 16:
            world_.sim = static_cast<WatchSim>(value % 7);
            break;
        case 17:
            world_.service = static_cast<WatchService>(value % 4);
            break;
        case 18:
            world_.pin_tries = value % 6 - 1;
            break;
        case 19:
            config_.pin_hash = value % 8;
            break;
        case 20:
            config_.stages = value % 128;
            break;
        case 21:
            config_.probe = value % 2;
            break;
        case 22:
            config_.resets_per_day = value % 9;
            break;
        case 23:
            world_.sim = WatchSim::ready;
            world_.service = WatchService::registered;
            break;
        case 24: // back to a world in which the ladder is climbed
            world_ = {.now = world_.now,
                      .is_there = true,
                      .has_ports = true,
                      .received = world_.received,
                      .sent = world_.sent,
                      .link = WatchLink::down,
                      .has_other_wan = false,
                      .service = WatchService::registered};
            answers_ = false;
            config_.stages = 127;
            break;
        case 25:
            world_.now += 3600U * value;
            break; // the clock leaps
        case 26:
            world_.now -= 3600U * value;
            break; // or goes back
        case 27:
            world_.received += value;
            break;
        case 28:
            world_.is_busy = value % 4 == 0;
            break;
        default:
            break;
        }
        world_.now += 1 + value % 64U;
        if (world_.now < 1)
            world_.now = 1;
        world_.sent += value % 8;
    }

    // What the observers would fill in. @return whether the decider is called again
    bool answer(WatchAction action)
    {
        switch (action) {
        case WatchAction::again:
            return true;
        case WatchAction::look:
            observed_.link = world_.link;
            return true;
        case WatchAction::probe:
            observed_.is_probed = true;
            observed_.is_answered = answers_;
            return true;
        case WatchAction::ask:
            observed_.is_told = true;
            return true;
        default:
            return false;
        }
    }

    void check(const WatchMemory &before, const WatchDecision &decision)
    {
        const auto state = static_cast<WatchState>(memory_.state);
        const bool touches = decision.action == WatchAction::stage || decision.action == WatchAction::connect ||
                             decision.action == WatchAction::enter_pin;
        acts_ += touches ? 1 : 0;
        require(decision.wait >= 1 && decision.wait <= 3600, "the wait is a sensible one");
        require(!touches || (state != WatchState::blocked && state != WatchState::off),
                "the blocked and the unwanted rest");
        require(memory_.clock >= before.clock && memory_.clock - before.clock <= 3600,
                "the clock neither leaps nor returns");
        // Packets speak for a line as long as no probe was ever answered.
        const bool moves = world_.received != received_ && memory_.answered == 0;
        const bool is_online = observed_.is_answered || (observed_.link == WatchLink::up && moves);
        require(!is_online || decision.action != WatchAction::stage, "an online interface is never reset");
        require(decision.action != WatchAction::stage || observed_.link != WatchLink::untold || !observed_.is_there,
                "the interface is looked at before a stage");
        if (observed_.is_told && observed_.sim == WatchSim::ready)
            sent_pin_ = 0;
        if (decision.action == WatchAction::enter_pin)
            check_pin();
        if (memory_.next == 0 && memory_.round == 0)
            last_ = -1;
        if (decision.action == WatchAction::stage)
            check_stage(decision.stage, static_cast<WatchState>(before.state));
    }

    void check_pin()
    {
        require(observed_.is_told && observed_.sim == WatchSim::pin, "a PIN only to a card that asks for it");
        require(observed_.pin_tries >= 3, "never below three tries");
        require(config_.pin_hash != 0 && config_.pin_hash != sent_pin_, "never a second time");
        sent_pin_ = config_.pin_hash;
    }

    void check_stage(WatchStage stage, WatchState before)
    {
        const int index = static_cast<int>(stage);
        require((config_.stages >> index & 1) != 0, "only stages that there are");
        require(observed_.is_there || stage >= WatchStage::power, "nothing is sent to a modem that is gone");
        require(!observed_.is_there || !observed_.is_told || !observed_.is_busy || stage == WatchStage::reconnect,
                "nothing is sent to a modem that another program talks to");
        if (before != WatchState::no_service) { // its radio restart is no rung of the ladder
            require(memory_.round != round_ || index > last_, "the ladder never goes backwards");
            last_ = index;
            round_ = memory_.round;
        }
        times_.push_back({memory_.clock, index});
        while (times_.front().clock + 86400 <= memory_.clock)
            times_.pop_front();
        static constexpr uint32_t hours[] = {6, 6, 3, 2, 2, 1, 1};
        static constexpr uint32_t days[] = {60, 40, 12, 8, 6, 4, 1};
        const auto count = [this](uint32_t within, int least, int most) {
            const auto ran_then = [&](const Ran &ran) {
                return ran.clock + within > memory_.clock && ran.stage >= least && ran.stage <= most;
            };
            return static_cast<uint32_t>(std::count_if(times_.begin(), times_.end(), ran_then));
        };
        require(count(3600, index, index) <= hours[index], "an hour's budget");
        require(count(86400, index, index) <= days[index], "a day's budget");
        require(index < 3 || count(86400, 3, 6) <= config_.resets_per_day, "the resets of a day");
    }

    struct Ran {
        uint32_t clock;
        int stage;
    };
    WatchConfig config_{.stages = 127};
    WatchObservation world_{.now = 1000, .is_there = true, .has_ports = true, .link = WatchLink::down};
    WatchObservation observed_;
    bool answers_ = false;
    uint32_t received_ = 0; ///< at the end of the step before
    WatchMemory memory_;
    std::deque<Ran> times_;
    int last_ = -1;
    uint32_t round_ = 0;
    uint32_t sent_pin_ = 0;
    size_t acts_ = 0;
    const char *fault_ = nullptr;
};
