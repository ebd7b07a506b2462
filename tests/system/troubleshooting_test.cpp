#include <regex>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// docs/troubleshooting.md is followed by people whose modem does not work: what it shows must be what they see.

namespace troubleshooting_test {

std::string page()
{
    return read_text(SOURCE_ROOT "/docs/troubleshooting.md");
}

struct Example {
    std::string command;
    std::string output;
};

std::string without_trailing_line_ends(std::string text)
{
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

// "    $ command" and the indented lines below it.
std::vector<Example> examples()
{
    const std::string prompt = "    $ ";
    std::vector<Example> found;
    bool is_output = false;
    for (const std::string &line : lines_of(page())) {
        if (line.starts_with(prompt)) {
            found.push_back({line.substr(prompt.size()), ""});
            is_output = true;
        } else if (is_output && (line.empty() || line.starts_with("    "))) {
            found.back().output += (line.empty() ? "" : line.substr(4)) + "\n";
        } else {
            is_output = false;
        }
    }
    return found;
}

TEST(Troubleshooting, ShowsWhatIsPrinted)
{
    const std::vector<Example> shown = examples();
    ASSERT_GE(shown.size(), 8u);
    std::string script;
    for (const Example &example : shown)
        script += "echo @@@; " + example.command + "\n";
    const RouterRun run = run_shell({"--modem", "EC25@1-1.2", "--link", "apn=internet.example,setup=200", "--put-text",
                                     "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=none"},
                                    script);
    std::string out = run.out;
    for (const Example &example : shown) {
        ASSERT_TRUE(out.starts_with("@@@\n")) << out;
        out.erase(0, 4);
        const std::string printed = out.substr(0, out.find("@@@\n"));
        out.erase(0, printed.size());
        EXPECT_EQ(without_trailing_line_ends(example.output), without_trailing_line_ends(printed)) << example.command;
    }
}

TEST(Troubleshooting, NamesOnlyCommandsThatThereAre)
{
    const std::string help = run_in_router({}, {"modemctl", "help"}).out;
    const std::string text = page();
    const std::regex call{R"((?:`|    |\$ )modemctl (?:-D |-B )*(?:[12]-1[.0-9]* )?([A-Za-z_-]+))"};
    int count = 0;
    for (std::sregex_iterator word{text.begin(), text.end(), call}, end; word != end; ++word, count++)
        EXPECT_NE(help.find("\n  " + word->str(1) + " "), std::string::npos)
            << "docs/troubleshooting.md names \"modemctl " << word->str(1)
            << "\", which is no row of the command table";
    EXPECT_GE(count, 20);
}

} // namespace troubleshooting_test
