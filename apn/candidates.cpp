#include "apn/candidates.h"

#include "apn/carrier.h"
#include "apn/database.h"
#include "apn/entries.h"
#include "apn/fixed_apn.h"
#include "connection/connect.h"
#include "platform/debug.h"
#include "platform/tell_person.h"

namespace {

constexpr char lte_service[] = "fdd_lte";

// By QMI if the model has it, then by serial.
int try_settings(const ModemDriver &rec, const ConnectSettings &settings)
{
    const auto announce = [&](const char *way) { tell_person("trying APN \"%s\" by %s", settings.apn, way); };
    if (rec.qmi_port >= 0) {
        announce("QMI");
        if (qmi_connect(rec, settings) == 0)
            return 0;
    }
    announce((rec.proto_flags & proto_mbim) != 0 ? "MBIM" : (rec.proto_flags & proto_dhcp) != 0 ? "DHCP" : "serial");
    return serial_connect(rec, settings) == 0 ? 0 : -1;
}

int try_candidate(const ModemDriver &rec, json_object *entry)
{
    return try_settings(rec, {
                                 .service = lte_service,
                                 .apn = kjson_get_string(entry, "-apn"),
                                 .username = kjson_get_string(entry, "-user"),
                                 .password = kjson_get_string(entry, "-password"),
                             });
}

} // namespace

int connect_with_login(const ModemDriver &rec, const ApnLogin &login)
{
    // The modem keeps the authentication of the APN that was tried before, so that none is needed is written, too.
    // OpenWrt's QMI handler does not know the word for both methods, and tries both by itself.
    const bool is_left_out = login.auth == "PAP or CHAP" && rec.qmi_port >= 0;
    ConnectSettings settings = {
        .service = lte_service, .apn = login.apn.c_str(), .auth = is_left_out ? nullptr : login.auth.c_str()};
    if (!login.username.empty()) {
        settings.username = login.username.c_str();
        settings.password = login.password.c_str();
    }
    return try_settings(rec, settings);
}

bool is_internet_apn(json_object *entry)
{
    if (!kjson_contain_key(entry, "-type"))
        return true;
    const char *type = kjson_get_string(entry, "-type");
    const std::string_view types = type == nullptr ? "" : type;
    return str_contains(types, "default") || str_contains(types, "hipri");
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
    const int count = pick_apn_entries(apn_database(), mcc.view(), mnc.view(), candidates);
    if (count == 0)
        debug_print("get isp failed\n");
    if (count <= 0)
        return -1;
    debug_print("%s\n", json_object_to_json_string(candidates));
    return 0;
}

int connect_with_candidates(const ModemDriver &rec, json_object *candidates)
{
    if (candidates == nullptr) {
        tell_person("no APN is known for this SIM card, trying without one");
        return serial_connect(rec, {.service = lte_service}) == 0 ? 0 : -1;
    }
    const size_t length = json_object_array_length(candidates);
    for (size_t i = 0; i < length; i++) {
        json_object *entry = json_object_array_get_idx(candidates, i);
        if (is_internet_apn(entry) && try_candidate(rec, entry) == 0)
            return 0;
    }
    return -1;
}
