#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "sms/latin9.h"
#include "sms/message.h"
#include "sms/parts.h"
#include "sms/spool.h"
#include "sms/ucs2.h"
#include "tests/unit/temporary_directory.h"

namespace sms_spool_test {

constexpr uid_t somebody = 65534;

struct LengthRow {
    const char *line;
    int32_t length; // 77: unchanged
};
const LengthRow length_rows[] = {
    {"Length: 5\n", 5},
    {"Length: 160", 160},
    {"Length: -1\n", -1},
    {"Length: 99999999\n", 99999999},
    {"Length: x\n", 77},
    {"Length: \n", 77},
    {"Modem Length: 5\n", 77},
    {"Length: 99999999999999\n", INT32_MAX},
    {"Length:5\n", 77},
    {"Length: x7\n", 77},
    {"Length:   7 characters\n", 7},
};

TEST(MessageLength, IsReadAtTheStartOfItsLineOnly)
{
    for (const auto &row : length_rows) {
        int32_t length = 77;
        parse_length(row.line, length);
        EXPECT_EQ(length, row.length) << row.line;
    }
}

TEST(NumberType, IsInternationalNationalOrUnknown)
{
    EXPECT_STREQ(parse_number_type("From_TOA: 91 international, ISDN/telephone\n"), "international");
    EXPECT_STREQ(parse_number_type("From_TOA: A1 national, ISDN/telephone\n"), "national");
    EXPECT_STREQ(parse_number_type("From_TOA: D0 alphanumeric, unknown\n"), "unknown");
    EXPECT_STREQ(parse_number_type("From_TOA: \n"), "unknown");
}

struct Ucs2Row {
    const char *what;
    std::string body;
    int characters;
    const char *expected;
};
const Ucs2Row ucs2_rows[] = {
    {"Latin", std::string{"\0H\0i", 4}, 2, "Hi"},
    {"Cyrillic", "\x04\x1f\x04\x40\x04\x38\x04\x32\x04\x35\x04\x42", 6, "Привет"},
    {"Chinese", "\x4f\x60\x59\x7d", 2, "你好"},
    {"an emoji is two units", std::string{"\xd8\x3d\xde\0", 4}, 2, "😀"},
    {"a lone surrogate ends it", std::string{"\0A\xd8\x3d\0B", 6}, 3, "A"},
    {"a zero ends it", std::string{"\0A\0\0\0B", 6}, 3, "A"},
    {"five characters are fifteen bytes", std::string{"\0a\0b\0c\0d\0e\0f\0g\0h", 16}, 5, "abcdefg"},
    {"half a character of zeros at the end", std::string{"\0A\0", 3}, 2, "A"},
    {"half a character, completed by a zero", "\x4f\x60\x59", 2, "你夀"},
    {"half a character where no more may be read", "\x4f\x60\x59", 1, "你"},
    {"half a pair, completed by a zero", "\xd8\x3d\xde", 2, "😀"},
    {"a byte order mark", std::string{"\xfe\xff\0H\0i", 6}, 3, "Hi"},
    {"a mark that says little-endian", std::string{"\xff\xfeH\0i\0", 6}, 3, "Hi"},
    {"little-endian pair", std::string{"\xff\xfe\x3d\xd8\0\xde", 6}, 3, "😀"},
    {"little-endian half a character", std::string{"\xff\xfeH\0i", 5}, 3, "Hi"},
    {"a mark and nothing", "\xff\xfe", 1, ""},
    {"half a mark", "\xfe", 1, "\uFE00"},
    {"a second mark is a character", "\xfe\xff\xfe\xff", 2, "\uFEFF"},
    {"a mark in the middle is a character", std::string{"\0A\xfe\xff\0B", 6}, 3, "A\uFEFFB"},
    {"a mark is among the bytes that may be read", std::string{"\xfe\xff\0H\0i", 6}, 1, ""},
    {"no characters", std::string{"\0A", 2}, 0, ""},
    {"a negative number of them", std::string{"\0A", 2}, -1, ""},
    {"more than there are", std::string{"\0A", 2}, 99999999, "A"},
    {"the largest number", std::string{"\0A", 2}, INT32_MAX, "A"},
    {"nothing", "", 5, ""},
};

TEST(Ucs2Body, IsBigEndianAndBoundedByItsLength)
{
    for (const auto &row : ucs2_rows)
        EXPECT_EQ(convert_ucs2(row.body, row.characters).view(), row.expected) << row.what;
}

TEST(Ucs2Body, IsCutAtItsBuffer)
{
    std::string body;
    for (int i = 0; i < 1024; i++)
        body += "\x4f\x60";
    const auto text = convert_ucs2(body, 1024);
    EXPECT_EQ(text.size(), 2046u); // 682 whole characters
}

TEST(Ucs2Body, IsReadToItsLastCharacter)
{
    std::string body;
    for (int i = 0; i < 1024; i++)
        body += std::string{"\0a", 2};
    EXPECT_EQ(convert_ucs2(body, 1024).size(), 1024u);
}

TEST(Latin9, BecomesUtf8LetterByLetter)
{
    Text<3 * 256> text;
    convert_latin9("Gr\xfc\xdf"
                   "e, 5 \xa4",
                   text);
    EXPECT_EQ(text.view(), "Grüße, 5 €");
    convert_latin9("\xa6\xa8\xb4\xb8\xbc\xbd\xbe\xa0\xa3\xff\x80", text);
    EXPECT_EQ(text.view(), "ŠšŽžŒœŸ\u00a0£ÿ\u0080");
    convert_latin9("", text);
    EXPECT_EQ(text.view(), "");
    Text<6> small;
    convert_latin9("\xa4\xe9x", small); // no half letter is left
    EXPECT_EQ(small.view(), "€é");
}

class Spool : public testing::Test {
  protected:
    std::string folder() const { return directory.path().string() + "/"; }
    std::string listed(const char *status = "unread") const
    {
        const Json array{json_object_new_array()};
        sms_list_folder(folder().c_str(), status, array.get());
        return json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    }
    void message(const char *name, const std::string &content) const { directory.file(name, content); }

