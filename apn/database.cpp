#include "apn/database.h"

#include <cstdio>
#include <cstdlib>

#include "platform/files.h"

namespace {

constexpr long prefix_length = 24;
constexpr long longest_database = 16L << 20; // a router has no memory for more

// Owned; a plain pointer, because a process-wide owner would need code at start and end.
constinit char *database = nullptr;

// The text after the prefix, zero-terminated; null if it is empty or cannot be read.
HeapText read_after_prefix(FILE *file)
{
    if (fseek(file, 0, SEEK_END) != 0)
        return nullptr;
    const long size = ftell(file);
    if (size < prefix_length || size > longest_database || fseek(file, prefix_length, SEEK_SET) != 0)
        return nullptr;
    const auto length = static_cast<size_t>(size - prefix_length);
    HeapText text{static_cast<char *>(malloc(length + 1))};
    const size_t got = text == nullptr ? 0 : fread(text.get(), 1, length, file);
    if (got == 0)
        return nullptr;
    text.get()[got] = '\0';
    return text;
}

} // namespace

int read_apn_database(const char *filename, HeapText &text)
{
    if (filename == nullptr) {
        // Crash reports are searched for this text, so it names another program and function on purpose.
        fputs("modem_core: parse_apn_database: Assertion `filename' failed.\n", stderr);
        abort();
    }
    const File file = open_regular_file(filename);
    HeapText content = file == nullptr ? nullptr : read_after_prefix(file.get());
    if (content == nullptr)
        return -1;
    text = std::move(content);
    return 0;
}

int load_apn_database(const char *filename)
{
    HeapText text;
    const int result = read_apn_database(filename, text);
    release_apn_database();
    database = text.release();
    return result;
}

void release_apn_database()
{
    HeapText{std::exchange(database, nullptr)}.reset();
}

std::string_view apn_database()
{
    return database == nullptr ? std::string_view{} : database;
}
