#include <string>

#include <gtest/gtest.h>

#include "modem_under_test.h"
#include "simulator/modem/short_message.h"
#include "tests/paths.h"

namespace modem_messages_test {

using namespace simulator;
using namespace std::string_literals;

constexpr char profiles[] = SOURCE_ROOT "/simulator/profiles";

// +441632960001 says "hellohello", Bank says "Да".
constexpr char hello_pdu[] = "0791447700090000040C914461236900100000621013214365400AE8329BFD4697D9EC37";
constexpr char yes_pdu[] = "07914477000900000407D0C2B07B0D0008621013214365400404140430";

ModemUnderTest modem_with(std::vector<Happening> happenings, const std::string &size = "23")
{
    ModemOptions options;
    options.variables = {{"echo", "0"}, {"sms_size", size}};
    options.happenings = std::move(happenings);
    return ModemUnderTest(load_profile(profiles, "EC25"), options);
}

Happening hello(Milliseconds after = 0)
{
    return {after, message_happenings({.from = "+441632960001", .text = "hellohello"})[0]};
}

Happening yes(Milliseconds after = 0)
{
    return {after, message_happenings({.from = "Bank", .text = "Да"})[0]};
}

// The test begins when the modem has said what it says after being switched on.
ModemUnderTest settled(std::vector<Happening> happenings, const std::string &size = "23")
{
    ModemUnderTest test = modem_with(std::move(happenings), size);
    test.listen(60'000);
    return test;
}

TEST(ModemMessages, AreListedAsPdusAndReadByThat)
{
    ModemUnderTest test = settled({hello(), yes()});
    test.say("AT+CMGF=0\r");
    EXPECT_EQ(test.say("AT+CMGL=1\r"), "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL\r"),
              "\r\n+CMGL: 1,0,,28\r\n"s + hello_pdu + "\r\n+CMGL: 2,0,,21\r\n" + yes_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=0\r"), "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=4\r"),
              "\r\n+CMGL: 1,1,,28\r\n"s + hello_pdu + "\r\n+CMGL: 2,1,,21\r\n" + yes_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=1\r"),
              "\r\n+CMGL: 1,1,,28\r\n"s + hello_pdu + "\r\n+CMGL: 2,1,,21\r\n" + yes_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=5\r"), "\r\nERROR\r\n");
}

TEST(ModemMessages, AreListedAsTexts)
{
    ModemUnderTest test = settled({hello(), yes()});
    test.say("AT+CMGF=1\r");
    EXPECT_EQ(test.say("AT+CMGL=\"REC READ\"\r"), "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=\"ALL\"\r"),
              "\r\n+CMGL: 1,\"REC UNREAD\",\"+441632960001\",,\"26/01/31,12:34:56+04\"\r\n"
              "hellohello\r\n"
              "+CMGL: 2,\"REC UNREAD\",\"Bank\",,\"26/01/31,12:34:56+04\"\r\n"
              "04140430\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=\"REC UNREAD\"\r"), "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGR=2\r"),
              "\r\n+CMGR: \"REC READ\",\"Bank\",,\"26/01/31,12:34:56+04\"\r\n04140430\r\n\r\nOK\r\n");
}

TEST(ModemMessages, AreReadOneByOne)
{
    ModemUnderTest test = settled({hello(), yes()});
    test.say("AT+CMGF=0\r");
    EXPECT_EQ(test.say("AT+CMGR=2\r"), "\r\n+CMGR: 0,,21\r\n"s + yes_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGR=2\r"), "\r\n+CMGR: 1,,21\r\n"s + yes_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGR=3\r"), "\r\n+CMS ERROR: 321\r\n");
    EXPECT_EQ(test.say("AT+CMGR=x\r"), "\r\n+CMS ERROR: 321\r\n");
    EXPECT_EQ(test.say("AT+CMGL=0\r"), "\r\n+CMGL: 1,0,,28\r\n"s + hello_pdu + "\r\n\r\nOK\r\n");
}

