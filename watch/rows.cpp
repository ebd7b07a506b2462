#include "watch/rows.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

using enum WatchState;
constexpr uint16_t s_off = state_bit(off), s_absent = state_bit(absent), s_blocked = state_bit(blocked),
                   s_wait = state_bit(no_service), s_online = state_bit(online), s_suspect = state_bit(suspect),
                   s_slow = state_bit(slow), s_begin = state_bit(starting) | state_bit(recovering);
constexpr uint16_t s_any = 0x1ff;
constexpr WatchState same = same_state;

struct WrittenRow {
    uint16_t from;
    uint32_t needs;
    uint32_t lacks;
    WatchState to;
    Deed deed;
    std::string_view reason;
};

// clang-format off
constexpr WrittenRow table[] = {
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
    {s_blocked,            over_limit,           due,          same,       Deed::none,       ""},
    {s_blocked,            changed,              over_limit,   starting,   Deed::again,      "something was changed"},
    {s_blocked,            0,                    due,          same,       Deed::none,       ""},
    {s_blocked,            0,                    looked,       same,       Deed::look,       ""},
    {s_blocked,            over_limit | up,      0,            same,       Deed::disconnect, ""},
    {s_blocked,            over_limit,           0,            same,       Deed::round,      ""},
    {s_blocked,            0,                    told,         same,       Deed::ask,        ""},
    {s_blocked,            roaming_off | up,     0,            same,       Deed::disconnect, ""},
    {s_blocked,            person,               0,            same,       Deed::round,      ""},
    {s_blocked,            roaming_off,          0,            same,       Deed::round,      ""},
    {s_blocked,            silent,               0,            same,       Deed::round,      ""},
    {s_blocked,            0,                    0,            starting,   Deed::again,      "the cause is gone"},
    // Online, and how it ends.
    {s_online,             no_device,            0,            suspect,    Deed::again,      "the interface has no address or no route"},
    {s_online,             changed,              looked,       same,       Deed::look,       ""},
    {s_online,             looked,               up,           suspect,    Deed::again,      "the interface is down"},
    {s_online,             stalled,              probed,       same,       Deed::probe,      ""},
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
    {s_wait,               no_sim,               0,            suspect,    Deed::again,      "the SIM card fails"},
    {s_wait,               silent,               0,            suspect,    Deed::again,      "the modem does not answer"},
    {s_wait,               registered,           0,            starting,   Deed::again,      "registered"},
    {s_wait,               up | due,             probed,       same,       Deed::probe,      ""},
    {s_wait,               due | can_radio,      0,            same,       Deed::radio,      "no network for long"},
    {s_wait,               due,                  0,            same,       Deed::round,      ""},
    {s_wait,               0,                    0,            same,       Deed::none,       ""},
    // Slow: the ladder is done, or its budget spent.
    {s_slow,               changed,              0,            starting,   Deed::again,      "something was changed"},
    {s_slow,               0,                    looked,       same,       Deed::look,       ""},
    {s_slow,               up | probe_due,       probed,       same,       Deed::probe,      ""},
    {s_slow,               0,                    due,          same,       Deed::none,       ""},
    {s_slow,               0,                    told | no_ports, same,    Deed::ask,        ""},
    {s_slow,               person,               0,            blocked,    Deed::none,       ""},
    {s_slow,               unregistered,         0,            no_service, Deed::none,       "not registered"},
    {s_slow,               0,                    0,            recovering, Deed::retry,      ""},
};
// clang-format on

// The program has each reason once, and none for the rows that have none.
struct Packed {
    std::array<WatchRow, std::size(table)> rows{};
    std::array<char, 2000> reasons{}; // it begins with the empty one
    uint16_t used = 1;
};

constexpr Packed packed = [] {
    Packed out;
    for (size_t i = 0; i < std::size(table); i++) {
        const WrittenRow &row = table[i];
        uint16_t at = 0;
        for (size_t other = 0; other < i && !row.reason.empty() && at == 0; other++)
            if (table[other].reason == row.reason)
                at = out.rows[other].reason;
        if (!row.reason.empty() && at == 0) {
            at = out.used;
            std::copy(row.reason.begin(), row.reason.end(), out.reasons.begin() + at);
            out.used = static_cast<uint16_t>(at + row.reason.size() + 1);
        }
        out.rows[i] = {row.from, at, row.needs, row.lacks, row.to, row.deed};
    }
    return out;
}();

constexpr auto rows = packed.rows;
constexpr auto reasons = [] {
    std::array<char, packed.used> out{};
    std::copy_n(packed.reasons.begin(), packed.used, out.begin());
    return out;
}();

} // namespace

const std::span<const WatchRow> watch_rows{rows};

const char *watch_reason(const WatchRow &row)
{
    return &reasons[row.reason];
}
