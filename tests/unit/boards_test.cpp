#include "platform/boards.h"

#include "connection/shell_lines.h"
#include "tests/paths.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace boards_test {

struct PowerRow {
    const char *board;
    const char *command;
};
const PowerRow power_rows[] = {
    {"marten", "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"otter", "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"badger", "echo 1 > /sys/class/gpio/gpio0/value;sleep 1;echo 0 > /sys/class/gpio/gpio0/value"},
    {"falcon", "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"kestrel", "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"osprey", "echo 0 > /sys/class/gpio/pci_power/value;sleep 1;echo 1 > /sys/class/gpio/pci_power/value"},
    {"magpie", "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"bison", "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"egret", "echo 1 > /sys/class/gpio/gpio1/value;sleep 1;echo 0 > /sys/class/gpio/gpio1/value"},
};

TEST(Board, HasACommandForAPowerLineOfItsOwn)
{
    for (const auto &row : power_rows) {
        const Board &board = find_board(row.board);
        EXPECT_EQ(compose_power_line_pulse(board.power_line.c_str(), board.is_pulse_high).view(), row.command)
            << row.board;
    }
}

TEST(Board, WithoutAPowerLineHasAControlFile)
{
    for (const char *board : {"condor", "wren", "", "marten2", "MARTEN", "mar", "puffin"})
        EXPECT_TRUE(find_board(board).power_line.empty()) << board;
}

TEST(Board, PulsesItsControlFileHighFromARowOnly)
{
    for (const char *board : {"wren", "ibis", "stoat", "vole"})
        EXPECT_TRUE(find_board(board).is_pulse_high) << board;
    for (const char *board : {"puffin", "", "gecko", "wren2"})
        EXPECT_FALSE(find_board(board).is_pulse_high) << board;
}

struct PlaceRow {
    const char *bus;
    int power_gpio;
    bool is_pulse_high;
    const char *metric;
};
const PlaceRow place_rows[] = {
    {"1-1.2", 5, true, "40"}, {"2-1.2", 15, true, "60"},  {"1-1.4", 7, false, "70"},
    {"1-1.3", 7, true, "40"}, {"1-1.2.1", 7, true, "40"}, {"", 7, true, "40"},
};

TEST(Board, WithSeveralModemsHasAPlaceForEveryBus)
{
    for (const char *name : {"condor", "condor-d2", "big-condor"}) {
        for (const auto &row : place_rows) {
            const ModemPlace *place = find_board(name).place_of(row.bus);
            ASSERT_NE(place, nullptr) << name;
            EXPECT_EQ(place->power_gpio, row.power_gpio) << name << " " << row.bus;
            EXPECT_EQ(place->is_pulse_high, row.is_pulse_high) << name << " " << row.bus;
            EXPECT_EQ(place->metric.view(), row.metric) << name << " " << row.bus;
        }
    }
    EXPECT_EQ(find_board("wren").place_of("1-1.2"), nullptr);
}

TEST(Board, OfACondorVariantDiffersInTheVersionOnly)
{
    EXPECT_TRUE(find_board("condor").has_version);
    EXPECT_FALSE(find_board("condor-d2").has_version);
    for (const auto &row : place_rows)
        EXPECT_EQ(find_board("condor").place_of(row.bus)->has_version, std::string{row.bus} == "2-1.2") << row.bus;
    EXPECT_TRUE(find_board("condor").has_shortcuts);
    EXPECT_TRUE(find_board("condor-d2").has_shortcuts);
    EXPECT_FALSE(find_board("condo").has_shortcuts);
}

struct QuirkRow {
    const char *quirk;
    bool Board::*flag;
    std::vector<std::string> boards;
};
const QuirkRow quirk_rows[] = {
    {"sync", &Board::needs_sync, {"puffin"}},
    {"slow LED", &Board::has_slow_led, {"badger"}},
    {"no list of modems", &Board::lists_no_modems, {"gecko", "vole", "tapir"}},
    {"Wi-Fi channel kept", &Board::keeps_wifi_channel, {"gecko", "newt", "tapir"}},
};
const char *const board_names[] = {"condor", "marten", "otter", "badger", "falcon", "kestrel", "osprey",
                                   "magpie", "bison",  "egret", "wren",   "ibis",   "stoat",   "vole",
                                   "gecko",  "tapir",  "newt",  "puffin", "",       "unheard"};

TEST(Board, HasEachQuirkOnlyWhereItIsKnown)
{
    for (const auto &row : quirk_rows)
        for (const std::string name : board_names)
            EXPECT_EQ(find_board(name).*row.flag, std::count(row.boards.begin(), row.boards.end(), name) == 1)
                << row.quirk << ": " << name;
}

// The line of a document that holds the text.
std::string line_with(const std::string &file, const std::string &text)
{
    std::ifstream document{SOURCE_ROOT "/" + file};
    for (std::string line; std::getline(document, line);)
        if (line.find(text) != std::string::npos)
            return line;
    return "";
}

TEST(Board, IsInTheDocumentsWhereItLacksSomething)
{
    const std::string manual = line_with("packaging/modemctl.1", "The boards ");
    const std::string web_api = line_with("docs/web-api.md", "| get `/modem/info` |");
    for (const std::string name : board_names) {
        if (name.empty())
            continue;
        EXPECT_EQ(manual.find(name) != std::string::npos, find_board(name).keeps_wifi_channel)
            << name << ": packaging/modemctl.1, \"The boards ... are left alone\", says otherwise than its row.";
        EXPECT_EQ(web_api.find(name) != std::string::npos, find_board(name).lists_no_modems)
            << name << ": docs/web-api.md, `/modem/info`, says otherwise than its row.";
    }
}

} // namespace boards_test
