#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

// What is known about one board or one model is written in one file. These tests read the sources.

namespace {

const std::filesystem::path source_root = SOURCE_ROOT;

std::string content_of(const std::filesystem::path &file)
{
    std::ifstream in{file};
    return {std::istreambuf_iterator<char>{in}, {}};
}

// The files of the rooms of rooms.txt, by path from the root.
std::vector<std::string> product_files()
{
    std::vector<std::string> files;
    std::ifstream rooms{source_root / "rooms.txt"};
    for (std::string line; std::getline(rooms, line);) {
        if (line.starts_with('#') || line.find(' ') == std::string::npos)
            continue;
        for (const auto &entry : std::filesystem::directory_iterator{source_root / line.substr(0, line.find(' '))})
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
                files.push_back(entry.path().lexically_relative(source_root));
    }
    return files;
}

// The product's files, but for the homes, in which the pattern occurs.
std::vector<std::string> strangers_with(const std::regex &pattern, const std::vector<std::string> &homes)
{
    std::vector<std::string> found;
    for (const std::string &file : product_files())
        if (std::find(homes.begin(), homes.end(), file) == homes.end() &&
            std::regex_search(content_of(source_root / file), pattern))
            found.push_back(file);
    return found;
}

// The names of the boards, as the rows of platform/boards.cpp have them.
std::string names_of_boards()
{
    const std::string rows = content_of(source_root / "platform/boards.cpp");
    static const std::regex name{R"re(\.name = "([a-z]+)")re"};
    std::string names;
    for (std::sregex_iterator row{rows.begin(), rows.end(), name}, end; row != end; ++row)
        names += (names.empty() ? "" : "|") + (*row)[1].str();
    return names;
}

TEST(OneHome, ABoardIsNamedInItsRowOnly)
{
    const std::string names = names_of_boards();
    ASSERT_NE(names.find("condor|"), std::string::npos) << names;
    EXPECT_EQ(strangers_with(std::regex{"\"(" + names + ")\""}, {"platform/boards.cpp"}), std::vector<std::string>{})
        << "Give the board's row in platform/boards.cpp a column, and ask this_board() for it.";
}

} // namespace
