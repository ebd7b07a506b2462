#include <cstdio>
#include <cstdlib>

#include "apn/apn.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace {

constexpr long prefix_length = 24;
constexpr long longest_database = 16L << 20; // what a router can hold in memory beside its parsed form

// Owned; a plain pointer, since a process-wide owner would need code at start and end.
constinit json_object *database = nullptr;

// What follows the prefix, zero-terminated; null when there is nothing or it cannot be read.
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

int parse_apn_database(const char *filename, Json &root)
{
    if (filename == nullptr) {
        fputs("modem_core: parse_apn_database: Assertion `filename' failed.\n", stderr);
        abort();
    }
    const File file = open_regular_file(filename);
    const HeapText text = file == nullptr ? nullptr : read_after_prefix(file.get());
    if (text == nullptr)
        return -1;
    root.reset(json_tokener_parse(text.get()));
    return 0;
}

int load_apn_database(const char *filename)
{
    Json root{json_object_new_object()};
    const int result = parse_apn_database(filename, root);
    release_apn_database();
    database = root.release();
    return result;
}

void release_apn_database()
{
    Json{std::exchange(database, nullptr)}.reset();
}

json_object *apn_database()
{
    return database;
}
