#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/unit/modem_under_test.h"
#include "tests/unit/serial_line.h"
#include "tests/unit/transcripts.h"

// Where a packet of the modem ends must not matter: each reply is cut in two, with a time between that no reader can
// choose, and has to arrive whole.

namespace cut_replies_test {

using namespace simulator;

struct Cut {
    const std::string *reply;
    size_t at;
    int pause_ms;
};

// The reply; empty where it has no end, is longer than a reply may be, or has OK or ERROR before its last line too,
// which ends it there.
std::string whole(const std::string &reply)
{
    const size_t end = std::min(reply.find("OK"), reply.find("ERROR"));
    const bool is_last_line = end != std::string::npos && reply.find('\n', end) == reply.size() - 1;
    return is_last_line && reply.size() < 4096 ? reply : "";
}

// What a row of a profile answers, with its echo.
std::string reply_of(const Profile &profile, const Row &row)
{
    ModemUnderTest test{profile};
    return whole(test.say(row.command.text() + "\r\n", 300'000));
}

// A public source may have left out the end.
std::string with_end(const std::string &reply)
{
    const bool has_end = reply.ends_with("OK\r\n") || reply.find("ERROR") != std::string::npos;
    return has_end ? reply : reply + "\r\nOK\r\n";
}

std::set<std::string> replies_of_all_modems()
{
    std::set<std::string> replies;
    for (const Profile &profile : list_profiles(SOURCE_ROOT "/simulator/profiles"))
        for (const Row &row : profile.rows)
            replies.insert(reply_of(profile, row));
    for (const TranscriptScene &scene : transcript_scenes())
        for (const TranscriptBlock &block : scene.blocks)
            replies.insert(whole(with_end(block.reply)));
    replies.erase("");
    return replies;
}

std::string take_in_two_pieces(const Cut &cut)
{
    return reply_from_pieces({cut.reply->substr(0, cut.at), cut.reply->substr(cut.at)}, cut.pause_ms);
}

// A transaction waits most of its time, so many run side by side.
void expect_whole_replies(const std::vector<Cut> &cuts)
{
    std::atomic<size_t> next = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 48; i++)
        threads.emplace_back([&] {
            for (size_t n = next++; n < cuts.size(); n = next++)
                EXPECT_EQ(take_in_two_pieces(cuts[n]), *cuts[n].reply)
                    << "cut at " << cuts[n].at << " for " << cuts[n].pause_ms << " ms";
        });
    for (std::thread &thread : threads)
        thread.join();
}

constexpr int pauses_ms[] = {0, 1, 5, 20};

TEST(CutReplies, AreWholeWhereverTheyAreCut)
{
    const std::string replies[] = {
        "AT+CSQ\r\r\n+CSQ: 31,99\r\n\r\nOK\r\n",
        "\r\n+CME ERROR: SIM not inserted\r\n",
        "\r\r\n+COPS: 0,0,\"BOOKING\",7\r\r\n\r\r\nOK\r\r\n",
    };
    std::vector<Cut> cuts;
    for (const std::string &reply : replies)
        for (size_t at = 1; at < reply.size(); at++)
            for (const int pause_ms : pauses_ms)
                // The search for the end stops in the line with BOOKING, whose rest is read.
                if (at < reply.find("BOOK") + 4 || reply.find("BOOK") == std::string::npos)
                    cuts.push_back({&reply, at, pause_ms});
    expect_whole_replies(cuts);
}

// Every reply of the simulated modems and of the transcripts, each with two of the cuts in turn; EVERY_CUT=1 makes them
// all, for some minutes.
TEST(CutReplies, OfAllModemsAreWhole)
{
    const std::set<std::string> replies = replies_of_all_modems();
    ASSERT_GT(replies.size(), 500u);
    std::vector<Cut> cuts;
    size_t number = 0;
    for (const std::string &reply : replies) {
        number++;
        const size_t late = reply.size() - 1 - number % 7;
        const size_t early = 1 + number % (reply.size() - 1);
        for (size_t at = 1; at < reply.size(); at++)
            for (const int pause_ms : pauses_ms)
                if (getenv("EVERY_CUT") != nullptr ||
                    ((at == late || at == early) && pause_ms == pauses_ms[number / 7 % std::size(pauses_ms)]))
                    cuts.push_back({&reply, at, pause_ms});
    }
    expect_whole_replies(cuts);
    printf("%zu replies, %zu cuts\n", replies.size(), cuts.size());
}

} // namespace cut_replies_test
