// APN databases: what is picked entry by entry is what json-c's whole tree would give.

#include <cstdint>
#include <string>

#include "apn/entries.h"
#include "tests/fuzz/check.h"

namespace {

bool is_text(json_object *entry, const char *key, std::string_view wanted)
{
    const char *text = kjson_get_string(entry, key);
    return text != nullptr && text == wanted;
}

std::string picked_from_tree(const char *database, std::string_view mcc, std::string_view mnc)
{
    const Json root{json_tokener_parse(database)};
    json_object *entries = kjson_get_object(kjson_get_object(root.get(), "apns"), "apn");
    if (!json_object_is_type(entries, json_type_array))
        return "";
    std::string picked;
    for (size_t i = 0; i < json_object_array_length(entries); i++) {
        json_object *entry = json_object_array_get_idx(entries, i);
        if (is_text(entry, "-mcc", mcc) && is_text(entry, "-mnc", mnc))
            picked += json_object_to_json_string(entry);
    }
    return picked;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(bytes), size);
    const std::string database = input.c_str(); // a database is a text, up to its first zero
    const Json candidates{json_object_new_array()};
    const int count = pick_apn_entries(database, "232", "031", candidates.get());
    check(count >= -1 && json_object_array_length(candidates.get()) == static_cast<size_t>(count < 0 ? 0 : count),
          "the count is that of the candidates");
    // Behind its value a text does not count, but json-c takes a '/' there for the start of a comment.
    const bool is_tree = Json{json_tokener_parse(database.c_str())} != nullptr;
    check(count < 0 || is_tree || database.find('/') != std::string::npos, "only JSON has entries");
    if (count < 0 || !is_tree)
        return 0;
    std::string picked;
    for (int i = 0; i < count; i++)
        picked += json_object_to_json_string(json_object_array_get_idx(candidates.get(), static_cast<size_t>(i)));
    std::string expected = picked_from_tree(database.c_str(), "232", "031");
    if (expected.empty())
        expected = picked_from_tree(database.c_str(), "232", "03");
    check(picked == expected, "the same entries as those of the whole tree");
    return 0;
}
