#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/cli/commands.h"
#include "core/cli/front_end.h"
#include "platform/debug.h"

namespace {

struct LineRow {
    std::vector<std::string> words;
    bool debug;
    const char *bus;
    const char *command; // null: the usage is due
    std::vector<std::string> arguments;
};
const LineRow line_rows[] = {
    {{}, false, "1-1.2", nullptr, {}},
    {{"-D"}, true, "1-1.2", nullptr, {}},
    {{"-D", "-B"}, true, "1-1.2", nullptr, {}},
    {{"1-1.3"}, false, "1-1.3", nullptr, {}},
    {{"signal"}, false, "1-1.2", "signal", {}},
    {{"-D", "signal"}, true, "1-1.2", "signal", {}},
    {{"-B", "signal"}, false, "1-1.2", "signal", {}},
    {{"1-1.3", "signal"}, false, "1-1.3", "signal", {}},
    {{"-B", "1-1.3", "signal"}, false, "1-1.3", "signal", {}},
    {{"-D", "-B", "2-1.2", "AT", "ATI"}, true, "2-1.2", "AT", {"ATI"}},
    {{"-B", "usb1", "signal"}, false, "1-1.2", "usb1", {"signal"}},
    {{"-B", "-D", "signal"}, false, "1-1.2", "-D", {"signal"}},
    {{"1-1.2", "-D", "signal"}, false, "1-1.2", "-D", {"signal"}},
    {{"xx1-1yy", "signal"}, false, "xx1-1yy", "signal", {}},
    {{"-d", "signal"}, false, "1-1.2", "-d", {"signal"}},
    {{"AT", "/dev/ttyUSB2", "AT+CSQ"}, false, "1-1.2", "AT", {"/dev/ttyUSB2", "AT+CSQ"}},
    {{"", "signal"}, false, "1-1.2", "", {"signal"}},
};

TEST(CommandLine, IsDebugSwitchThenBusThenCommand)
{
    for (const auto &row : line_rows) {
        std::vector<std::string> words = row.words;
        std::vector<char *> pointers;
        for (auto &word : words)
            pointers.push_back(word.data());
        const CommandLine line = parse_command_line(pointers);
        const std::string what = testing::PrintToString(row.words);
        EXPECT_EQ(line.debug, row.debug) << what;
        EXPECT_STREQ(line.bus, row.bus) << what;
        EXPECT_STREQ(line.command, row.command) << what;
        EXPECT_EQ((std::vector<std::string>{line.arguments.begin(), line.arguments.end()}), row.arguments) << what;
    }
}

TEST(Commands, AreComparedExactly)
{
    for (const char *word : {"AT", "signal", "cells", "carrier", "sim-status", "check_register", "get_mode"})
        EXPECT_NE(find_command(word), nullptr) << word;
    for (const char *word : {"at", "signals", "sim_status", "", "Signal", " signal"})
        EXPECT_EQ(find_command(word), nullptr) << word;
}

TEST(DebugPrint, PrintsOnlyWhenDebugging)
{
    testing::internal::CaptureStdout();
    debug_print("%s %d\n", "hidden", 1);
    set_debug(true);
    debug_print("%s %d\n", "seen", 2);
    debug_print("%s", std::string(2000, 'x').c_str());
    set_debug(false);
    debug_print("hidden again\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "seen 2\n" + std::string(1023, 'x'));
}

} // namespace
