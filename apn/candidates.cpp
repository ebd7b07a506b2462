#include "apn/apn.h"
#include "apn/database.h"
#include "connection/connect.h"
#include "core/debug.h"
#include "discovery/carrier.h"

namespace {

constexpr size_t short_mnc_length = 2;
constexpr char lte_service[] = "fdd_lte";

bool is_text(json_object *entry, const char *key, std::string_view wanted)
{
    const char *text = kjson_get_string(entry, key);
    return text != nullptr && text == wanted;
}

int pick_entries_of(json_object *entries, std::string_view mcc, std::string_view mnc, json_object *candidates)
{
    int count = 0;
    const size_t length = json_object_array_length(entries);
    for (size_t i = 0; i < length; i++) {
        json_object *entry = json_object_array_get_idx(entries, i);
        if (!is_text(entry, "-mcc", mcc) || !is_text(entry, "-mnc", mnc))
            continue;
        kjson_array_add(candidates, json_share(entry));
        count++;
    }
    return count;
}

// One candidate: by QMI where the model has it, then by serial.
int try_candidate(const ModemDriver &rec, json_object *entry)
{
    const ConnectSettings settings = {
        .service = lte_service,
        .apn = kjson_get_string(entry, "-apn"),
        .username = kjson_get_string(entry, "-user"),
        .password = kjson_get_string(entry, "-password"),
    };
    if (rec.qmi_port >= 0 && qmi_connect(rec, settings) == 0)
        return 0;
    return serial_connect(rec, settings) == 0 ? 0 : -1;
}

} // namespace

bool is_internet_apn(json_object *entry)
{
    if (!kjson_contain_key(entry, "-type"))
        return true;
    const char *type = kjson_get_string(entry, "-type");
    const std::string_view types = type == nullptr ? "" : type;
    return types.find("default") != std::string_view::npos || types.find("hipri") != std::string_view::npos;
}

int pick_apn_entries(json_object *database, std::string_view mcc, std::string_view mnc, json_object *candidates)
{
    json_object *entries = kjson_get_object(kjson_get_object(database, "apns"), "apn");
    if (!json_object_is_type(entries, json_type_array))
        return 0;
    const int count = pick_entries_of(entries, mcc, mnc, candidates);
    return count > 0 ? count : pick_entries_of(entries, mcc, first_characters(mnc, short_mnc_length), candidates);
}

int select_apn_candidates(const ModemDriver &rec, json_object *candidates)
{
    if (find_fixed_apn(rec, candidates, nullptr) == 0)
        return 0;
    Text<4> mcc;
    Text<4> mnc;
    if (read_mcc_mnc(rec, mcc, mnc) != 0) {
        debug_print("get isp failed\n");
        return -1;
    }
    if (kjson_get_object(kjson_get_object(apn_database(), "apns"), "apn") == nullptr)
        return -1;
    if (pick_apn_entries(apn_database(), mcc.view(), mnc.view(), candidates) == 0) {
        debug_print("get isp failed\n");
        return -1;
    }
    debug_print("%s\n", json_object_to_json_string(candidates));
    return 0;
}

int connect_with_candidates(const ModemDriver &rec, json_object *candidates)
{
    if (candidates == nullptr)
        return serial_connect(rec, {.service = lte_service}) == 0 ? 0 : -1;
    const size_t length = json_object_array_length(candidates);
    for (size_t i = 0; i < length; i++) {
        json_object *entry = json_object_array_get_idx(candidates, i);
        if (is_internet_apn(entry) && try_candidate(rec, entry) == 0)
            return 0;
    }
    return -1;
}
