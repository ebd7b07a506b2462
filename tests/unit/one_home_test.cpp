#include <algorithm>
#include <gtest/gtest.h>
#include <regex>

#include "tests/unit/documents.h"
#include "tests/unit/sources.h"

// What is known about one board or one model is written in one file. These tests read the sources.

namespace one_home_test {

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

TEST(OneHome, AStatePathIsComposedWhereItsOwnerIsChecked)
{
    EXPECT_EQ(strangers_with(std::regex{R"re(/tmp/modem\.[^<])re"}, {"core/model/state_dir.cpp"}),
              std::vector<std::string>{})
        << "Use core/model/state_dir.h: it checks whose folder it is.";
}

TEST(OneHome, AnInterfaceIsNamedAfterItsBusInOnePlace)
{
    EXPECT_EQ(strangers_with(std::regex{R"re("[^"\n]*modem_(%s|"))re"}, {"core/model/modem.cpp"}),
              std::vector<std::string>{})
        << "Ask interface_of_bus() of core/model/modem.h for the name.";
}

TEST(OneHome, AModelsNumberIsComparedInTheTableOnly)
{
    EXPECT_EQ(strangers_with(std::regex{R"re(modem_id *(==|!=|<=|>=|>|< *[1-9]))re"},
                             {"core/table/modem_table.cpp", "core/model/modem.h"}),
              std::vector<std::string>{})
        << "Give the model's row in core/table/modem_table.cpp a trait, and ask for that; or is_unknown_device().";
}

// Six of these files are compiled in one go, where two helpers of one name would meet.
TEST(OneHome, ATestFileHasANamespaceOfItsName)
{
    for (const char *folder : {"tests/unit", "tests/system", "tests/kernel"})
        for (const auto &entry : std::filesystem::directory_iterator{source_root / folder}) {
            const std::string name = entry.path().stem();
            if (!name.ends_with("_test") || entry.path().extension() != ".cpp")
                continue;
            const std::string content = content_of(entry.path());
            EXPECT_NE(content.find("\nnamespace " + name + " {\n"), std::string::npos)
                << entry.path() << ": put all of it into namespace " << name;
            EXPECT_TRUE(content.ends_with("\n\n} // namespace " + name + "\n"))
                << entry.path() << ": let namespace " << name << " reach to the end";
        }
}

TEST(OneHome, EveryTableOfTheArchitectureIsWhereItSays)
{
    const std::vector<Row> tables = rows_under("architecture.md", "table");
    EXPECT_GE(tables.size(), 6u);
    // constexpr Kind name[] = {, or std::array<Kind, ...> name = {
    static const std::regex table{R"re((\w+\[[^\]\n]*\]|std::array(<[^;={]*>)? \w+)(\{| = *\{))re"};
    for (Row row : tables) {
        const Lines files = found_in(row["file"], "`([^`]+)`");
        ASSERT_FALSE(files.empty()) << row["file"];
        const std::string text = content_of(source_root / files[0]);
        EXPECT_FALSE(text.empty()) << files[0];
        const bool is_source = files[0].ends_with(".cpp") || files[0].ends_with(".h");
        EXPECT_TRUE(!is_source || std::regex_search(text, table)) << files[0];
    }
}

} // namespace one_home_test
