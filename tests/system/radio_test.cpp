#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// Bands and modes: read, set, brought back, and undone when the modem loses its network.

namespace radio_test {

using Lines = std::vector<std::string>;

RouterRun run_radio(const std::string &modem, const std::string &script)
{
    return run_shell({"--modem", modem, "--put", SOURCE_ROOT "/packaging/data/models:/usr/share/modemctl/models"},
                     script);
}

struct RadioRow {
    const char *modem;
    const char *script;
    const char *out;
};
constexpr char lte_only[] = " | grep '^4G in use' | cut -c25-";
const RadioRow radio_rows[] = {
    {"RM520N", "modemctl bands --keep --set B3,b20,n78 | cut -c25-; modemctl bands --restore | cut -c25-",
     "B3 B20\nn78\nn78\nB1 B3 B7 B20 B28 B38 B40 B41\nn1 n3 n28 n41 n78\nn1 n3 n41 n78\n"
     "B1 B3 B7 B20 B28 B38 B40 B41\nn1 n3 n28 n41 n78\nn1 n3 n41 n78\n"
     "B1 B3 B7 B20 B28 B38 B40 B41\nn1 n3 n28 n41 n78\nn1 n3 n41 n78\n"},
    {"RM520N", "modemctl mode; modemctl mode --keep 4g+5g; modemctl mode --restore", "auto\n4g+5g\nauto\n"},
    {"FM350", "modemctl mode --keep 5g; modemctl mode --restore --json",
     "5g\n{\"schema\":1,\"bus\":\"1-1.2\",\"mode\":\"auto\"}\n"},
    {"SIM8200", "modemctl mode --keep 5g; modemctl bands --keep --set n78 | tail -n 2 | cut -c25-", "5g\nn78\nn78\n"},
    {"EM9190", "modemctl mode --keep 4g+5g; modemctl mode --restore", "4g+5g\nauto\n"},
    {"ME3630", "modemctl mode --keep 4g; modemctl mode --restore", "4g\nauto\n"},
    {"EC25", "modemctl mode --keep 4g; modemctl mode --restore", "4g\nauto\n"},
    // What cannot be: no command for it, no such band or mode, nothing kept, wrong words.
    {"EM9190", "modemctl bands; echo $?; modemctl mode 2g; echo $?", "4\n4\n"},
    {"RM520N", "modemctl bands --set B3,B71; echo $?; modemctl bands --set n1,n79; echo $?; modemctl mode 2g; echo $?",
     "4\n4\n4\n"},
    {"EC25", "modemctl bands --set n78; echo $?; modemctl bands --restore; echo $?; modemctl mode --restore; echo $?",
     "4\n4\n4\n"},
    {"EC25",
     "for words in 'bands B3' 'bands --set' 'bands --set 3' 'bands --set B3 --restore' 'mode 6g' 'mode 4g 5g' 'mode "
     "--set "
     "4g' 'bands --wait 0' 'bands --wait x' 'bands --set B3 --set B7'; do modemctl $words; echo -n \"$? \"; done",
     "64 64 64 64 64 64 64 64 64 64 "},
    {"EC25", "modemctl 2-1.2 bands --json; echo $?", "{\"schema\":1,\"bus\":\"2-1.2\"}\n1\n"},
};

TEST(Radio, IsReadSetAndBroughtBack)
{
    for (const auto &row : radio_rows)
        EXPECT_EQ(run_radio(row.modem, row.script).out, row.out) << row.modem << " " << row.script;
}

TEST(Radio, IsBroughtBackFromABandLock)
{
    for (const char *modem : {"RM520N", "FM160", "FM350", "SIM8200", "MC7430", "SIMCOM7600", "EC25", "BG95"}) {
        const RouterRun run =
            run_radio(modem, std::string{"modemctl bands >/tmp/before; modemctl bands --keep --set B3,B20"} + lte_only +
                                 "; modemctl bands --restore | cmp - /tmp/before && "
                                 "modemctl bands --keep --set auto >/dev/null; echo $?");
        EXPECT_EQ(run.out, "B3 B20\n0\n") << modem << run.err;
    }
}

TEST(Radio, WritesNothingThatTheModemDoesNotHave)
{
    const RouterRun run = run_radio("RM520N", "modemctl bands --set B3,B71; modemctl mode 2g");
    EXPECT_EQ(run.sent_to("ttyUSB2").find("\",3"), std::string::npos) << run.sent_to("ttyUSB2");
    EXPECT_EQ(run.sent_to("ttyUSB2").find("mode_pref\","), std::string::npos) << run.sent_to("ttyUSB2");
}

TEST(Radio, StaysSetWhenTheModemFindsANetwork)
{
    const RouterRun run = run_radio("RM520N", std::string{"modemctl bands --set B3,B20"} + lte_only);
    EXPECT_EQ(run.out, "B3 B20\n");
}

// Nobody serves B28 alone in this router, nor WCDMA.
TEST(Radio, IsUndoneWithoutANetwork)
{
    const RouterRun run =
        run_radio("RM520N", std::string{"modemctl bands --set B28 --wait 3 --json; echo $?; "
                                        "modemctl mode 3g --wait 2; echo $?; modemctl mode; modemctl bands"} +
                                lte_only + "; modemctl bands --restore; echo $?");
    EXPECT_EQ(run.out,
              "{\"schema\":1,\"bus\":\"1-1.2\",\"error\":\"no network within 3 s, so the change is undone\"}\n4\n"
              "4\nauto\nB1 B3 B7 B20 B28 B38 B40 B41\n4\n");
}

TEST(Radio, IsUndoneByASignal)
{
    const RouterRun run =
        run_radio("RM520N", std::string{"modemctl bands --set B28 & sleep 2; kill -TERM $!; wait $!; echo $?; "
                                        "modemctl bands"} +
                                lte_only);
    EXPECT_EQ(run.out, "143\nB1 B3 B7 B20 B28 B38 B40 B41\n");
}

// The commands that are kept are one modem's.
TEST(Radio, IsNotBroughtBackFromAnotherModem)
{
    const RouterRun run = run_radio("EC25", "modemctl bands --keep --set B3 >/dev/null; sed -i 1s/2c7c/1199/ "
                                            "/tmp/modem.1-1.2/bands-before; modemctl bands --restore; echo $?");
    EXPECT_EQ(run.out, "4\n");
}

} // namespace radio_test