TEST(ModemMessages, AreDeletedOneByOneOrByState)
{
    ModemUnderTest test = settled({hello(), yes(), hello()});
    EXPECT_EQ(test.say("AT+CMGD=1\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGD=1\r"), "\r\n+CMS ERROR: 321\r\n");
    EXPECT_EQ(test.say("AT+CPMS?\r"), "\r\n+CPMS: \"SM\",2,23,\"SM\",2,23,\"SM\",2,23\r\n\r\nOK\r\n");
    test.say("AT+CMGF=0;+CMGR=2\r");
    EXPECT_EQ(test.say("AT+CMGD=1,1\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CPMS=\"ME\",\"ME\",\"ME\"\r"), "\r\n+CPMS: 1,23,1,23,1,23\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGL=4\r"), "\r\n+CMGL: 3,0,,28\r\n"s + hello_pdu + "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGD=1,4;+CMGL=4\r"), "\r\n\r\nOK\r\n");
}

TEST(ModemMessages, AreAnnouncedAsTheSettingsSay)
{
    ModemUnderTest test = settled({hello(100'000), yes(200'000), yes(310'000)});
    EXPECT_EQ(test.listen(60'000), "\r\n+CMTI: \"SM\",1\r\n");
    EXPECT_EQ(test.say("AT+CNMI=2,0,0,0,0\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.listen(60'000), "");
    EXPECT_EQ(test.say("AT+CNMI=2,1;+CPMS=\"ME\"\r"), "\r\n+CPMS: 2,23,2,23,2,23\r\n\r\nOK\r\n");
    EXPECT_EQ(test.listen(60'000), "\r\n+CMTI: \"ME\",3\r\n");
}

TEST(ModemMessages, WaitInTheNetworkWhileTheMemoryIsFull)
{
    ModemUnderTest test = settled({hello(), hello(), yes()}, "2");
    test.say("AT+CMGF=0\r");
    EXPECT_EQ(test.say("AT+CPMS?\r"), "\r\n+CPMS: \"SM\",2,2,\"SM\",2,2,\"SM\",2,2\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGD=1\r", 2000), "\r\nOK\r\n\r\n+CMTI: \"SM\",1\r\n");
    EXPECT_EQ(test.say("AT+CMGR=1\r"), "\r\n+CMGR: 0,,21\r\n"s + yes_pdu + "\r\n\r\nOK\r\n");
}

TEST(ModemMessages, SurviveARestartAndComeAfterIt)
{
    ModemUnderTest test = settled({hello(), yes(63'000)});
    test.say("AT+CFUN=1,1\r", 10'000);
    test.listen(300'000);
    ASSERT_TRUE(test.modem.attached());
    EXPECT_EQ(test.say("AT+CMGF=0;+CMGL=4\r"),
              "\r\n+CMGL: 1,0,,28\r\n"s + hello_pdu + "\r\n+CMGL: 2,0,,21\r\n" + yes_pdu + "\r\n\r\nOK\r\n");
}

TEST(ModemMessages, AreSentBehindAPrompt)
{
    ModemUnderTest test = settled({});
    test.say("AT+CMGF=0\r");
    EXPECT_EQ(test.say("AT+CMGS=14\r"), "\r\n> ");
    EXPECT_EQ(test.say("0001000C91446123690010\r0000"), "");
    EXPECT_EQ(test.say("02C834\x1a"), "\r\n+CMGS: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(test.modem.variable("sms_sent"), "0001000C91446123690010\r000002C834");
    EXPECT_EQ(test.say("AT+CMGS=14\r00\x1b"
                       "AT\r"),
              "\r\n> \r\nOK\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CMGS=6\r"), "\r\n+CMS ERROR: 304\r\n");
    test.say("AT+CMGF=1\r");
    EXPECT_EQ(test.say("AT+CMGS=\"+441632960001\"\rOn my way\x1a"), "\r\n> \r\n+CMGS: 2\r\n\r\nOK\r\n");
    EXPECT_EQ(test.modem.variable("sms_sent"), "On my way");
}

TEST(ModemMessages, HaveSettings)
{
    ModemUnderTest test = settled({});
    EXPECT_EQ(test.say("AT+CSMS?\r"), "\r\n+CSMS: 0,1,1,1\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CSMS=1\r"), "\r\n+CSMS: 1,1,1\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CSMS?\r"), "\r\n+CSMS: 1,1,1,1\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CSCA?\r"), "\r\n+CSCA: \"+447700900000\",145\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CSCA=\"+447700900001\",145;+CSCA?\r"), "\r\n+CSCA: \"+447700900001\",145\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+CNMI=1,0,0,0,0;+CNMI?\r"), "\r\n+CNMI: 1,0,0,0,0\r\n\r\nOK\r\n");
}

} // namespace modem_messages_test