    TemporaryDirectory directory;
};

TEST_F(Spool, ListsAMessageWithItsHeadersAsTheyStand)
{
    message("GMS99.a1",
            "From: 491701234567\nFrom_TOA: 91 international, ISDN/telephone\nFrom_SMSC: 491770610000\n"
            "Sent: 26-11-20 21:00:00\nReceived: 26-11-20 21:00:05\nSubject: GMS99\nModem: GMS99\nAlphabet: ISO\n"
            "Length: 5\n\nHello");
    EXPECT_EQ(listed(),
              R"([{"from":"491701234567\n","type":"international","time":"26-11-20 21:00:00\n","body":"Hello",)"
              R"("status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, ConvertsABodyInUcs2)
{
    message("GMS99.a1", std::string{"From: Bank\nFrom_TOA: D0 alphanumeric, unknown\nAlphabet: UCS2\nLength: 2\n\n"} +
                            "\x4f\x60\x59\x7d");
    EXPECT_EQ(listed("read"),
              R"([{"from":"Bank\n","type":"unknown","body":"你好","status":"read","name":"GMS99.a1"}])");
}

TEST_F(Spool, LeavesOutMembersWhoseHeaderIsMissing)
{
    message("GMS99.a1", "\nonly a body");
    EXPECT_EQ(listed(), R"([{"body":"only a body","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, GivesAnEmptyBodyWithoutTheEmptyLine)
{
    message("GMS99.a1", "From: 1\nnot a body");
    EXPECT_EQ(listed(), R"([{"from":"1\n","body":"","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, ReadsAtMost2048BytesOfABody)
{
    message("GMS99.a1", "\n" + std::string(10'000'000, 'x'));
    EXPECT_EQ(listed(), R"([{"body":")" + std::string(2048, 'x') + R"(","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, CutsALongHeader)
{
    message("GMS99.a1", "From: " + std::string(5'000'000, '1') + "\n\nbody");
    EXPECT_EQ(listed(),
              R"([{"from":")" + std::string(1017, '1') + R"(","body":"body","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, MakesBytesThatAreNoUtf8Readable)
{
    message("GMS99.a1", "From: \xff\n\nb\xe9");
    EXPECT_EQ(
        listed(),
        "[{\"from\":\"\xef\xbf\xbd\\n\",\"body\":\"b\xef\xbf\xbd\",\"status\":\"unread\",\"name\":\"GMS99.a1\"}]");
}

struct AlphabetRow {
    const char *what;
    const char *content;
    const char *body;
};
const AlphabetRow alphabet_rows[] = {
    {"ISO",
     "Alphabet: ISO\n\nGr\xfc\xdf"
     "e, 5 \xa4",
     "Grüße, 5 €"},
    {"ISO, by its full name", "Alphabet: ISO-8859-15\n\n\xe9", "é"},
    {"ISO that is UTF-8", "Alphabet: ISO\n\nGrüße", "Grüße"},
    {"UTF-8", "Alphabet: UTF-8\n\nGrüße", "Grüße"},
    {"the last line counts", "Alphabet: ISO\nAlphabet: UTF-8\n\nb\xe9", "b\uFFFD"},
    {"ISO in another header", "Alphabet: GSM\nSubject: ISO\n\nb\xe9", "b\uFFFD"},
    {"none", "\nb\xe9", "b\uFFFD"},
};

TEST_F(Spool, ShowsTheLettersOfABodyInIso)
{
    for (const AlphabetRow &row : alphabet_rows) {
        message("GMS99.a1", row.content);
        EXPECT_EQ(listed(), R"([{"body":")" + std::string(row.body) + R"(","status":"unread","name":"GMS99.a1"}])")
            << row.what;
    }
}

TEST_F(Spool, ShowsEveryLetterOfAFullBodyInIso)
{
    message("GMS99.a1", "Alphabet: ISO\n\n" + std::string(5000, '\xa4'));
    const std::string list = listed();
    EXPECT_EQ(std::ranges::count(list, '\xac'), 2048);
}

TEST_F(Spool, ListsOnlyTheFirstDevicesMessages)
{
    message("GMS98.a1", "\nother modem");
    message("readme", "\nnone");
    message("xGMS99.y", "\nanywhere in the name");
    EXPECT_EQ(listed(), R"([{"body":"anywhere in the name","status":"unread","name":"xGMS99.y"}])");
}

TEST_F(Spool, PassesOverWhatIsNoFile)
{
    std::filesystem::create_directory(directory.path() / "GMS99.folder");
    ASSERT_EQ(mkfifo(directory.entry("GMS99.pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", directory.path() / "GMS99.link");
    message("GMS99.a1", "\nhere");
    EXPECT_EQ(listed(), R"([{"body":"here","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, ListsTheOthersBesideWhatCannotBeRead)
{
    message("GMS99.closed", "\nsecret");
    ASSERT_EQ(chmod(directory.entry("GMS99.closed").c_str(), 0), 0);
    message("GMS99.a1", "\nhere");
    // Nothing is closed to root, who is somebody else for a moment.
    const bool is_root = geteuid() == 0;
    ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
    ASSERT_EQ(is_root ? seteuid(somebody) : 0, 0);
    const std::string list = listed();
    ASSERT_EQ(is_root ? seteuid(0) : 0, 0);
    EXPECT_EQ(list, R"([{"body":"here","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, PassesOverAPipeThatSomebodyWritesTo)
{
    const std::string pipe = directory.entry("GMS99.pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Fd writer{open(pipe.c_str(), O_RDWR | O_CLOEXEC)};
    ASSERT_EQ(write(writer.get(), "\nfrom a pipe", 12), 12);
    EXPECT_EQ(listed(), "[]");
}

TEST_F(Spool, PassesOverASocketAndADevice)
{
    std::filesystem::create_symlink("/dev/zero", directory.path() / "GMS99.zero");
    const Fd listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, directory.entry("GMS99.socket").c_str());
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    message("GMS99.a1", "\nhere");
    EXPECT_EQ(listed(), R"([{"body":"here","status":"unread","name":"GMS99.a1"}])");
}

TEST_F(Spool, PassesOverANameWhosePathIsLongerThan99Bytes)
{
    const size_t room = 99 - folder().size();
    const std::string fits = "GMS99." + std::string(room - 6, 'a');
    message(fits.c_str(), "\nfits");
    message((fits + "b").c_str(), "\ntoo long");
    message(("GMS99." + std::string(249, 'c')).c_str(), "\nlongest");
    EXPECT_EQ(listed(), R"([{"body":"fits","status":"unread","name":")" + fits + R"("}])");
    EXPECT_EQ(sms_count_folder(folder().c_str(), "1-1.2"), 3);
}

struct LengthFile {
    const char *what;
    const char *length;
    const char *body;
};
const LengthFile length_files[] = {
    {"negative", "Length: -1\n", ""},
    {"huge", "Length: 99999999\n", "你好"},
    {"beyond any number", "Length: 99999999999999999999\n", "你好"},
    {"nothing", "Length: \n", ""},
    {"missing", "", ""},
    {"right", "Length: 2\n", "你好"},
    {"of another alphabet's header", "UDH-Type: Length=6, [00]\nLength: 2\n", "你好"},
};

TEST_F(Spool, BoundsABodyWhateverItsLengthSays)
{
    for (const LengthFile &row : length_files) {
        message("GMS99.a1", std::string{"Alphabet: UCS2\n"} + row.length + "\n\x4f\x60\x59\x7d");
        EXPECT_EQ(listed(), R"([{"body":")" + std::string(row.body) + R"(","status":"unread","name":"GMS99.a1"}])")
            << row.what;
    }
}

TEST_F(Spool, ReadsAtMost2048BytesOfABodyInUcs2)
{
    std::string body;
    for (int i = 0; i < 5'000'000; i++)
        body += "\x04\x1f";
    message("GMS99.a1", "Alphabet: UCS2\nLength: 99999999\n\n" + body);
    const std::string list = listed();
    EXPECT_EQ(list.substr(0, 16), R"([{"body":"ППП)");
    EXPECT_EQ(std::ranges::count(list, '\xd0'), 1023); // two bytes each of the 2047 that there is room for
}

TEST_F(Spool, ListsBinaryRubbishOfEverySize)
{
    std::string rubbish;
    for (int i = 0; i < 5000; i++)
        rubbish += static_cast<char>(i * 7919 >> 3);
    constexpr char without_body[] = R"([{"body":"","status":"unread","name":"GMS99.a1"}])";
    for (size_t size = 0; size < rubbish.size(); size += 97) {
        message("GMS99.a1", rubbish.substr(0, size));
        EXPECT_EQ(listed(), without_body) << size;
    }
    message("GMS99.a1", std::string(100'000, '\0'));
    EXPECT_EQ(listed(), without_body);
}

TEST_F(Spool, IsNotListedWhereItIsMissing)
{
    const Json array{json_object_new_array()};
    EXPECT_FALSE(sms_list_folder("/nowhere/at/all/", "unread", array.get()));
    EXPECT_EQ(json_object_array_length(array.get()), 0u);
}

TEST_F(Spool, CountsTheMessagesOfABusWhateverTheyAre)
{
    for (const char *name : {"GMS99.a", "GMS99.b", "GMS98.c", "other"})
        message(name, "");
    std::filesystem::create_directory(directory.path() / "GMS99.folder");
    EXPECT_EQ(sms_count_folder(folder().c_str(), "1-1.2"), 3);
    EXPECT_EQ(sms_count_folder(folder().c_str(), "2-1.2"), 3);
    EXPECT_EQ(sms_count_folder(folder().c_str(), "1-1.3"), 1);
    EXPECT_EQ(sms_count_folder("/nowhere/at/all/", "1-1.2"), 0);
}

std::string times(int count, const char *text)
{
    std::string all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

// The page counts in the same way: tests/web/model_test.mjs has these rows, too.
TEST(SmsParts, AreThoseThatAnOperatorCounts)
{
    const struct {
        std::string text;
        int parts;
    } rows[] = {
        {"", 1},
        {"Hello", 1},
        {times(160, "x"), 1},
        {times(161, "x"), 2},
        {times(306, "x"), 2},
        {times(307, "x"), 3},
        {times(160, "ü"), 1},
        {times(80, "€"), 1},
        {times(81, "€"), 2},
        {times(152, "x") + "€" + times(10, "x"), 2},
        {times(152, "x") + "€" + times(152, "x"), 3}, // the two halves of an escaped character stay together
        {times(76, "Ω") + times(76, "^") + "Ω", 2},
        {times(70, "ç"), 1}, // only the large letter is in the GSM alphabet
        {times(71, "ç"), 2},
        {times(70, "`"), 1},
        {times(71, "`"), 2},
        {times(70, "Ж"), 1},
        {times(134, "Ж"), 2},
        {times(135, "Ж"), 3},
        {times(35, "😀"), 1},
        {times(36, "😀"), 2},
        {times(66, "x") + "😀" + times(66, "x"), 3},
        {"a\r\nb", 1},
        {times(100, "\xe2\x82"), 2}, // no UTF-8
        {std::string(2000, '\xff'), 30},
        {"x\xf0", 1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(count_sms_parts(row.text), row.parts) << row.text;
}

} // namespace sms_spool_test
