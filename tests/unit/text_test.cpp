#include "platform/text.h"

#include <gtest/gtest.h>
#include <string>

namespace text_test {

using namespace std::string_view_literals;

template <size_t N> std::string all_bytes(Text<N> &text)
{
    return {text.data(), N};
}

TEST(Text, IsAllZeroAtFirst)
{
    Text<4> text;
    EXPECT_EQ(all_bytes(text), "\0\0\0\0"sv);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.size(), 0U);
}

TEST(Text, KeepsTheLastByteZeroAndTellsWhatWasCut)
{
    const struct {
        std::string_view given;
        bool whole;
        std::string_view bytes;
    } rows[] = {
        {"", true, "\0\0\0\0"sv},
        {"ab", true, "ab\0\0"sv},
        {"abc", true, "abc\0"sv},
        {"abcd", false, "abc\0"sv},
        {"abcdefgh", false, "abc\0"sv},
        {{}, true, "\0\0\0\0"sv},
        {"\xFF\x80", true, "\xFF\x80\0\0"sv},
    };
    for (const auto &row : rows) {
        Text<4> text = "xyz";
        EXPECT_EQ(text.assign(row.given), row.whole) << row.given;
        EXPECT_EQ(all_bytes(text), row.bytes) << row.given;
    }
}

TEST(Text, OfOneByteHoldsNothing)
{
    Text<1> text = "abc";
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(text.assign("a"));
    EXPECT_FALSE(text.append("a"));
    EXPECT_TRUE(text.append(""));
    EXPECT_EQ(Text<1>::format("%d", 7), "");
}

TEST(Text, IsCutAtCapacityWhateverItIsMadeFrom)
{
    EXPECT_EQ(Text<4>("abcdef"), "abc");
    EXPECT_EQ(Text<4>("abcdef"sv), "abc");
    EXPECT_EQ(Text<4>::format("%s-%d", "ab", 7), "ab-");
}

TEST(Text, ClearsTheRestWhenAShorterTextComes)
{
    Text<8> text = "abcdefg";
    text.assign("x");
    EXPECT_EQ(all_bytes(text), "x\0\0\0\0\0\0\0"sv);
    text.assign("abcdefg");
    EXPECT_TRUE(text.out().assign_format("%d", 5));
    EXPECT_EQ(all_bytes(text), "5\0\0\0\0\0\0\0"sv);
    text.clear();
    EXPECT_EQ(all_bytes(text), "\0\0\0\0\0\0\0\0"sv);
}

TEST(Text, TakesAPartOfItself)
{
    Text<8> text = "abcdefg";
    EXPECT_TRUE(text.assign(without_first(text.view(), 3)));
    EXPECT_EQ(text, "defg");
    EXPECT_FALSE(text.append(text.view()));
    EXPECT_EQ(text, "defgdef");
}

TEST(Text, AppendsUpToItsCapacity)
{
    Text<6> text = "ab";
    EXPECT_TRUE(text.append("c"));
    EXPECT_TRUE(text.append("de"));
    EXPECT_EQ(text, "abcde");
    EXPECT_FALSE(text.append("f"));
    EXPECT_TRUE(text.append(""));
    EXPECT_EQ(all_bytes(text), "abcde\0"sv);
}

TEST(Text, EndsAtItsFirstZeroByte)
{
    Text<8> text;
    text.assign("ab\0cd"sv);
    EXPECT_EQ(text, "ab");
    EXPECT_TRUE(text.append("x"));
    EXPECT_EQ(text, "abx");
    EXPECT_TRUE(text.append("yz"));
    EXPECT_EQ(text, "abxyz");
}

TEST(Text, CopiesLikeAValue)
{
    Text<8> first = "one";
    Text<8> second = first;
    first.assign("two");
    EXPECT_EQ(second, "one");
    second = first;
    EXPECT_EQ(second, "two");
}

TEST(TextFormat, TellsWhatWasCut)
{
    Text<6> text;
    EXPECT_TRUE(text.out().assign_format("%s", "abcde"));
    EXPECT_FALSE(text.out().assign_format("%s", "abcdef"));
    EXPECT_EQ(text, "abcde");
    EXPECT_TRUE(text.out().assign_format("%.0s", "none"));
    EXPECT_EQ(text, "");
}

TEST(TextOut, OfNoBytesTakesNothing)
{
    char untouched = 'u';
    const TextOut nothing{&untouched, 0};
    nothing.clear();
    EXPECT_FALSE(nothing.assign("a"));
    EXPECT_TRUE(nothing.assign(""));
    EXPECT_FALSE(nothing.append("a"));
    EXPECT_FALSE(nothing.assign_format("%s", "a"));
    EXPECT_TRUE(nothing.empty());
    EXPECT_EQ(untouched, 'u');
}

TEST(TextOut, ReadsBytesWithoutATerminatingZeroAsFarAsTheyGo)
{
    char full[3] = {'a', 'b', 'c'};
    const TextOut out{full, sizeof full};
    EXPECT_EQ(out.view(), "abc");
    EXPECT_FALSE(out.append("d"));
    EXPECT_EQ(out.view(), "abc");
}

TEST(TextViews, AreBoundedByTheText)
{
    const struct {
        std::string_view text;
        size_t count;
        std::string_view first;
        std::string_view rest;
    } rows[] = {
        {"abc", 0, "", "abc"}, {"abc", 2, "ab", "c"}, {"abc", 3, "abc", ""},
        {"abc", 4, "abc", ""}, {"", 0, "", ""},       {"abc", std::string_view::npos, "abc", ""},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(first_characters(row.text, row.count), row.first) << row.text << ' ' << row.count;
        EXPECT_EQ(without_first(row.text, row.count), row.rest) << row.text << ' ' << row.count;
    }
}

TEST(StartsWithDigits, WantsThatManyDecimalDigitsInFront)
{
    EXPECT_TRUE(starts_with_digits("46001x", 5));
    EXPECT_TRUE(starts_with_digits("46001", 5));
    EXPECT_TRUE(starts_with_digits("", 0));
    EXPECT_FALSE(starts_with_digits("4600", 5));
    EXPECT_FALSE(starts_with_digits("4600x1", 5));
    EXPECT_FALSE(starts_with_digits("+46001", 5));
    EXPECT_FALSE(starts_with_digits("4600\xB2", 5));
    EXPECT_FALSE(starts_with_digits("", 1));
}

} // namespace text_test
