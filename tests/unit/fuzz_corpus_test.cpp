#include "tests/fuzz/corpus.h"
#include "tests/paths.h"

#include <gtest/gtest.h>

#include "api/modem_api.h"
#include "core/table/modem_table.h"

namespace fuzz_corpus_test {

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace fs = std::filesystem;
const fs::path fuzz_folder = SOURCE_ROOT "/tests/fuzz";

struct LineRow {
    const char *what;
    std::string_view input;
    std::string_view line;
};

// clang-format off
const LineRow lines[] = {
    // what                     input                        line in a pack
    {"nothing",                 ""sv,                        R"("")"},
    {"a reply",                 "\r\n+CSQ: 20,99\r\n"sv,     R"("\r\n+CSQ: 20,99\r\n")"},
    {"quotes and a backslash",  "a\"b\\n"sv,                 R"("a\"b\\n")"},
    {"zero and eight bits",     "\0\x7f\xff 1"sv,            R"("\x00\x7f\xff 1")"},
    {"a tab, a form feed",      "\t\f"sv,                    R"("\t\x0c")"},
};

struct PackRow {
    const char *what;
    std::string_view pack;
};

const PackRow broken_packs[] = {
    // what                       pack
    {"empty",                     ""sv},
    {"an empty line",             "\n"sv},
    {"no quotes",                 "a\n"sv},
    {"a name without its space",  "a\"b\"\n"sv},
    {"a name after the others",   "\"b\"\nname \"a\"\n"sv},
    {"names not sorted",          "b \"a\"\na \"a\"\n"sv},
    {"one quote",                 "\"\n"sv},
    {"cut before its quote",      "\"a\n"sv},
    {"cut before its line end",   "\"a\"\n\"b\""sv},
    {"text after the quote",      "\"a\" \n"sv},
    {"a quote inside",            "\"a\"b\"\n"sv},
    {"the last quote escaped",    "\"a\\\"\n"sv},
    {"an escape that is unknown", "\"\\a\"\n"sv},
    {"a cut escape",              "\"\\x0\"\n"sv},
    {"capital digits",            "\"\\xAB\"\n"sv},
    {"no digits",                 "\"\\xgg\"\n"sv},
    {"a letter as its number",    "\"\\x41\"\n"sv},
    {"a carriage return",         "\"a\"\r\n"sv},
    {"eight bits",                "\"\xff\"\n"sv},
    {"an input twice",            "\"a\"\n\"a\"\n"sv},
    {"not sorted",                "\"b\"\n\"a\"\n"sv},
    {"a line of a merge",         "\"a\"\n=======\n\"b\"\n"sv},
};
// clang-format on

std::vector<std::string> targets()
{
    std::vector<std::string> names;
    constexpr std::string_view end = "_fuzz.cpp";
    for (const auto &entry : fs::directory_iterator(fuzz_folder))
        if (const std::string name = entry.path().filename(); name.ends_with(end))
            names.push_back(name.substr(0, name.size() - end.size()));
    return names;
}

bool is_readable_name(std::string_view name)
{
    const bool is_hash = name.size() >= 16 && name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
    return !is_hash && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string_view::npos;
}

TEST(FuzzPack, HasALineOfPrintableCharactersForAnyInput)
{
    for (const auto &row : lines) {
        EXPECT_EQ(to_pack_line(row.input), row.line) << row.what;
        EXPECT_EQ(from_pack_line(row.line), row.input) << row.what;
    }
    std::string every_byte;
    for (int byte = 0; byte < 256; byte++)
        every_byte += static_cast<char>(byte);
    EXPECT_EQ(from_pack_line(to_pack_line(every_byte)), every_byte);
}

TEST(FuzzPack, IsRefusedWhenItIsEmptyOrBroken)
{
    for (const auto &row : broken_packs)
        EXPECT_FALSE(read_pack(row.pack)) << row.what;
}

TEST(FuzzPack, IsSortedWithoutDoubles)
{
    const std::string text = "one \"b\"\ntwo \"a\"\n\"\"\n\"\\n\"\n\"a\"\n\"b\"\n";
    EXPECT_EQ(compose_pack({.named = {{"two", "a"}, {"one", "b"}}, .added = {"b", "\n", "a", "b", ""}}), text);
    const auto pack = read_pack(text);
    ASSERT_TRUE(pack);
    EXPECT_EQ(pack->named, (std::vector<CorpusInput>{{"one", "b"}, {"two", "a"}}));
    EXPECT_EQ(pack->added, (std::vector{""s, "\n"s, "a"s, "b"s}));
}

TEST(FuzzCorpus, HasForEachTargetAWholePackAndFiveInputsOrMoreWithNamesForPeople)
{
    const auto all = targets();
    EXPECT_GE(all.size(), 10U);
    for (const std::string &target : all) {
        const fs::path folder = fuzz_folder / "corpus" / target;
        const auto pack = read_pack(read_whole_file(pack_of(folder)));
        ASSERT_TRUE(pack) << target;
        EXPECT_FALSE(pack->added.empty()) << target;
        const auto named = read_named_inputs(folder);
        EXPECT_GE(named.size(), 5U) << target;
        for (const CorpusInput &input : named)
            EXPECT_TRUE(is_readable_name(input.name))
                << target << ": " << input.name << " (tools/fuzz.sh --pack keeps what has no name of its own)";
    }
}

TEST(FuzzCorpus, HoldsEveryInputOnce)
{
    for (const std::string &target : targets()) {
        std::vector<std::string> inputs;
        const auto corpus = read_corpus(fuzz_folder / "corpus" / target);
        ASSERT_TRUE(corpus) << target;
        for (const CorpusInput &input : *corpus) {
            EXPECT_EQ(std::count(inputs.begin(), inputs.end(), input.bytes), 0) << target << ": " << input.name;
            inputs.push_back(input.bytes);
        }
    }
}

TEST(FuzzCorpus, KeepsTheInputsThatFoundFaults)
{
    for (const char *fault : {"crash-second-apns-without-list", "crash-vertical-tab", "crash-slash-after-value"})
        EXPECT_TRUE(fs::exists(fuzz_folder / "corpus/apn" / fault)) << fault;
}

// Inputs that name a route or an operation would pick another one if the name were wrong.
TEST(FuzzCorpus, NamesRoutesThatThereAre)
{
    int32_t count = 0;
    const ModemRoute *routes = modem_api_routes(&count);
    for (const CorpusInput &input : read_named_inputs(fuzz_folder / "corpus/handlers")) {
        const std::string path = input.bytes.substr(0, input.bytes.find(' '));
        EXPECT_TRUE(std::any_of(routes, routes + count, [&](const auto &route) { return path == route.path; }))
            << input.name << ": " << path;
    }
}

TEST(FuzzCorpus, NamesModelsAndOperationsThatThereAre)
{
    const std::string target = read_whole_file(fuzz_folder / "drivers_fuzz.cpp");
    for (const CorpusInput &input : read_named_inputs(fuzz_folder / "corpus/drivers")) {
        const std::string line = input.bytes.substr(0, input.bytes.find('\n'));
        const size_t space = line.find(' ');
        ASSERT_NE(space, std::string::npos) << input.name;
        bool is_model = false;
        for (const ModemDriver *model = modem_drivers(); model != nullptr; model = model->next)
            is_model = is_model || line.substr(0, space) == model->name;
        EXPECT_TRUE(is_model) << input.name;
        EXPECT_NE(target.find("{\"" + line.substr(space + 1) + "\", "), std::string::npos) << input.name;
    }
}

} // namespace fuzz_corpus_test
