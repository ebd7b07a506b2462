// Calls one operation of a model's record, for the operations that no command word reaches: call_operation MODEM_ID BUS
// OPERATION [ARGUMENT...]. Prints the result, and behind it what the operation wrote.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <syslog.h>

#include "at/reply.h"
#include "connection/connect.h"
#include "connection/power.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "discovery/usb/ports.h"
#include "drivers/quectel_config.h"
#include "sms/spool.h"

namespace {

struct Call {
    const ModemDriver &rec;
    char **arguments;
    Text<200> text{};
    Json json{json_object_new_object()};

    const char *word(int i) const { return arguments[i]; }
    int number(int i) const { return atoi(arguments[i]); }
    Text<30> port() const
    {
        Text<30> path;
        at_port_path(rec.bus.c_str(), rec.control_port, path);
        return path;
    }
};

using Operation = int (*)(Call &call);

const std::map<std::string, Operation> operations = {
    {"get_model", [](Call &c) { return c.rec.ops.get_model(c.rec.bus.c_str(), c.port().c_str(), c.text); }},
    {"get_imei", [](Call &c) { return c.rec.ops.get_imei(c.port().c_str(), c.rec.bus.c_str(), c.text); }},
    {"get_imsi", [](Call &c) { return c.rec.ops.get_imsi(c.rec, c.text); }},
    {"get_sim_status", [](Call &c) { return c.rec.ops.get_sim_status(c.rec, c.text); }},
    {"get_csq",
     [](Call &c) {
         int32_t bars = -77;
         const int result = c.rec.ops.get_csq(c.rec, bars);
         c.text = Text<200>::format("%d", bars);
         return result;
     }},
    {"get_creg", [](Call &c) { return c.rec.ops.get_creg(c.number(0)); }},
    {"set_scan_mode", [](Call &c) { return c.rec.ops.set_scan_mode(c.number(0), c.number(1)); }},
    {"get_scan_mode", [](Call &c) { return c.rec.ops.get_scan_mode(c.rec, c.text); }},
    {"get_ca_info", [](Call &c) { return c.rec.ops.get_ca_info(c.rec); }},
    {"get_bands",
     [](Call &c) {
         const int result = c.rec.ops.get_bands(c.rec, c.json.get());
         c.text.assign(json_object_to_json_string_ext(c.json.get(), JSON_C_TO_STRING_PLAIN));
         return result;
     }},
    {"set_band_by_revision",
     [](Call &c) {
         Text<500> reply;
         const int result = set_band_by_revision(c.port().c_str(), reply);
         c.text.assign(reply_has_ok(reply.view()) ? "OK" : "");
         return result;
     }},
    {"get_lte_band", [](Call &c) { return get_lte_band(c.rec.bus.c_str(), c.rec.control_port, c.word(0)); }},
    {"set_apn", [](Call &c) { return c.rec.ops.set_apn(c.rec, c.word(0)); }},
    {"set_auth", [](Call &c) { return c.rec.ops.set_auth(c.rec, c.word(0), c.word(1), c.word(2), c.word(3)); }},
    {"iface_up", [](Call &c) { return c.rec.ops.iface_up(c.number(0), c.word(1)); }},
    {"iface_down", [](Call &c) { return c.rec.ops.iface_down(c.number(0), c.word(1)); }},
    // No model of the table has the flag of a wwan device: words are flags, data device and APN.
    {"serial_connect",
     [](Call &c) {
         ModemDriver rec = c.rec;
         rec.proto_flags = static_cast<uint32_t>(strtoul(c.word(0), nullptr, 16));
         return serial_connect(rec, {.device = c.word(1), .apn = c.word(2)});
     }},
    {"power_cycle",
     [](Call &c) {
         power_cycle_modem(c.rec.bus.c_str());
         return 0;
     }},
    {"sms_list",
     [](Call &) {
         const Json list{json_object_new_array()};
         sms_list_spool(list.get());
         for (size_t i = 0; i < json_object_array_length(list.get()); i++)
             puts(json_object_to_json_string_ext(json_object_array_get_idx(list.get(), i),
                                                 JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
         return static_cast<int>(json_object_array_length(list.get()));
     }},
    {"sms_count_unread", [](Call &c) { return sms_count_unread(c.word(0)); }},
    {"sms_mark_read", [](Call &c) { return sms_mark_read(c.word(0)); }},
    {"sms_remove", [](Call &c) { return c.rec.ops.sms_remove(c.word(0)); }},
    {"sms_remove_all", [](Call &c) { return c.rec.ops.sms_remove_all(c.rec); }},
};

} // namespace

int main(int argc, char **argv)
{
    openlog("call_operation", 0, LOG_USER); // as modemctl does
    ModemDriver *entry = argc < 4 ? nullptr : find_driver_by_id(modem_drivers(), atoi(argv[1]));
    const auto operation = argc < 4 ? operations.end() : operations.find(argv[3]);
    if (entry == nullptr || operation == operations.end()) {
        fputs("usage: call_operation MODEM_ID BUS OPERATION [ARGUMENT...]\n", stderr);
        return 2;
    }
    ModemDriver rec = *entry;
    driver_bind_bus(rec, argv[2]);
    Call call{.rec = rec, .arguments = argv + 4};
    const int result = operation->second(call);
    printf("%d %s\n", result, call.text.c_str());
    return 0;
}
