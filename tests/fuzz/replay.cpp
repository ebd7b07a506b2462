// Runs files, and the corpus of each folder named (its files, where there are any, and the pack beside it), through the
// target. What libFuzzer does with the same words, for builds without it.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/fuzz/corpus.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

namespace {

void replay(const std::string &input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

} // namespace

int main(int count, char **words)
{
    size_t runs = 0;
    for (int i = 1; i < count; i++) {
        if (std::filesystem::is_regular_file(words[i])) {
            replay(read_whole_file(words[i]));
            runs++;
            continue;
        }
        const auto corpus = read_corpus(words[i]);
        if (!corpus) {
            fprintf(stderr, "%s: missing, empty or broken\n", pack_of(words[i]).c_str());
            return 1;
        }
        for (const CorpusInput &input : *corpus)
            replay(input.bytes);
        runs += corpus->size();
    }
    printf("%zu inputs\n", runs);
    return runs == 0;
}
