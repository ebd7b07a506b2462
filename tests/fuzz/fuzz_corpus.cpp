// Takes a target's kept inputs out of their pack, and new ones into it.
//
//     fuzz_corpus unpack CORPUS FOLDER    every input of the corpus becomes a file of the folder
//     fuzz_corpus pack CORPUS FOLDER      files of the folder that the corpus does not have yet go into its pack
//
// CORPUS is tests/fuzz/corpus/<target>; its pack is the file of that name with ".pack".

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fuzz/corpus.h"

namespace {

namespace fs = std::filesystem;

int fail(const fs::path &path, const char *what)
{
    fprintf(stderr, "%s: %s\n", path.c_str(), what);
    return 1;
}

bool write_file(const fs::path &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary);
    out << bytes;
    return out.flush().good();
}

int unpack(const fs::path &corpus, const fs::path &folder)
{
    const auto inputs = read_corpus(corpus);
    if (!inputs)
        return fail(pack_of(corpus), "missing, empty or broken");
    fs::create_directories(folder);
    for (const CorpusInput &input : *inputs)
        if (!write_file(folder / input.name, input.bytes))
            return fail(folder / input.name, "cannot be written");
    printf("%zu inputs\n", inputs->size());
    return 0;
}

int pack(const fs::path &corpus, const fs::path &folder)
{
    Pack kept;
    if (fs::exists(pack_of(corpus))) {
        const auto before = read_pack(read_whole_file(pack_of(corpus)));
        if (!before)
            return fail(pack_of(corpus), "empty or broken");
        kept = *before;
    }
    std::vector<std::string> known = kept.added;
    for (const CorpusInput &input : read_named_inputs(corpus))
        known.push_back(input.bytes);
    size_t added = 0;
    for (const CorpusInput &input : read_input_files(folder)) {
        if (std::find(known.begin(), known.end(), input.bytes) != known.end())
            continue;
        known.push_back(input.bytes);
        kept.added.push_back(input.bytes);
        added++;
    }
    if (added > 0) {
        // A pack that was written in part would be lost: the new one takes its place when it is whole.
        const fs::path next = pack_of(corpus).string() + ".new";
        if (!write_file(next, compose_pack(kept)))
            return fail(next, "cannot be written");
        fs::rename(next, pack_of(corpus));
    }
    printf("%zu new inputs\n", added);
    return 0;
}

} // namespace

int main(int count, char **words)
{
    const std::string_view task = count == 4 ? words[1] : "";
    if (task == "unpack")
        return unpack(words[2], words[3]);
    if (task == "pack" && fs::is_directory(words[3]))
        return pack(words[2], words[3]);
    fprintf(stderr, "Usage: fuzz_corpus unpack|pack CORPUS FOLDER\n");
    return 2;
}
