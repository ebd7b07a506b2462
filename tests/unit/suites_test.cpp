#include <filesystem>
#include <regex>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/documents.h"
#include "tests/unit/sources.h"

// A newcomer copies the suites that README.md and CONTRIBUTING.md name.

namespace suites_test {

std::string all_tests()
{
    std::string text;
    for (const char *folder : {"tests/unit", "tests/system"})
        for (const auto &entry : std::filesystem::directory_iterator{source_root / folder})
            text += content_of(entry.path());
    return text;
}

TEST(SuitesOfTheDocuments, Exist)
{
    const std::string tests = all_tests();
    for (const char *document : {"README.md", "CONTRIBUTING.md"}) {
        const Lines named = found_in(content_of(source_root / document), "T='([^']+)'");
        EXPECT_FALSE(named.empty()) << document;
        for (const std::string &suites : named) {
            std::istringstream in{suites};
            for (std::string suite; std::getline(in, suite, ':');) {
                const std::string name = suite.substr(0, suite.find_first_of(".*"));
                if (name == "Word") // stands for a command that the reader adds
                    continue;
                EXPECT_TRUE(std::regex_search(tests, std::regex{"TEST(_[FP])?\\(" + name}))
                    << document << " names " << suite << ", but no suite begins with it.";
            }
        }
    }
}

} // namespace suites_test
