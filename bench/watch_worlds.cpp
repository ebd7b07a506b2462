// Four weeks of a modem's life in a second: the watch's decider in simulated worlds on a virtual clock, beside a plain
// rule (ping every 30 s; no answer for 5 minutes: reboot the router) and beside nobody. Prints a line for each world
// and keeper: share of the time online, connections tried, restarts of the modem, restarts of the router, bytes of
// probes.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>

#include "watch/decide.h"

namespace {

constexpr uint32_t hour = 3600;
constexpr uint32_t four_weeks = 28 * 24 * hour;
constexpr uint32_t connect_s = 10;
constexpr uint32_t restart_s = 40;
constexpr uint32_t reboot_s = 90;
constexpr uint32_t probe_bytes = 144;
constexpr uint32_t ping_bytes = 168;

// How often each thing happens, in hours between two of them on average; 0 never.
struct World {
    const char *name;
    double dead_session;     ///< the interface is up and nothing comes through
    double hung;             ///< only a restart of the modem helps
    double deaf;             ///< it answers no AT either: only the power line helps
    double drop;             ///< the network ends the session; netifd notices
    double no_coverage;      ///< for half an hour
    double maintenance;      ///< no session for three hours
    double dns_down;         ///< the network's own name server is silent for six hours, another one answers
    double sim_pulled;       ///< for a day
    bool has_strays = false; ///< a packet comes in every 20 s whether the session lives or not
    bool only_sends = false; ///< telemetry: nothing comes back but the answers to probes
};
const World worlds[] = {
    {"health", 0, 0, 0, 0, 0, 0, 0, 0},
    {"sessions die", 8, 0, 0, 0, 0, 0, 0, 0},
    {"sessions drop", 0, 0, 0, 4, 0, 0, 0, 0},
    {"modem hangs", 0, 24, 0, 0, 0, 0, 0, 0},
    {"modem goes deaf", 0, 0, 48, 0, 0, 0, 0, 0},
    {"coverage comes and goes", 0, 0, 0, 0, 3, 0, 0, 0},
    {"maintenance", 0, 0, 0, 0, 0, 72, 0, 0},
    {"name server down", 0, 0, 0, 0, 0, 0, 24, 0},
    {"card pulled", 0, 0, 0, 0, 0, 0, 0, 168},
    {"everything", 12, 72, 168, 8, 6, 168, 72, 336},
    {"stray packets", 8, 0, 0, 0, 0, 0, 0, 0, true},
    {"only sends", 8, 0, 0, 0, 0, 0, 0, 0, false, true},
};

class Modem {
  public:
    Modem(const World &world, uint32_t seed) : world_(world), random_(seed) {}

    void pass(uint32_t now)
    {
        now_ = now;
        happens(world_.dead_session, [this] { is_dead_ = true; });
        happens(world_.hung, [this] { is_hung_ = is_dead_ = true; });
        happens(world_.deaf, [this] { is_deaf_ = is_hung_ = is_dead_ = true; });
        happens(world_.drop, [this] { is_up_ = false; });
        happens(world_.no_coverage, [this] { no_coverage_until_ = now_ + hour / 2; });
        happens(world_.maintenance, [this] { no_session_until_ = now_ + 3 * hour; });
        happens(world_.dns_down, [this] { no_dns_until_ = now_ + 6 * hour; });
        happens(world_.sim_pulled, [this] { no_sim_until_ = now_ + 24 * hour; });
        if (!can_connect())
            is_up_ = is_up_ && is_dead_;
        if (connects_at_ != 0 && now_ >= connects_at_) {
            connects_at_ = 0;
            if (can_connect()) {
                is_up_ = true;
                is_dead_ = is_hung_;
            }
        }
    }

    bool is_online() const { return is_up_ && !is_dead_ && can_connect(); }
    bool is_up() const { return is_up_ && now_ >= away_until_; }
    bool is_there() const { return now_ >= away_until_; }
    bool is_connecting() const { return connects_at_ != 0; }
    bool is_deaf() const { return is_deaf_; }
    bool has_sim() const { return now_ >= no_sim_until_; }
    bool has_coverage() const { return now_ >= no_coverage_until_; }
    bool answers_dns(bool is_second) const { return is_online() && (is_second || now_ >= no_dns_until_); }

    void connect()
    {
        is_up_ = false;
        connects_at_ = now_ + connect_s;
    }
    void restart(bool by_power)
    {
        if (is_deaf_ && !by_power)
            return;
        is_deaf_ = is_hung_ = is_dead_ = is_up_ = false;
        away_until_ = now_ + restart_s;
        connects_at_ = 0;
    }

  private:
    bool can_connect() const
    {
        return is_there() && has_sim() && has_coverage() && now_ >= no_session_until_ && !is_hung_;
    }

    template <typename Change> void happens(double hours, Change change)
    {
        if (hours != 0 && std::uniform_real_distribution<>{0, 1}(random_) < 1 / (hours * hour))
            change();
    }

