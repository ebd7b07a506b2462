// Runs the files named, or all files of the folders named, through the target. What libFuzzer does with the same words,
// for builds without it.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

namespace {

size_t runs = 0;

void replay(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(in), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    runs++;
}

} // namespace

int main(int count, char **words)
{
    for (int i = 1; i < count; i++) {
        if (!std::filesystem::is_directory(words[i])) {
            replay(words[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(words[i]))
            replay(entry.path());
    }
    printf("%zu inputs\n", runs);
    return runs == 0;
}
