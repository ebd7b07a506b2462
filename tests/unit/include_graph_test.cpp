#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

namespace {

struct Layer {
    std::string_view path; ///< front of the paths of its files; the first row that fits counts
    std::string_view name;
    int height; ///< a file includes its own layer and lower ones
};

// clang-format off
constexpr Layer layers[] = {
    {"platform/",               "platform",         0},
    {"core/main.",              "front end",        8},
    {"core/front_end",          "front end",        8},
    {"core/commands",           "front end",        8},
    {"core/connect_commands",   "front end",        8},
    {"core/health.",            "front end",        8},
    {"core/modem_table.cpp",    "driver table",     5}, // the one file that sees every driver
    {"core/",                   "core records",     1},
    {"at/",                     "at",               2},
    {"discovery/modem_record.", "discovery record", 6},
    {"discovery/hardware.",     "discovery record", 6},
    {"discovery/carrier.",      "SIM's carrier",    4},
    {"discovery/commands.",     "discovery walks",  2},
    {"discovery/",              "discovery walks",  2},
    {"drivers/",                "drivers",          3},
    {"sms/",                    "sms",              4},
    {"connection/",             "connection",       4},
    {"status/",                 "status",           5},
    {"apn/",                    "apn",              5},
    {"wifi/",                   "wifi",             7},
    {"api/",                    "api",              8},
};
// clang-format on

const std::filesystem::path source_root = SOURCE_ROOT;

const Layer *layer_of(std::string_view file)
{
    const auto *row = std::find_if(std::begin(layers), std::end(layers),
                                   [file](const Layer &layer) { return file.starts_with(layer.path); });
    return row == std::end(layers) ? nullptr : row;
}

bool may_include(std::string_view file, std::string_view included)
{
    const Layer *const from = layer_of(file);
    const Layer *const to = layer_of(included);
    return from && to && (from->name == to->name || to->height < from->height);
}

// The product's source files, by path from the root.
std::vector<std::string> product_files()
{
    std::vector<std::string> files;
    for (const Layer &layer : layers) {
        const auto room = source_root / layer.path.substr(0, layer.path.find('/'));
        if (!std::filesystem::is_directory(room))
            continue;
        for (const auto &entry : std::filesystem::recursive_directory_iterator{room})
            if (const auto type = entry.path().extension(); type == ".cpp" || type == ".h" || type == ".c")
                files.push_back(entry.path().lexically_relative(source_root));
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return files;
}

// What a file includes of this repository. A name in quotes counts as such wherever it leads.
std::vector<std::string> own_includes(const std::string &file)
{
    static const std::regex include{R"re(^\s*#\s*include\s*(["<])([^">]+)[">].*)re"};
    std::vector<std::string> found;
    std::ifstream source{source_root / file};
    for (std::string line; std::getline(source, line);) {
        std::smatch parts;
        if (!std::regex_match(line, parts, include))
            continue;
        const std::string name = parts[2];
        const auto room = std::filesystem::path{name}.begin()->string();
        if (parts[1] == "\"" || std::filesystem::is_directory(source_root / room))
            found.push_back(name);
    }
    return found;
}

} // namespace

TEST(IncludeGraph, LetsNoProductFileIncludeWhatIsNotBelowIt)
{
    size_t checked = 0;
    for (const std::string &file : product_files())
        for (const std::string &included : own_includes(file)) {
            EXPECT_TRUE(may_include(file, included)) << file << " includes " << included;
            checked++;
        }
    EXPECT_GT(checked, 0U) << "no sources below " << source_root;
}

TEST(IncludeGraph, TellsAllowedIncludesFromForbiddenOnes)
{
    const struct {
        std::string_view file;
        std::string_view included;
        bool allowed;
    } rows[] = {
        {"platform/json.cpp", "platform/text.h", true},
        {"platform/json.cpp", "core/debug.h", false},
        {"core/modem_ops.h", "core/modem_driver.h", true},
        {"core/modem_state.cpp", "drivers/quectel.h", false},
        {"core/modem_table.cpp", "drivers/quectel.h", true},
        {"core/modem_table.cpp", "core/front_end.h", false},
        {"core/modem_table.h", "drivers/quectel.h", false},
        {"core/debug.cpp", "core/commands.h", false},
        {"core/main.cpp", "core/front_end.h", true},
        {"core/front_end.cpp", "core/modem_table.h", true},
        {"core/commands_signal.cpp", "discovery/modem_record.h", true},
        {"core/commands.cpp", "api/modem_api.h", false},
        {"api/routes.cpp", "core/commands.h", false},
        {"api/routes.cpp", "apn/apn.h", true},
        {"at/at.cpp", "core/modem_driver.h", true},
        {"at/at.cpp", "discovery/discovery.h", false},
        {"at/at.cpp", "drivers/generic.h", false},
        {"discovery/walks.cpp", "at/at.h", false},
        {"discovery/walks.cpp", "discovery/modem_record.h", false},
        {"discovery/modem_record.cpp", "discovery/discovery.h", true},
        {"discovery/modem_record.cpp", "status/status.h", true},
        {"drivers/generic.cpp", "at/at.h", true},
        {"drivers/generic.cpp", "status/status.h", false},
        {"sms/sms.cpp", "connection/connection.h", false},
        {"status/record.cpp", "sms/spool.h", true},
        {"sms/spool.cpp", "status/record.h", false},
        {"discovery/modem_record.cpp", "apn/apn.h", true},
        {"apn/apn.cpp", "discovery/modem_record.h", false},
        {"wifi/interference.cpp", "discovery/modem_record.h", true},
        {"wifi/interference.cpp", "api/modem_api.h", false},
        {"core/commands.cpp", "wifi/interference.h", true},
        {"drivers/generic.cpp", "simulator/port.h", false},
        {"platform/uci.cpp", "host/uci/uci.h", false},
        {"at/at.cpp", "tests/unit/temporary_directory.h", false},
        {"at/at.cpp", "at.h", false},
        {"at/at.cpp", "../core/debug.h", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(may_include(row.file, row.included), row.allowed) << row.file << " includes " << row.included;
}
