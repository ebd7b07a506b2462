#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "tests/paths.h"

namespace include_graph_test {

const std::filesystem::path source_root = SOURCE_ROOT;

std::string content_of(const std::filesystem::path &file)
{
    std::ifstream in{source_root / file};
    return {std::istreambuf_iterator<char>{in}, {}};
}

// The rooms of rooms.txt, from the ground up.
std::vector<std::string> read_rooms()
{
    static const std::regex room_line{R"re((?:^|\n)([a-z/]+) )re"};
    const std::string text = content_of("rooms.txt");
    std::vector<std::string> rooms;
    for (std::sregex_iterator line{text.begin(), text.end(), room_line}, end; line != end; ++line)
        rooms.push_back((*line)[1]);
    return rooms;
}

const std::vector<std::string> rooms = read_rooms();

// Place of the file's folder in the list; -1 for a folder that is no room.
int height_of(const std::filesystem::path &file)
{
    const auto found = std::find(rooms.begin(), rooms.end(), file.parent_path().string());
    return found == rooms.end() ? -1 : static_cast<int>(found - rooms.begin());
}

bool may_include(const std::string &file, const std::string &included)
{
    return height_of(included) >= 0 && height_of(included) <= height_of(file);
}

bool is_source(const std::filesystem::path &file)
{
    return file.extension() == ".cpp" || file.extension() == ".h" || file.extension() == ".c";
}

// Every source file below the rooms' top folders, by path from the root.
std::vector<std::string> product_files()
{
    std::vector<std::string> files;
    for (const std::string &room : rooms) {
        const auto top = source_root / *std::filesystem::path{room}.begin();
        for (const auto &entry : std::filesystem::recursive_directory_iterator{top})
            if (is_source(entry.path()))
                files.push_back(entry.path().lexically_relative(source_root));
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return files;
}

// The files of this repository that a file includes. A name in quotes counts wherever it leads.
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
        const auto folder = std::filesystem::path{name}.begin()->string();
        if (parts[1] == "\"" || std::filesystem::is_directory(source_root / folder))
            found.push_back(name);
    }
    return found;
}

TEST(IncludeGraph, LetsNoProductFileIncludeWhatIsNotBelowIt)
{
    size_t checked = 0;
    for (const std::string &file : product_files())
        for (const std::string &included : own_includes(file)) {
            EXPECT_TRUE(may_include(file, included))
                << file << " includes " << included << ", which is in no room of rooms.txt up to its own";
            checked++;
        }
    EXPECT_GT(checked, 300U) << "too few sources below " << source_root;
}

TEST(IncludeGraph, HasARoomForEveryProductFile)
{
    for (const std::string &file : product_files())
        EXPECT_GE(height_of(file), 0) << file << " is in a folder that rooms.txt does not list";
    for (const std::string &room : rooms)
        EXPECT_TRUE(std::filesystem::is_directory(source_root / room)) << room << " of rooms.txt does not exist";
}

TEST(IncludeGraph, TellsAllowedIncludesFromForbiddenOnes)
{
    const struct {
        const char *file;
        const char *included;
        bool allowed;
    } rows[] = {
        {"platform/json.cpp", "platform/text.h", true},
        {"platform/json.cpp", "core/model/modem.h", false},
        {"core/model/modem.cpp", "core/table/modem_table.h", false},
        {"core/table/modem_table.cpp", "drivers/common.h", true},
        {"core/table/modem_table.cpp", "core/cli/front_end.h", false},
        {"core/cli/commands.cpp", "api/modem_api.h", false},
        {"api/routes.cpp", "core/table/modem_table.h", true},
        {"at/reply.cpp", "drivers/common.h", false},
        {"discovery/usb/ports.cpp", "discovery/record/modem_record.h", false},
        {"drivers/common.cpp", "simulator/modem/modem.h", false},
        {"at/reply.cpp", "reply.h", false},
        {"at/reply.cpp", "../platform/text.h", false},
        {"core/unlisted/file.cpp", "platform/text.h", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(may_include(row.file, row.included), row.allowed) << row.file << " includes " << row.included;
}

// docs/architecture.md shows the same rooms in the same order.
TEST(IncludeGraph, IsTheOneThatTheArchitectureDescribes)
{
    const std::string text = content_of("docs/architecture.md");
    size_t position = text.find("## Rooms");
    ASSERT_NE(position, std::string::npos);
    for (const std::string &room : rooms) {
        position = text.find("\n    " + room + " ", position);
        ASSERT_NE(position, std::string::npos) << "docs/architecture.md does not list " << room << " at its place";
    }
}

// A subject has one header, and a source the header of its own name: who looks for a function finds it by the file's
// name.
TEST(IncludeGraph, GivesEverySourceItsOwnHeader)
{
    for (const std::string &file : product_files()) {
        std::filesystem::path header{file};
        if (header.extension() == ".h" || header.filename() == "main.cpp")
            continue;
        header.replace_extension(".h");
        const auto includes = own_includes(file);
        ASSERT_FALSE(includes.empty()) << file << " includes nothing";
        EXPECT_EQ(includes.front(), header.string()) << file << " must include its own header first";
    }
}

} // namespace include_graph_test
