#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "api/modem_api.h"
#include "tests/paths.h"

namespace products_test {

std::string output_of(const std::string &command)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe{popen(command.c_str(), "r"), pclose};
    std::string output;
    char chunk[4096];
    while (size_t got = fread(chunk, 1, sizeof chunk, pipe.get()))
        output.append(chunk, got);
    return output;
}

std::set<std::string> words_of(const std::string &text)
{
    std::istringstream stream{text};
    std::set<std::string> words;
    for (std::string word; stream >> word;)
        words.insert(word);
    return words;
}

std::set<std::string> needed_libraries(const std::string &product)
{
    return words_of(
        output_of("readelf -d '" BUILD_ROOT "/" + product + "' | sed -n 's/.*(NEEDED).*\\[\\(.*\\)\\]/\\1/p'"));
}

const std::set<std::string> allowed_libraries = {
    "libc.so.6", "libc.so", "libjson-c.so.5", "libubus.so", "libubox.so", "libuci.so", "libblobmsg_json.so",
};

class Product : public testing::TestWithParam<const char *> {};

TEST_P(Product, NeedsNoLibraryButThoseOfTheRouter)
{
    EXPECT_NE(output_of("readelf -d '" BUILD_ROOT "/" + std::string{GetParam()} + "'").find("Dynamic section"),
              std::string::npos);
    const auto needed = needed_libraries(GetParam());
    for (const auto &library : needed)
        EXPECT_TRUE(allowed_libraries.contains(library) || library.starts_with("ld-linux"))
            << GetParam() << " needs " << library;
}

TEST_P(Product, HasNoConstructorsThatRunAtStart)
{
    // A static constructor of ours would be a second entry of .init_array: the one that is there comes from the C
    // runtime. Each is a pointer, and the products are built for the processor that runs this test.
    const std::string sections = output_of("readelf -SW '" BUILD_ROOT "/" + std::string{GetParam()} + "'");
    ASSERT_NE(sections.find(" .text "), std::string::npos) << sections;
    std::smatch found;
    size_t size = 0;
    if (std::regex_search(sections, found, std::regex{R"(\.init_array +INIT_ARRAY +[0-9a-f]+ [0-9a-f]+ ([0-9a-f]+) )"}))
        size = std::stoul(found[1], nullptr, 16);
    else
        EXPECT_EQ(sections.find("init_array"), std::string::npos) << sections;
    EXPECT_LE(size / sizeof(void *), 1u);
}

TEST_P(Product, IsHardened)
{
    const std::string file = "'" BUILD_ROOT "/" + std::string{GetParam()} + "'";
    EXPECT_NE(output_of("readelf -dW " + file).find("NOW"), std::string::npos) << "addresses are looked up later";
    const std::string segments = output_of("readelf -lW " + file);
    EXPECT_NE(segments.find("GNU_RELRO"), std::string::npos) << segments;
    EXPECT_TRUE(std::regex_search(segments, std::regex{R"(GNU_STACK +[0-9a-fx ]+RW )"})) << segments;
    const std::string symbols = output_of("readelf --dyn-syms -W " + file);
    EXPECT_NE(symbols.find("__stack_chk_fail"), std::string::npos) << "no stack protector";
    EXPECT_TRUE(std::regex_search(symbols, std::regex{"__(?!stack)[a-z]+_chk"})) << "no buffer is checked";
}

INSTANTIATE_TEST_SUITE_P(All, Product, testing::Values("modemctl", "libmodemapi.so"));

TEST(ModemApiLibrary, ExportsItsGetterAndNothingElse)
{
    const auto symbols = output_of("nm -D --defined-only '" BUILD_ROOT "/libmodemapi.so' | sed 's/.* //'");
    EXPECT_EQ(words_of(symbols), std::set<std::string>{"modem_api_routes"});
}

} // namespace products_test
