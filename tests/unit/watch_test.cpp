#include <gtest/gtest.h>

#include <random>

#include <netinet/in.h>

#include "status/usage.h"
#include "tests/fuzz/watch_walk.h"
#include "watch/observers.h"
#include "watch/probe.h"
#include "watch/settings.h"

namespace watch_test {

// A step of the decider with all that it asks for, as a row of a table: what the state was, what is seen, what follows.
struct Seen {
    WatchObservation now{.now = 100'000, .is_there = true, .has_ports = true};
    WatchLink link = WatchLink::down;
    bool answers = false;
};

struct Outcome {
    WatchMemory memory;
    WatchAction action = WatchAction::none;
    WatchStage stage = WatchStage::count;
    std::string line;
    std::string asked; ///< l for look, p for probe, a for ask
    uint32_t wait = 0;
};

Outcome step(const WatchConfig &config, WatchMemory memory, const Seen &seen)
{
    WatchObservation observed = seen.now;
    Outcome out;
    for (int calls = 0; calls < 12; calls++) {
        const WatchDecision decision = decide(config, memory, observed);
        memory = out.memory = decision.memory;
        out.action = decision.action;
        out.stage = decision.stage;
        out.wait = decision.wait;
        if (!decision.line.empty())
            out.line += (out.line.empty() ? "" : "; ") + std::string{decision.line.view()};
        if (decision.action == WatchAction::look) {
            out.asked += 'l';
            observed.link = seen.link;
        } else if (decision.action == WatchAction::probe) {
            out.asked += 'p';
            observed.is_probed = true;
            observed.is_answered = seen.answers;
        } else if (decision.action == WatchAction::ask) {
            out.asked += 'a';
            observed.is_told = true;
        } else if (decision.action != WatchAction::again)
            return out;
    }
    ADD_FAILURE() << "a step comes to an end";
    return out;
}

// A memory of 50,000 s of life whose state has been so for a while, and whose wait is over or not.
WatchMemory in(WatchState state, bool is_due = true)
{
    WatchMemory memory;
    memory.clock = 50'000;
    memory.slot = memory.clock / watch_slot_length;
    memory.seen = 99'970;
    memory.state = static_cast<uint32_t>(state);
    memory.since = 40'000;
    memory.due = is_due ? 50'000 : 60'000;
    memory.quiet = memory.probed = 49'990;
    memory.received = memory.sent = memory.heard = 1000;
    memory.there = 1;
    return memory;
}

WatchMemory with(WatchMemory memory, uint32_t WatchMemory::*member, uint32_t value)
{
    memory.*member = value;
    return memory;
}

WatchObservation seen(WatchSim sim, WatchService service = WatchService::untold)
{
    return {.now = 100'000,
            .is_there = true,
            .has_ports = true,
            .has_device = true,
            .received = 1000,
            .sent = 1000,
            .sim = sim,
            .service = service};
}

WatchObservation quiet()
{
    return seen(WatchSim::ready, WatchService::registered);
}

template <typename Change> WatchObservation but(WatchObservation observation, Change change)
{
    change(observation);
    return observation;
}

struct Row {
    const char *what;
    WatchMemory before;
    Seen seen;
    WatchState after;
    WatchAction action;
    const char *line;
    const char *asked = "";
};

using enum WatchState;
using Act = WatchAction;
constexpr auto up = WatchLink::up;
constexpr auto pending = WatchLink::pending;
constexpr auto unregistered = WatchService::searching;

// clang-format off
const Row rows[] = {
    // The ends of every state.
    {"not wanted",          in(online),   {but(quiet(), [](auto &o) { o.is_wanted = false; })}, off, Act::none, "online -> off: not wanted"},
    {"paused",              in(suspect),  {but(quiet(), [](auto &o) { o.is_paused = true; })},  off, Act::none, "suspect -> off: paused"},
    {"upgrade",             in(slow),     {but(quiet(), [](auto &o) { o.is_upgrading = true; })}, off, Act::none, "slow -> off: a firmware upgrade"},
    {"off stays off",       in(off),      {but(quiet(), [](auto &o) { o.is_paused = true; })},  off, Act::none, ""},
    {"wanted again",        in(off),      {quiet()}, starting, Act::connect, "off -> starting: wanted", "la"},
    {"off by ifdown",       in(off),      {but(quiet(), [](auto &o) { o.is_started = false; })}, off, Act::none, "", "l"},
    {"ifdown while online", in(online),   {but(quiet(), [](auto &o) { o.has_device = o.is_started = false; })}, off, Act::none,
                                          "online -> suspect: the interface has no address or no route; suspect -> off: not wanted", "l"},
    {"pulled out",          in(online),   {but(quiet(), [](auto &o) { o.is_there = false; })}, absent, Act::none, "online -> absent: no modem on the bus"},
    {"blocked, pulled out", in(blocked),  {but(quiet(), [](auto &o) { o.is_there = false; })}, absent, Act::none, "blocked -> absent: no modem on the bus"},
    {"away for long",       in(absent),   {but(quiet(), [](auto &o) { o.is_there = false; })}, absent, Act::stage, "absent -> absent: power: it stays away, 0 of 1 left this hour"},
    {"away, not so long",   in(absent, false), {but(quiet(), [](auto &o) { o.is_there = false; })}, absent, Act::none, ""},
    {"never there",         with(in(absent), &WatchMemory::there, 0), {but(quiet(), [](auto &o) { o.is_there = false; })}, absent, Act::none, ""},
    {"there again",         in(absent),   {quiet(), pending}, starting, Act::none, "absent -> starting: the modem is there", "la"},
    // Blocked: it is looked at every ten minutes, and nothing else.
    {"over the limit",      in(online),   {but(quiet(), [](auto &o) { o.is_over_limit = true; })}, blocked, Act::disconnect, "online -> blocked: the data limit is reached"},
    {"limit stays",         in(blocked),  {but(quiet(), [](auto &o) { o.is_over_limit = o.is_changed = true; })}, blocked, Act::none, "", "l"},
    {"limit, a person's up", in(blocked), {but(quiet(), [](auto &o) { o.is_over_limit = true; }), up}, blocked, Act::disconnect, "", "l"},
    {"limit, not yet due",  in(blocked, false), {but(quiet(), [](auto &o) { o.is_over_limit = o.is_changed = true; }), up}, blocked, Act::none, ""},
    {"blocked, waits",      in(blocked, false), {seen(WatchSim::missing)}, blocked, Act::none, ""},
    {"blocked, still",      in(blocked),  {seen(WatchSim::missing)}, blocked, Act::none, "", "la"},
    {"blocked, no more",    in(blocked),  {quiet()}, starting, Act::connect, "blocked -> starting: the cause is gone", "la"},
    {"blocked, silent",     in(blocked),  {but(quiet(), [](auto &o) { o.is_silent = true; })}, blocked, Act::none, "", "la"},
    {"settings changed",    in(blocked, false), {but(quiet(), [](auto &o) { o.is_changed = true; })}, starting, Act::connect, "blocked -> starting: something was changed", "la"},
    {"abroad",              in(starting, false), {but(quiet(), [](auto &o) { o.is_roaming_forbidden = true; })}, blocked, Act::disconnect, "starting -> blocked: roaming is not allowed", "la"},
    {"home again", with(in(blocked), &WatchMemory::downed, 1), {but(quiet(), [](auto &o) { o.is_started = false; })}, starting, Act::connect, "blocked -> starting: the cause is gone", "la"},
    {"abroad, a person's up", in(blocked), {but(quiet(), [](auto &o) { o.is_roaming_forbidden = true; }), up}, blocked, Act::disconnect, "", "la"},
    {"still abroad",        in(blocked),  {but(quiet(), [](auto &o) { o.is_roaming_forbidden = true; })}, blocked, Act::none, "", "la"},
    // Online.
    {"packets come",        in(online),   {but(quiet(), [](auto &o) { o.received++; })}, online, Act::none, ""},
    {"nothing moves",       in(online),   {quiet()}, online, Act::none, ""},
    {"idle, answered",      with(with(in(online), &WatchMemory::quiet, 49'000), &WatchMemory::probed, 49'000), {quiet(), up, true}, online, Act::none, "", "p"},
    {"idle, no answer",     with(with(in(online), &WatchMemory::quiet, 49'000), &WatchMemory::probed, 49'000), {quiet(), up, false}, suspect, Act::none,
                            "online -> suspect: no name server answers", "pla"},
    {"stalled, answered",   with(in(online), &WatchMemory::quiet, 49'900), {but(quiet(), [](auto &o) { o.sent += 14; }), up, true}, online, Act::none, "", "p"},
    {"stalled, no answer",  with(in(online), &WatchMemory::quiet, 49'900), {but(quiet(), [](auto &o) { o.sent += 14; }), up}, suspect, Act::none,
                            "online -> suspect: packets out and none in", "pla"},
    {"stalled but for ARP", with(with(in(online), &WatchMemory::quiet, 49'900), &WatchMemory::answered, 1), {but(quiet(), [](auto &o) { o.sent += 40; o.received += 5; }), up}, suspect, Act::none,
                            "online -> suspect: packets out and none in", "pla"},
    {"an upload",           with(with(in(online), &WatchMemory::quiet, 49'900), &WatchMemory::answered, 1), {but(quiet(), [](auto &o) { o.sent += 40; o.received += 6; })}, online, Act::none, ""},
    {"broadcasts only",     with(with(in(online), &WatchMemory::probed, 49'000), &WatchMemory::answered, 1),
                            {but(quiet(), [](auto &o) { o.received += 99; }), up}, suspect, Act::none, "online -> suspect: no name server answers", "pla"},
    {"a busy line",         with(with(in(online), &WatchMemory::probed, 49'000), &WatchMemory::answered, 1),
                            {but(quiet(), [](auto &o) { o.received += 100; })}, online, Act::none, ""},
    {"no probe was answered", with(in(online), &WatchMemory::probed, 49'000), {but(quiet(), [](auto &o) { o.received++; })}, online, Act::none, ""},
    {"nine packets out",    with(in(online), &WatchMemory::quiet, 49'900), {but(quiet(), [](auto &o) { o.sent += 9; })}, online, Act::none, ""},
    {"no address",          in(online),   {but(quiet(), [](auto &o) { o.has_device = false; })}, suspect, Act::none, "online -> suspect: the interface has no address or no route", "la"},
    {"changed, still up",   in(online),   {but(quiet(), [](auto &o) { o.is_changed = true; }), up}, online, Act::none, "", "l"},
    {"replugged, another modem has its device", in(online), {but(quiet(), [](auto &o) { o.is_changed = true; })}, suspect, Act::none,
                            "online -> suspect: the interface is down", "la"},
    {"counters start anew", in(online),   {but(quiet(), [](auto &o) { o.received = o.sent = 3; })}, online, Act::none, ""},
    // Starting.
    {"up by itself",        in(starting, false), {quiet(), up, true}, online, Act::none, "starting -> online: the network answers", "lap"},
    {"up without answer",   in(starting, false), {quiet(), up}, starting, Act::none, "", "lap"},
    {"netifd is at it",     in(starting, false), {quiet(), pending}, starting, Act::none, "", "la"},
    {"packets, no answers", in(starting, false), {but(quiet(), [](auto &o) { o.received += 4; }), up}, online, Act::none, "starting -> online: the network answers", "lap"},
    {"ARP, no answers",     in(starting, false), {but(quiet(), [](auto &o) { o.received += 3; }), up}, starting, Act::none, "", "lap"},
    {"junk, no answers",    with(in(starting, false), &WatchMemory::answered, 1), {but(quiet(), [](auto &o) { o.received++; }), up}, starting, Act::none, "", "lap"},
    {"down",                in(starting, false), {quiet()}, starting, Act::connect, "", "la"},
    {"down, connected once", with(in(starting, false), &WatchMemory::connected, 1), {quiet()}, starting, Act::none, "", "la"},
    {"no ports yet",        in(starting, false), {but(quiet(), [](auto &o) { o.has_ports = false; })}, starting, Act::none, "", "l"},
    {"card not ready",      in(starting, false), {seen(WatchSim::wait)}, starting, Act::none, "", "la"},
    {"card busy for long",  in(starting), {seen(WatchSim::wait, unregistered)}, suspect, Act::none, "starting -> suspect: not online in time", "la"},
    {"locked to a network", in(starting, false), {seen(WatchSim::locked)}, blocked, Act::none, "starting -> blocked: the modem takes other cards only", "la"},
    {"no card yet",         in(starting, false), {seen(WatchSim::missing)}, starting, Act::none, "", "la"},
    {"no card",             in(starting), {seen(WatchSim::missing)}, blocked, Act::none, "starting -> suspect: not online in time; suspect -> blocked: no SIM card", "la"},
    {"PUK",                 in(starting, false), {seen(WatchSim::puk)}, blocked, Act::none, "starting -> blocked: the SIM card wants its PUK", "la"},
    {"no PIN configured",   in(starting, false), {seen(WatchSim::pin)}, blocked, Act::none, "starting -> blocked: the PIN is not configured", "la"},
    {"wrong settings",      in(starting, false), {but(quiet(), [](auto &o) { o.is_misset = true; })}, blocked, Act::none, "starting -> blocked: the settings are refused", "la"},
    {"not in time",         in(starting), {quiet()}, suspect, Act::none, "starting -> suspect: not online in time", "la"},
    // Suspect.
    {"third round",         with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), {quiet(), up}, recovering, Act::stage,
                            "suspect -> recovering: reconnect, 5 of 6 left this hour", "lp"},
    {"netifd connects by itself", with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::outage, 49'950), {quiet(), pending}, suspect, Act::none, "", "l"},
    {"netifd connects for long", with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::outage, 49'940), {quiet(), pending}, recovering, Act::stage,
                            "suspect -> recovering: reconnect, 5 of 6 left this hour", "l"},
    {"answers at last",     with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), {quiet(), up, true}, online, Act::none, "suspect -> online: the network answers", "lp"},
    {"not yet due",         with(in(suspect, false), &WatchMemory::asked, 1), {quiet()}, suspect, Act::none, "", "l"},
    {"denied",              in(suspect),  {seen(WatchSim::ready, WatchService::denied)}, blocked, Act::none, "suspect -> blocked: the network refuses the SIM card", "la"},
    {"no coverage",         in(suspect),  {seen(WatchSim::ready, unregistered)}, no_service, Act::none, "suspect -> no-service: not registered", "la"},
    {"ports are missing",   with(in(suspect), &WatchMemory::tries, 2), {but(quiet(), [](auto &o) { o.has_ports = false; })}, recovering, Act::stage,
                            "suspect -> recovering: usb, 1 of 2 left this hour", "l"},
    // The ladder.
    {"refresh",             with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::facts, 2), {quiet()}, recovering, Act::stage,
                            "suspect -> recovering: refresh, 5 of 6 left this hour", "l"},
    {"radio",               with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 2), {quiet()}, recovering, Act::stage,
                            "suspect -> recovering: radio, 2 of 3 left this hour", "l"},
    {"deaf modem",          with(with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 2), &WatchMemory::facts, 1), {quiet()}, recovering, Act::stage,
                            "suspect -> recovering: usb, 1 of 2 left this hour", "l"},
    {"router, other WAN",   with(with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 6), &WatchMemory::facts, 1), {quiet()}, slow, Act::none,
                            "suspect -> slow: nothing more to try", "l"},
    {"router",              with(with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 6), &WatchMemory::facts, 1),
                            {but(quiet(), [](auto &o) { o.has_other_wan = false; })}, recovering, Act::stage, "suspect -> recovering: router, 0 of 1 left this hour", "l"},
    {"three reboots",       with(with(with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 6), &WatchMemory::facts, 1), &WatchMemory::reboots, 3),
                            {but(quiet(), [](auto &o) { o.has_other_wan = false; })}, slow, Act::none, "suspect -> slow: nothing more to try", "l"},
    // Another program has the port.
    {"busy",                with(in(suspect), &WatchMemory::since, 49'990), {but(quiet(), [](auto &o) { o.is_busy = true; })}, suspect, Act::none, "", "la"},
    {"busy, third round",   with(with(with(in(suspect), &WatchMemory::since, 49'950), &WatchMemory::tries, 2), &WatchMemory::facts, 4),
                            {but(quiet(), [](auto &o) { o.is_busy = true; })}, suspect, Act::none, "", "la"},
    {"no longer busy",      with(with(with(in(suspect), &WatchMemory::since, 49'950), &WatchMemory::tries, 2), &WatchMemory::facts, 4), {quiet()}, recovering, Act::stage,
                            "suspect -> recovering: reconnect, 5 of 6 left this hour", "la"},
    {"busy for long",       with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::facts, 4), {but(quiet(), [](auto &o) { o.is_busy = true; })}, recovering, Act::stage,
                            "suspect -> recovering: reconnect, 5 of 6 left this hour", "la"},
    {"busy, no reset",      with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::facts, 4), &WatchMemory::next, 2), {but(quiet(), [](auto &o) { o.is_busy = true; })}, slow, Act::none,
                            "suspect -> slow: nothing more to try", "la"},
    {"busy, blocked",       in(blocked),  {but(seen(WatchSim::untold), [](auto &o) { o.is_busy = true; })}, blocked, Act::none, "", "la"},
    {"busy, no coverage",   in(no_service), {but(seen(WatchSim::untold), [](auto &o) { o.is_busy = true; })}, no_service, Act::none, "", "la"},
    // No service.
    {"no coverage yet",     in(no_service, false), {seen(WatchSim::ready, unregistered)}, no_service, Act::none, "", "la"},
    {"no coverage for long", in(no_service), {seen(WatchSim::ready, unregistered)}, no_service, Act::stage, "no-service -> no-service: radio: no network for long, 2 of 3 left this hour", "la"},
    {"up without coverage", in(no_service), {seen(WatchSim::ready, unregistered), up, true}, online, Act::none, "no-service -> online: the network answers", "lap"},
    {"coverage again",      in(no_service, false), {quiet()}, starting, Act::connect, "no-service -> starting: registered", "la"},
    {"card pulled",         in(no_service, false), {seen(WatchSim::missing)}, blocked, Act::none, "no-service -> blocked: no SIM card", "la"},
    {"card fails",          in(no_service, false), {seen(WatchSim::wait, unregistered)}, suspect, Act::none,
                            "no-service -> suspect: the SIM card fails", "la"},
    {"rested, card fails",  in(slow),     {seen(WatchSim::wait, unregistered)}, recovering, Act::stage, "slow -> recovering: reconnect: the wait is over, 5 of 6 left this hour", "la"},
    {"hung",                in(no_service, false), {but(quiet(), [](auto &o) { o.is_silent = true; o.service = WatchService::untold; })}, suspect, Act::none,
                            "no-service -> suspect: the modem does not answer", "la"},
    {"nothing told",        in(no_service, false), {seen(WatchSim::untold)}, no_service, Act::none, "", "la"},
    // Slow.
    {"resting",             in(slow, false), {quiet()}, slow, Act::none, "", "l"},
    {"resting, up again",   with(in(slow, false), &WatchMemory::probed, 49'000), {quiet(), up, true}, online, Act::none, "slow -> online: the network answers", "lp"},
    {"rested",              in(slow),     {quiet()}, recovering, Act::stage, "slow -> recovering: reconnect: the wait is over, 5 of 6 left this hour", "la"},
    {"resting, a person's change", in(slow, false), {but(quiet(), [](auto &o) { o.is_changed = true; })}, starting, Act::connect, "slow -> starting: something was changed", "la"},
    {"rested, no coverage", in(slow),     {seen(WatchSim::ready, unregistered)}, no_service, Act::none, "slow -> no-service: not registered", "la"},
    {"rested, no card",     in(slow),     {seen(WatchSim::missing)}, blocked, Act::none, "slow -> blocked: no SIM card", "la"},
    {"one reset done",      with(with(with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1), &WatchMemory::next, 4), &WatchMemory::round, 1), {quiet()}, slow, Act::none,
                            "suspect -> slow: nothing more to try", "l"},
};
// clang-format on

TEST(WatchDecider, FollowsItsRows)
{
    const WatchConfig config{.stages = 127};
    for (const Row &row : rows) {
        const Outcome outcome = step(config, row.before, row.seen);
        EXPECT_STREQ(watch_state_name(static_cast<WatchState>(outcome.memory.state)), watch_state_name(row.after))
            << row.what;
        EXPECT_EQ(outcome.action, row.action) << row.what;
        EXPECT_EQ(outcome.line, row.line) << row.what;
        EXPECT_EQ(outcome.asked, row.asked) << row.what;
    }
}

TEST(WatchDecider, SendsAPinOnceAndOnlyWithThreeTriesLeft)
{
    const WatchConfig config{.pin_hash = 77};
    const auto asks_pin = [](int tries) { return but(seen(WatchSim::pin), [tries](auto &o) { o.pin_tries = tries; }); };
    const Outcome sent = step(config, in(starting, false), {asks_pin(3)});
    EXPECT_EQ(sent.action, WatchAction::enter_pin);
    EXPECT_EQ(sent.memory.pin_sent, 77U) << "noted before it is sent";
    const Outcome again = step(config, sent.memory, {asks_pin(3)});
    EXPECT_EQ(again.line, "starting -> blocked: the PIN was refused");
    EXPECT_EQ(step(config, sent.memory, {quiet()}).memory.pin_sent, 0U) << "a ready card has accepted it";
    const Outcome other =
        step({.pin_hash = 78}, again.memory, {but(asks_pin(3), [](auto &o) { o.is_changed = true; })});
    EXPECT_EQ(other.action, WatchAction::enter_pin) << "another PIN, or another card";
    EXPECT_EQ(step(config, in(starting, false), {asks_pin(2)}).line,
              "starting -> blocked: the tries for the PIN are too few");
    EXPECT_EQ(step(config, in(starting, false), {asks_pin(-1)}).action, WatchAction::connect)
        << "the protocol handler's try";
}

TEST(WatchDecider, RestsLongerAfterEachRoundAndNotInStepWithOthers)
{
    const WatchMemory done = with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::next, watch_stages);
    const uint32_t rounds[] = {900, 1800, 3600, 7200, 14400, 14400};
    for (uint32_t round = 0; round < std::size(rounds); round++) {
        const Outcome rests = step({.jitter = 10}, with(done, &WatchMemory::round, round), {quiet()});
        EXPECT_EQ(rests.memory.due - rests.memory.clock, rounds[round]);
    }
    const Outcome early = step({.jitter = 0}, done, {quiet()});
    EXPECT_EQ(early.memory.due - early.memory.clock, 810U);
}

TEST(WatchDecider, RestsWhenTheBudgetOfTheNextStageIsSpent)
{
    WatchMemory memory = with(with(in(suspect), &WatchMemory::tries, 2), &WatchMemory::asked, 1);
    memory.by_slot[static_cast<size_t>(WatchStage::reconnect)][2] = 6;
    EXPECT_EQ(step({}, memory, {quiet()}).line, "suspect -> slow: budget spent") << "and climbs no higher";
}

TEST(WatchDecider, ForgetsTheOutageAfterTenMinutesOnline)
{
    const WatchMemory memory = with(in(online), &WatchMemory::next, 3);
    EXPECT_EQ(step({}, memory, {quiet()}).memory.next, 0U);
    EXPECT_EQ(step({}, with(memory, &WatchMemory::since, 49'900), {quiet()}).memory.next, 3U);
}

TEST(WatchDecider, BeginsTheLadderAnewWhenTheModemWasOnlineAsItWentAway)
{
    const WatchMemory away = with(with(in(absent), &WatchMemory::next, 6), &WatchMemory::round, 1);
    const WatchMemory back = step({}, with(away, &WatchMemory::outage, away.since), {quiet(), pending}).memory;
    EXPECT_EQ(back.next, 0U);
    EXPECT_EQ(back.round, 0U);
    EXPECT_EQ(step({}, away, {quiet(), pending}).memory.next, 6U) << "a stage has sent it away";
}

TEST(WatchDecider, WithoutProbesBelievesTheInterface)
{
    const WatchConfig config{.probe = static_cast<uint32_t>(WatchProbe::none)};
    EXPECT_EQ(step(config, in(starting, false), {quiet(), up}).line, "starting -> online: the network answers");
    const WatchObservation bare = but(quiet(), [](auto &o) { o.has_device = false; });
    EXPECT_EQ(step(config, in(starting, false), {bare, up}).line, "")
        << "but not that a device without an address is up";
    const WatchMemory idle = with(in(online), &WatchMemory::quiet, 1);
    EXPECT_EQ(step(config, idle, {quiet()}).line, "") << "an idle line stays online";
    const Outcome stalled = step(config, idle, {but(quiet(), [](auto &o) { o.sent += 20; }), up});
    EXPECT_EQ(stalled.line, "online -> suspect: packets out and none in");
}

// Behind a modem that is a router, as in a private network, its silence shows nothing later.
TEST(WatchDecider, TakesAModemsOwnAnswerForLifeButNotForProof)
{
    const WatchObservation near = but(quiet(), [](auto &o) { o.is_near = true; });
    const Outcome outcome = step({}, in(starting, false), {near, up, true});
    EXPECT_EQ(outcome.line, "starting -> online: the network answers");
    EXPECT_EQ(outcome.memory.answered, 0U);
    EXPECT_EQ(step({}, in(starting, false), {quiet(), up, true}).memory.answered, 1U);
}

// A line that carries telemetry only, in one direction.
TEST(WatchDecider, AsksALineThatOnlySendsNoMoreOftenThanAnIdleOne)
{
    WatchMemory memory = in(online);
    Seen seen{.now = quiet(), .link = up, .answers = true};
    size_t probes = 0;
    for (int i = 0; i < 120; i++) {
        seen.now.now += 30;
        seen.now.sent += 30;
        const Outcome outcome = step({}, memory, seen);
        EXPECT_EQ(outcome.line, "");
        const size_t asked = outcome.asked.size();
        probes += asked;
        seen.now.received += static_cast<uint32_t>(asked); // the answer
        memory = outcome.memory;
    }
    EXPECT_GE(probes, 11U) << "in an hour";
    EXPECT_LE(probes, 13U);
}

TEST(WatchDecider, HoldsItsPropertiesInAMillionRandomSteps)
{
    std::mt19937 random{20};
    size_t acts = 0;
    size_t states = 0;
    for (int walk = 0; walk < 100; walk++) {
        WatchWalk world;
        for (int i = 0; i < 10'000 && world.fault() == nullptr; i++) {
            const auto bits = static_cast<uint32_t>(random());
            // Two steps of three leave the world as it is, so that waits come to their end.
            world.step(bits % 3 == 0 ? static_cast<uint8_t>(bits >> 8) : 31, static_cast<uint8_t>(bits >> 16));
            states |= size_t{1} << world.memory().state;
        }
        ASSERT_EQ(world.fault(), nullptr) << world.fault();
        acts += world.acts();
    }
    EXPECT_EQ(states, 0x1ffU) << "every state was entered";
    EXPECT_GT(acts, 2000U) << "and much was done";
}

TEST(WatchMemoryText, ReadsBackAndTakesNothingElse)
{
    WatchMemory memory = in(recovering);
    memory.by_hour[3][24] = 8;
    memory.by_slot[0][0] = 60;
    Text<longest_watch_memory> written;
    write_watch_memory(memory, written);
    const std::string text{written.view()};
    EXPECT_EQ(read_watch_memory(text), memory);
    for (size_t length = 0; length < text.size(); length++)
        ASSERT_EQ(read_watch_memory(std::string_view{text}.substr(0, length)), WatchMemory{}) << length;
    const std::string bad[] = {text + "\n", text + text, "clock -1\n", std::string(5000, 'x'), std::string(40, '\0')};
    for (const std::string &other : bad)
        EXPECT_EQ(read_watch_memory(other), WatchMemory{});
    const auto replaced = [&text](const char *what, const char *by) {
        std::string other = text;
        return other.replace(other.find(what), strlen(what), by);
    };
    EXPECT_EQ(read_watch_memory(replaced("state 7", "state 9")), WatchMemory{}) << "no such state";
    EXPECT_EQ(read_watch_memory(replaced("clock 50000", "clock 50000000")), WatchMemory{}) << "slots of another time";
    EXPECT_EQ(read_watch_memory(replaced("sent 1000", "sent 99999999999")), WatchMemory{});
}

TEST(Usage, CountsByCardAndMonth)
{
    UsageBook book;
    book.add("8943", 202611, 100, 10);
    book.add("8943", 202611, 50, 5);
    book.add("8944", 202611, 1, 1);
    book.add("8943", 202612, 7, 7);
    book.add("8943", 202612, 0, 0);
    EXPECT_EQ(compose_usage(book).view(), "8943 202611 150 15\n8944 202611 1 1\n8943 202612 7 7\n");
    EXPECT_EQ(book.total("8943", 202611), 165U);
    EXPECT_EQ(book.total(), 181U);
    EXPECT_EQ(compose_usage(parse_usage(compose_usage(book).view())).view(), compose_usage(book).view());
}

TEST(Usage, GivesBytesWithoutCardOrDateToTheNextThatIsKnown)
{
    UsageBook book;
    book.add("", 0, 5, 5);
    book.add("8943", 0, 10, 10);
    book.add("8944", 0, 1, 1);
    EXPECT_EQ(book.size, 3U);
    book.add("8943", 202611, 100, 100);
    EXPECT_EQ(compose_usage(book).view(), "8944 0 1 1\n8943 202611 115 115\n");
}

TEST(Usage, ForgetsTheOldestMonthWhenTheBookIsFull)
{
    UsageBook book;
    for (uint32_t month = 1; month <= 13; month++)
        book.add("8943", 202500 + month, 1, 0);
    EXPECT_EQ(book.size, 12U);
    EXPECT_EQ(book.total("8943", 202501), 0U);
    EXPECT_EQ(book.total("8943", 202513), 1U);
}

TEST(Usage, TakesACounterThatWentBackForANewStart)
{
    EXPECT_EQ(counted_since(100, 150), 50U);
    EXPECT_EQ(counted_since(150, 20), 20U);
    EXPECT_EQ(counted_since(0xfffffff0, 0x100000010), 0x20U) << "no overflow at 4 GiB";
}

TEST(Usage, BeginsAMonthOnItsDay)
{
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(billing_month(1'800'000'000, 1), 202701U) << "2027-01-15";
    EXPECT_EQ(billing_month(1'800'000'000, 15), 202701U);
    EXPECT_EQ(billing_month(1'800'000'000, 16), 202612U);
    EXPECT_EQ(billing_month(1'000, 1), 0U) << "a clock that is not set";
}

TEST(Usage, LeavesOutLinesThatAreNotItsOwn)
{
    for (const char *bad :
         {"", "8943", "8943 202611 1\n", "8943 202611 1 x\n", "8943 202611 1 2 3\n", "$(x) 202611 1 2\n",
          "8943 99999999999 1 2\n", "8943 202611 99999999999999999999999 2\n", " 1 2 3\n", "8943 202611 -1 2\n"})
        EXPECT_EQ(parse_usage(bad).size, 0U) << bad;
    EXPECT_EQ(parse_usage("rubbish\n- 0 5 6\n").total(), 11U);
}

TEST(WatchSettings, KnowsWhereRoamingIsForbidden)
{
    EXPECT_FALSE(is_roaming_forbidden("", "232"));
    EXPECT_FALSE(is_roaming_forbidden("allow", "232"));
    EXPECT_TRUE(is_roaming_forbidden("deny", "232"));
    EXPECT_FALSE(is_roaming_forbidden("262 232", "232"));
    EXPECT_TRUE(is_roaming_forbidden("262 228", "232"));
    EXPECT_TRUE(is_roaming_forbidden("262", "")) << "a country that is not known is not allowed";
}

TEST(WatchObservers, TakeOnlyItsCompanionsForItsOwnInterface)
{
    for (const char *own : {"wan", "wan_4", "wan_6"})
        EXPECT_TRUE(is_own_interface(own, "wan")) << own;
    for (const char *other : {"wanb", "wan6", "wan_4x", "lan", "wa", ""})
        EXPECT_FALSE(is_own_interface(other, "wan")) << other;
}

TEST(WatchSettings, KnowsAPinAgainWithItsCardOnly)
{
    EXPECT_EQ(hash_pin("8943", ""), 0U);
    EXPECT_NE(hash_pin("8943", "1234"), 0U);
    EXPECT_EQ(hash_pin("8943", "1234"), hash_pin("8943", "1234"));
    EXPECT_NE(hash_pin("8944", "1234"), hash_pin("8943", "1234"));
}

TEST(WatchProbe, AsksAQuestionOf36Bytes)
{
    std::array<uint8_t, 40> out{};
    ASSERT_EQ(compose_dns_question(0x1234, out), 36U);
    const std::string question{out.begin(), out.begin() + 36};
    EXPECT_EQ(question, std::string("\x12\x34\x01\0\0\1\0\0\0\0\0\0\1a\14root-servers\3net\0\0\1\0\1", 36));
}

TEST(WatchProbe, TakesAnyAnswerForLifeButNoOtherPacket)
{
    using Packet = std::vector<uint8_t>;
    EXPECT_TRUE(is_dns_answer(Packet{0x12, 0x34, 0x81, 0x82, 0, 1, 0, 0, 0, 0, 0, 0}, 0x1234)) << "SERVFAIL";
    EXPECT_FALSE(is_dns_answer(Packet{0x12, 0x34, 0x01, 0x00, 0, 1, 0, 0, 0, 0, 0, 0}, 0x1234)) << "a question";
    EXPECT_FALSE(is_dns_answer(Packet{0x12, 0x35, 0x81, 0x80, 0, 1, 0, 0, 0, 0, 0, 0}, 0x1234)) << "another one's";
    EXPECT_FALSE(is_dns_answer(Packet{0x12, 0x34, 0x81}, 0x1234));
    EXPECT_FALSE(is_dns_answer({}, 0x1234));
    Packet echo(20, 0);
    echo[0] = 0x45;
    echo.insert(echo.end(), {0, 0, 0, 0, 0x12, 0x34, 0, 0});
    EXPECT_TRUE(is_echo_answer(AF_INET, echo, 0x1234));
    EXPECT_FALSE(is_echo_answer(AF_INET, echo, 0x1235));
    EXPECT_FALSE(is_echo_answer(AF_INET, std::span{echo}.first(24), 0x1234));
    echo[0] = 0x4f; // a header longer than the packet
    EXPECT_FALSE(is_echo_answer(AF_INET, echo, 0x1234));
    EXPECT_TRUE(is_echo_answer(AF_INET6, Packet{129, 0, 0, 0, 0x12, 0x34, 0, 0}, 0x1234));
    EXPECT_FALSE(is_echo_answer(AF_INET6, {}, 0x1234));
}

TEST(WatchProbe, MakesAnEchoWithAValidSum)
{
    std::array<uint8_t, 40> out{};
    ASSERT_EQ(compose_echo(AF_INET, 0x1234, out), 16U);
    uint32_t sum = 0;
    for (size_t i = 0; i < 16; i += 2)
        sum += static_cast<uint32_t>(out[i] << 8 | out[i + 1]);
    EXPECT_EQ((sum & 0xffff) + (sum >> 16), 0xffffU);
}

} // namespace watch_test