    const World &world_;
    std::mt19937 random_;
    uint32_t now_ = 1;
    bool is_up_ = true;
    bool is_dead_ = false;
    bool is_hung_ = false;
    bool is_deaf_ = false;
    uint32_t no_coverage_until_ = 0, no_session_until_ = 0, no_dns_until_ = 0, no_sim_until_ = 0;
    uint32_t away_until_ = 0, connects_at_ = 0;
};

struct Tally {
    uint32_t online = 0, connects = 0, resets = 0, reboots = 0;
    uint64_t bytes = 0;
};

// The line carries something a third of the time, so that it is now silent and now not.
bool carries(uint32_t now)
{
    return now % (3 * hour) < hour;
}

class Keeper {
  public:
    explicit Keeper(const World &world) : world_(world) {}

    void step(Modem &modem, uint32_t now, Tally &tally)
    {
        if (now < next_)
            return;
        const bool is_carrying = carries(now) || world_.only_sends;
        sent_ += is_carrying ? now - seen_ : 0;
        received_ += is_carrying && modem.is_online() && !world_.only_sends ? now - seen_ : 0;
        received_ += world_.has_strays && modem.is_up() ? now / 20 - seen_ / 20 : 0;
        seen_ = now;
        WatchObservation seen{.now = now + 1,
                              .is_there = modem.is_there(),
                              .has_ports = modem.is_there(),
                              .has_device = modem.is_up(),
                              .received = received_,
                              .sent = sent_};
        for (int calls = 0; calls < 12; calls++) {
            const WatchDecision decision = decide(config_, memory_, seen);
            memory_ = decision.memory;
            next_ = now + decision.wait;
            if (!answer(decision, modem, seen, tally))
                break;
        }
    }

  private:
    bool answer(const WatchDecision &decision, Modem &modem, WatchObservation &seen, Tally &tally)
    {
        switch (decision.action) {
        case WatchAction::again:
            return true;
        case WatchAction::look:
            seen.link = modem.is_up() ? WatchLink::up : modem.is_connecting() ? WatchLink::pending : WatchLink::down;
            return true;
        case WatchAction::probe:
            seen.is_probed = true;
            seen.is_answered = modem.answers_dns(true);
            tally.bytes += probe_bytes * (modem.answers_dns(false) ? 1 : 2);
            received_ += seen.is_answered ? 1 : 0;
            return true;
        case WatchAction::ask:
            seen.is_told = true;
            seen.is_silent = modem.is_deaf();
            seen.sim = seen.is_silent ? WatchSim::untold : modem.has_sim() ? WatchSim::ready : WatchSim::missing;
            seen.service = seen.sim != WatchSim::ready ? WatchService::untold
                           : modem.has_coverage()      ? WatchService::registered
                                                       : WatchService::searching;
            return true;
        case WatchAction::connect:
            tally.connects++;
            modem.connect();
            return false;
        case WatchAction::stage:
            if (decision.stage <= WatchStage::radio) {
                tally.connects++;
                modem.connect();
            } else {
                tally.resets++;
                modem.restart(decision.stage == WatchStage::power);
            }
            return false;
        default:
            return false;
        }
    }

    const World &world_;
    WatchConfig config_{.stages = 0x3f};
    WatchMemory memory_;
    uint32_t next_ = 0, seen_ = 0, sent_ = 0, received_ = 0;
};

class PingAndReboot {
  public:
    explicit PingAndReboot(const World &) {}

    void step(Modem &modem, uint32_t now, Tally &tally)
    {
        if (now == back_) // after the boot the network daemon connects
            modem.connect();
        if (now < back_ || now % 30 != 0)
            return;
        tally.bytes += ping_bytes;
        if (modem.is_online())
            answered_ = now;
        if (now - answered_ < 300)
            return;
        tally.reboots++;
        answered_ = back_ = now + reboot_s;
        modem.restart(false); // the USB bus starts anew, its power stays
    }

  private:
    uint32_t answered_ = 0, back_ = 0;
};

// netifd alone: it connects again when it notices that the session is gone.
struct Nobody {
    explicit Nobody(const World &) {}
    void step(Modem &, uint32_t, Tally &) {}
};

template <typename Watchdog> void live(const World &world, const char *name, bool has_netifd)
{
    Modem modem{world, 20};
    Watchdog keeper{world};
    Tally tally;
    for (uint32_t now = 1; now <= four_weeks; now++) {
        modem.pass(now);
        if (has_netifd && !modem.is_up() && now % 60 == 0)
            modem.connect();
        keeper.step(modem, now, tally);
        tally.online += modem.is_online() ? 1 : 0;
    }
    printf("%s\t%s\t%.3f\t%u\t%u\t%u\t%llu\n", world.name, name, 100.0 * tally.online / four_weeks, tally.connects,
           tally.resets, tally.reboots, static_cast<unsigned long long>(tally.bytes));
}

} // namespace

int main()
{
    for (const World &world : worlds) {
        live<Keeper>(world, "watch", true);
        live<PingAndReboot>(world, "ping and reboot", true);
        live<Nobody>(world, "nobody", true);
    }
    return 0;
}
