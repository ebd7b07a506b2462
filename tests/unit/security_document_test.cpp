#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/unit/documents.h"
#include "tests/unit/sources.h"

// docs/security.md names every text that can reach a shell, and its class.

namespace {

std::string last_word(const std::string &text)
{
    return text.substr(text.find_last_of(" *&") + 1);
}

// "`function` `class`" of every piece of a line for the shell. A function starts in the first column.
std::set<std::string> pieces_in_the_sources()
{
    std::set<std::string> found;
    for (const std::string &file : product_files()) {
        if (file.starts_with("platform/shell_line."))
            continue;
        std::istringstream lines{content_of(source_root / file)};
        std::string function = "no function";
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line[0] != ' ' && line.find('(') != std::string::npos)
                function = last_word(line.substr(0, line.find('(')));
            if (line.find("Piece::") == std::string::npos)
                continue;
            for (const std::string &its_class : found_in(line, R"(Piece::(\w+)\()"))
                found.insert("`" + function + "` `" + its_class + "`");
        }
    }
    return found;
}

TEST(SecurityDocument, HasEveryPieceOfALineForTheShell)
{
    std::set<std::string> documented;
    for (const Row &row : rows_under("security.md", "made by"))
        documented.insert(row.at("made by") + " " + row.at("class"));
    EXPECT_EQ(documented, pieces_in_the_sources())
        << "Give \"Lines for the shell\" in docs/security.md a row for each function and class.";
}

TEST(SecurityDocument, SaysOfEachUncheckedTextWhatABackEndRefuses)
{
    std::set<std::string> unchecked;
    for (const std::string &text :
         found_in(content_of(source_root / "api/shell_lines.cpp"), R"(as_it_came\((?:\w+\.)?(\w+)\))"))
        unchecked.insert(text);
    std::set<std::string> ruled;
    for (const Row &row : rows_under("security.md", "how it stands in the command"))
        for (const std::string &key : found_in(row.at("key"), "`(\\w+)`"))
            ruled.insert(key);
    EXPECT_EQ(ruled, unchecked)
        << "Say in \"Texts that reach a shell\" of docs/security.md what a back end lets through.";
}

} // namespace
