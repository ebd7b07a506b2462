#include "api/routes.h"
#include "connection/setting_options.h"

#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/unit/documents.h"
#include "tests/unit/sources.h"

// docs/security.md names every text that can reach a shell, and its class.

namespace security_document_test {

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

// "`apn`" of the keys in a cell.
std::set<std::string> keys_in(const std::string &cell)
{
    const Lines keys = found_in(cell, "`([^`]+)`");
    return {keys.begin(), keys.end()};
}

std::map<std::string, std::set<std::string>> documented_keys()
{
    std::map<std::string, std::set<std::string>> documented;
    for (const Row &row : rows_under("security.md", "endpoint or command")) {
        EXPECT_FALSE(row.at("reaches").empty()) << row.at("key");
        for (const std::string &name : keys_in(row.at("endpoint or command")))
            documented[name].merge(keys_in(row.at("key")));
    }
    return documented;
}

TEST(SecurityDocument, SaysOfEveryKeyOfEveryEndpointWhatItReaches)
{
    auto documented = documented_keys();
    std::set<std::string> read;
    for (const auto &entry : std::filesystem::directory_iterator(source_root / "api"))
        for (const std::string &key :
             found_in(content_of(entry.path()),
                      R"rx((?:\btext(?:_or)?|request\.json, |kjson_\w+\(request\.json,) ?\(?"([\w-]+)")rx"))
            read.insert(key);
    for (const SettingOption &setting : setting_options)
        read.insert(setting.request);
    std::set<std::string> listed;
    for (const Endpoint &endpoint : endpoints) {
        const auto &keys = documented[endpoint.path];
        for (const Need need : endpoint.needs) {
            if (need == Need::nothing || need == Need::handler || need == Need::short_texts)
                continue;
            read.insert(check_of(need).key);
            EXPECT_TRUE(keys.contains(check_of(need).key)) << "Add `" << check_of(need).key << "` of `" << endpoint.path
                                                           << "` to \"What every key reaches\" in docs/security.md.";
        }
        listed.insert(keys.begin(), keys.end());
    }
    EXPECT_EQ(listed, read) << "Give \"What every key reaches\" in docs/security.md a row for it.";
    for (const SettingOption &setting : setting_options)
        EXPECT_TRUE(documented["/modem/set"].contains(setting.request)) << setting.request;
}

TEST(SecurityDocument, SaysOfEveryArgumentOfEveryCommandWhatItReaches)
{
    auto documented = documented_keys();
    const std::string source = content_of(source_root / "core/cli/commands.cpp");
    const std::regex row{R"rx(\{"([\w-]+)",\s+\w+,\s+"([^"]*)")rx"};
    size_t commands = 0;
    for (std::sregex_iterator match{source.begin(), source.end(), row}, end; match != end; ++match, commands++) {
        const std::string help = (*match)[2];
        if (help.find(':') == std::string::npos)
            continue;
        for (const std::string &argument : found_in(help.substr(0, help.find(':')), "\\b([A-Z]+)\\b"))
            EXPECT_TRUE(documented[(*match)[1]].contains(argument))
                << "Add `" << argument << "` of `" << (*match)[1]
                << "` to \"What every key reaches\" in docs/security.md.";
    }
    EXPECT_GE(commands, 20u);
}

} // namespace security_document_test
