#include <gtest/gtest.h>

#include "simulator/usb/ntb.h"

namespace ntb_test {

using namespace simulator;

using Views = std::vector<std::string_view>;

template <size_t Size> std::string bytes(const char (&text)[Size])
{
    return std::string(text, Size - 1);
}

// Written by hand: header (mark, 12, sequence, length, place of the table), five bytes and three for alignment, two
// bytes and two, the table (mark, 20, no next one, two places with lengths, the end).
const std::string two_frames = bytes("NCMH\x0c\0\x07\0\x2c\0\x18\0"
                                     "hello\0\0\0"
                                     "ab\0\0"
                                     "NCM0\x14\0\0\0\x0c\0\x05\0\x14\0\x02\0\0\0\0\0");

TEST(Ntb, PutsDatagramsBetweenAHeaderAndATable)
{
    EXPECT_EQ(ntb_of(Views{"hello", "ab"}, NtbContent::ethernet, 7), two_frames);
    EXPECT_EQ(ntb_of(Views{"pack"}, NtbContent::packets, 0x102), bytes("NCMH\x0c\0\x02\x01\x20\0\x10\0pack"
                                                                       "IPS\0\x10\0\0\0\x0c\0\x04\0\0\0\0\0"));
}

TEST(Ntb, GivesTheDatagramsBack)
{
    EXPECT_EQ(datagrams_of(two_frames, NtbContent::ethernet), (Views{"hello", "ab"}));
    EXPECT_EQ(datagrams_of(two_frames, NtbContent::packets), Views());
    const std::string long_one(1514, 'x');
    EXPECT_EQ(datagrams_of(ntb_of(Views{long_one, "y"}, NtbContent::packets, 1), NtbContent::packets),
              (Views{long_one, "y"}));
}

// The table in front of what it lists, a length of 0, and a second table of another kind, as other hosts write them.
TEST(Ntb, ReadsOtherOrders)
{
    EXPECT_EQ(datagrams_of(bytes("NCMH\x0c\0\0\0\0\0\x0c\0"
                                 "NCM0\x10\0\0\0\x1c\0\x03\0\0\0\0\0abc"),
                           NtbContent::ethernet),
              Views{"abc"});
    EXPECT_EQ(datagrams_of(bytes("NCMH\x0c\0\0\0\0\0\x0c\0"
                                 "IPS\1\x10\0\x1c\0\x2c\0\x01\0\0\0\0\0"
                                 "IPS\0\x10\0\0\0\x2d\0\x02\0\0\0\0\0abc"),
                           NtbContent::packets),
              Views{"bc"});
}

std::string changed(size_t at, const std::string &with)
{
    std::string block = two_frames;
    return block.replace(at, with.size(), with);
}

TEST(Ntb, TakesNothingFromWhatIsWrong)
{
    const struct {
        const char *what;
        std::string block;
        Views expected;
    } rows[] = {
        {"nothing", "", {}},
        {"a wrong mark", changed(0, "NCMX"), {}},
        {"32 bit blocks", changed(0, "ncmh"), {}},
        {"a wrong header length", changed(4, bytes("\x0d\0")), {}},
        {"longer than the transfer", changed(8, bytes("\x2d\0")), {}},
        {"shorter than its table", changed(8, bytes("\x2b\0")), {}},
        {"the table in the header", changed(10, bytes("\x08\0")), {}},
        {"the table behind the end", changed(10, bytes("\xfc\xff")), {}},
        {"the table at no multiple of four", changed(10, bytes("\x19\0")), {}},
        {"a table without entries", changed(28, bytes("\x08\0")), {}},
        {"a table that is too long", changed(28, bytes("\x18\0")), {}},
        {"a table that follows itself", changed(30, bytes("\x18\0")), {"hello", "ab"}},
        {"a table that goes back", changed(30, bytes("\x0c\0")), {"hello", "ab"}},
        {"a datagram in the header", changed(32, bytes("\x0b\0")), {}},
        {"a datagram behind the end", changed(36, bytes("\x2b\0")), {"hello"}},
        {"an early end", changed(36, bytes("\0\0")), {"hello"}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(datagrams_of(row.block, NtbContent::ethernet), row.expected) << row.what;
}

TEST(Ntb, ReadsBlocksThatAreCutOrChangedAnywhere)
{
    for (size_t size = 0; size < two_frames.size(); size++) {
        EXPECT_EQ(datagrams_of(std::string(two_frames, 0, size), NtbContent::ethernet), Views()) << size;
        for (const char byte : {'\0', '\1', '\x7f', '\xff'}) {
            const std::string block = changed(size, std::string(1, byte));
            for (const std::string_view datagram : datagrams_of(block, NtbContent::ethernet))
                EXPECT_TRUE(datagram.data() >= block.data() &&
                            datagram.data() + datagram.size() <= block.data() + block.size());
        }
    }
}

TEST(Ntb, TellsTheHostItsLimits)
{
    EXPECT_EQ(ntb_parameters(), bytes("\x1c\0\1\0\0\x40\0\0\4\0\0\0\4\0\0\0\0\x40\0\0\4\0\0\0\4\0\x20\0"));
}

} // namespace ntb_test
