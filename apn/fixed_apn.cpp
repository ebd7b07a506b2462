#include "apn/fixed_apn.h"

#include "platform/text.h"

namespace {

struct FixedApn {
    std::string_view imsi_start;
    const char *apn;
};
constexpr FixedApn fixed_apns[] = {
    {"90146", "globalnet"},       {"22862", "globalnet"},      {"2220130686", "globalnet"}, {"222013090", "globalnet"},
    {"20404389621", "globalnet"}, {"2040469990", "globalnet"}, {"2340302082", "globalnet"}, {"2345533000", "globalnet"},
    {"4000299991", "globalnet"},  {"4240200759", "globalnet"}, {"5150302029", "globalnet"}, {"7300130100", "globalnet"},
    {"311480", "vzwinternet"},    {"311270", "vzwinternet"},
};

} // namespace

const char *pick_fixed_apn(std::string_view imsi)
{
    for (const FixedApn &row : fixed_apns)
        if (imsi.starts_with(row.imsi_start))
            return row.apn;
    return nullptr;
}

int find_fixed_apn(const ModemDriver &rec, json_object *candidates, json_object *names)
{
    Text<32> imsi;
    if (rec.ops.get_imsi == nullptr || rec.ops.get_imsi(rec, imsi) != 0)
        return -1;
    const char *apn = pick_fixed_apn(imsi.view());
    if (apn == nullptr)
        return -1;
    if (candidates != nullptr) {
        Json entry{json_object_new_object()};
        kjson_add_string(entry.get(), "-mcc", first_characters(imsi.view(), 3));
        kjson_add_string(entry.get(), "-mnc", first_characters(without_first(imsi.view(), 3), 3));
        kjson_add_string(entry.get(), "-apn", apn);
        kjson_array_add(candidates, std::move(entry));
    }
    if (names != nullptr)
        kjson_array_add_string(names, apn);
    return 0;
}
