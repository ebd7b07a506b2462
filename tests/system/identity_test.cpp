#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Who the modem and its SIM are, what is kept of it in the state directory, and the SIM's and the signal's state.

namespace identity_test {

using Lines = std::vector<std::string>;

/// A script in which CALL calls an operation of the EC25 on 1-1.2.
RouterRun script(const Lines &options, const std::string &text)
{
    return run_shell(options, "CALL() { " + built_word("call_operation") + " 3 1-1.2 \"$@\"; }; " + text);
}

Lines ec25_with(const char *file, const std::string &content)
{
    return {"--modem", "EC25", "--put-text", std::string{"/tmp/modem.1-1.2/"} + file + "=" + content};
}

TEST(ModelName, IsAskedOnceAndKeptAsItCame)
{
    const RouterRun run =
        script({"--modem", "EC25"}, "CALL get_model; CALL get_model; cat /tmp/modem.1-1.2/modem-name; echo '|'");
    EXPECT_EQ(run.out, "0  EC25EFAR06A03M4G\r\n0  EC25EFAR06A03M4G\r\n EC25EFAR06A03M4G\r|\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "ATI\r\n");
}

TEST(Imei, IsAskedOnceAndKept)
{
    const RouterRun run =
        script({"--modem", "EC25"}, "CALL get_imei; CALL get_imei; wc -c </tmp/modem.1-1.2/modem-imei");
    const auto lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], lines[1]);
    EXPECT_EQ(lines[0].size(), 17u);
    EXPECT_EQ(lines[2], "15");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+GSN\r\n");
}

TEST(Imei, ThrowsAFileAwayThatIsNotFifteenDigits)
{
    for (const char *content : {"862708041234567", "86270804123456x", "", "8627080412345678901"}) {
        const RouterRun run = script(ec25_with("modem-imei", content), "CALL get_imei; ls /tmp/modem.1-1.2");
        EXPECT_EQ(run.out, "-1 \n") << content; // the file ends with a newline
        EXPECT_EQ(run.sent_to("ttyUSB2"), "") << content;
    }
}

TEST(Imei, IsAskedForAfterABrokenFile)
{
    const RouterRun run = script(ec25_with("modem-imei", "broken"), "CALL get_imei; CALL get_imei | cut -c 1-3");
    EXPECT_EQ(run.out, "-1 \n0 8\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+GSN\r\n");
}

TEST(Imsi, ComesFromTheCacheWhereThatHoldsSixBytes)
{
    const auto imsi_with = [](const char *cache) { return script(ec25_with("cimi", cache), "CALL get_imsi"); };
    EXPECT_EQ(imsi_with("262019999999999").out, "0 262019999999999\n");
    EXPECT_EQ(imsi_with("262019999999999").sent_to("ttyUSB2"), "");
    EXPECT_EQ(imsi_with("26201").sent_to("ttyUSB2"), "") << "six with the line end";
    EXPECT_EQ(imsi_with("2620").sent_to("ttyUSB2"), "AT+CIMI\r\n");
}

TEST(Imsi, ThatIsTooShortIsShownAllTheSame)
{
    EXPECT_EQ(script({"--modem", "EC25,imsi=26201123456789"}, "CALL get_imsi").out, "-1 26201123456789\n");
}

TEST(Imei, ThatIsTooShortIsShownButNotKept)
{
    EXPECT_EQ(
        script({"--modem", "EC25,imei=8627080"}, "CALL get_imei; cat /tmp/modem.1-1.2/modem-imei 2>/dev/null; true")
            .out,
        "-1 8627080\n");
}

TEST(SimState, HasATextForEveryResult)
{
    const struct {
        const char *modem;
        const char *state;
    } rows[] = {
        {"EC25", "0 READY\n"},
        {"EC25,pin=SIM PIN", "-2 NEED PIN\n"},
        {"EC25,pin=SIM PUK", "-4 NEED PUK\n"},
        {"EC25,pin=NOSIM", "-1 ERROR\n"},
        {"EC25,pin=FAILURE", "-1 ERROR\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(script({"--modem", row.modem}, "CALL get_sim_status").out, row.state) << row.modem;
    EXPECT_EQ(script({}, "CALL get_sim_status").out, "0 \n") << "a modem that cannot be reached is no SIM problem";
}

TEST(Bars, AreCountedFromTheSignalStrength)
{
    const std::pair<const char *, const char *> rows[] = {
        {"0", "1 0\n"}, {"1", "1 0\n"}, {"14", "1 2\n"}, {"31", "1 4\n"}, {"99", "1 0\n"}};
    for (const auto &[strength, expected] : rows)
        EXPECT_EQ(script({"--modem", std::string{"EC25,csq_LTE="} + strength}, "CALL get_csq").out, expected)
            << strength;
}

TEST(CurrentScanMode, IsAnErrorWhereTheModemRefuses)
{
    EXPECT_EQ(call_operation({"--modem", "BG95"}, {"7", "1-1.2", "get_scan_mode"}).out, "0 AUTO\n");
    EXPECT_EQ(call_operation({"--modem", "SIMCOM7600"}, {"7", "1-1.2", "get_scan_mode"}).out, "-1 ERROR\n")
        << "a modem that does not know the command";
}

} // namespace identity_test
