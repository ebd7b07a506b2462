#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/cli/commands.h"
#include "core/cli/front_end.h"
#include "platform/debug.h"
#include "platform/tell_person.h"
#include "tests/paths.h"

namespace command_line_test {

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
    for (const char *word : {"AT", "signal", "cells", "carrier", "sim-status", "check_register", "get_mode", "modems",
                             "help", "--help", "-h", "--version"})
        EXPECT_NE(find_command(word), nullptr) << word;
    for (const char *word : {"at", "signals", "sim_status", "", "Signal", " signal", "-help", "--h", "version"})
        EXPECT_EQ(find_command(word), nullptr) << word;
}

TEST(Help, HasALineOfItsOwnForEveryCommand)
{
    ModemDriver none{};
    const auto output_of = [&](const char *word) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(run_command(find_command(word), {.rec = none, .bus = "1-1.2", .arguments = {}}), 0) << word;
        return testing::internal::GetCapturedStdout();
    };
    const std::string list = output_of("help");
    EXPECT_EQ(output_of("--help"), list);
    EXPECT_EQ(output_of("-h"), list);
    for (const char *line : {"\n  connect                {serial|qmi} DEVICE SERVICE [APN]: go online\n",
                             "\n  AT                     [DEVICE] COMMAND: print the modem's reply\n",
                             "\n  sim-status             is the SIM usable, the modem registered?\n",
                             "\n  wifi_lte_interference  move Wi-Fi away from the LTE band in use\n",
                             "\n  --version              version of this program\n"})
        EXPECT_NE(list.find(line), std::string::npos) << line << list;
}

// "  word  what it does"
std::vector<std::string> help_lines()
{
    ModemDriver none{};
    testing::internal::CaptureStdout();
    run_command(find_command("help"), {.rec = none, .bus = "1-1.2", .arguments = {}});
    std::istringstream text{testing::internal::GetCapturedStdout()};
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        if (line.starts_with("  ")) {
            lines.push_back(line);
        }
    return lines;
}

TEST(Commands, AreInTheManualPage)
{
    std::ifstream file{SOURCE_ROOT "/packaging/modemctl.1"};
    std::string page{std::istreambuf_iterator<char>{file}, {}};
    std::erase(page, '\\');
    const std::vector<std::string> lines = help_lines();
    ASSERT_GE(lines.size(), 19u);
    for (const std::string &line : lines) {
        const std::string word = line.substr(2, line.find(' ', 2) - 2);
        const bool is_there = std::ranges::any_of(std::array{".B ", ".BR ", ".BI "}, [&](const char *macro) {
            const std::string entry = "\n.TP\n" + (macro + word);
            return page.find(entry + " ") != std::string::npos || page.find(entry + "\n") != std::string::npos;
        });
        EXPECT_TRUE(is_there) << "Add to packaging/modemctl.1, below \".SH COMMANDS\": .TP, then .B " << word
                              << ", then what the command prints.";
    }
}

// The columns have room for so much; what is longer was cut.
TEST(Commands, HaveAHelpTextThatFits)
{
    const size_t longest_line = 2 + 21 + 2 + Text<46>::capacity() - 2;
    for (const std::string &line : help_lines())
        EXPECT_LE(line.size(), longest_line)
            << "The help text of this command in core/cli/commands.cpp fills its column; make it shorter: " << line;
}

struct SlotRow {
    const char *word;
    void (*empty)(ModemOps &operations);
};
const SlotRow slot_rows[] = {
    {"cells", [](ModemOps &operations) { operations.get_cells = nullptr; }},
    {"check_register", [](ModemOps &operations) { operations.check_register = nullptr; }},
    {"get_mode", [](ModemOps &operations) { operations.get_mode = nullptr; }},
    {"iccid", [](ModemOps &operations) { operations.get_iccid = nullptr; }},
    {"thermal", [](ModemOps &operations) { operations.set_thermal = nullptr; }},
};

TEST(Commands, OfAnOperationAreNotSupportedWhereThatOneIsMissing)
{
    ModemOps all;
    memset(static_cast<void *>(&all), 1, sizeof all); // never called
    for (const auto &row : slot_rows) {
        ModemDriver rec{};
        rec.ops = all;
        row.empty(rec.ops);
        testing::internal::CaptureStdout();
        EXPECT_EQ(run_command(find_command(row.word), {.rec = rec, .bus = "1-1.2", .arguments = {}}), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Not support\n") << row.word;
    }
}

TEST(TellPerson, PrintsNothingWhereStandardErrorIsNoTerminal)
{
    testing::internal::CaptureStderr();
    tell_person("%s", "hidden");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
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

} // namespace command_line_test
