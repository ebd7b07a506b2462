#include "discovery/record/summary.h"

#include <syslog.h>

#include "apn/carrier.h"
#include "core/model/modem.h"
#include "discovery/record/modem_record.h"
#include "platform/interface_state.h"
#include "sms/spool.h"
#include "status/status_record.h"

namespace {

constexpr int interface_timeout_s = 100;

void add_signal(json_object *summary, const ModemDriver &rec)
{
    int32_t strength = -1;
    Text<8> mode;
    read_signal_record(rec, mode, strength, summary);
    // One character, as the supervisor reads it. An unknown strength is reported as 4, so that it does not restart the
    // modem.
    const char digit = strength == -1 ? '4' : static_cast<char>('0' + strength);
    kjson_add_string(summary, "signal", {&digit, 1});
    kjson_add_string(summary, "modem_mode", mode.view());
}

} // namespace

void add_summary(json_object *summary, const char *bus)
{
    const Json scratch{json_object_new_object()};
    if (scratch == nullptr) {
        syslog(LOG_DEBUG, "MCU ALLOCAL MEMORY FAILED\n");
        return;
    }
    ModemDriver rec;
    detect_modem(rec, scratch.get(), bus);
    if (rec.modem_id < 0) {
        syslog(LOG_DEBUG, "MCU DETECT MODEM FAILED\n");
        return;
    }
    Text<80> sim_state;
    if (sim_state_text(rec, sim_state) != 0) {
        kjson_add_string(summary, "SIM", sim_state.view());
        syslog(LOG_DEBUG, "MCU SIM ERROR\n");
        return;
    }
    add_carrier(summary, rec);
    kjson_del_key(summary, "mcc");
    kjson_del_key(summary, "mnc");
    if (const int unread = sms_count_unread(bus); unread > 0)
        kjson_add_string(summary, "sms", Text<12>::format("%d", unread).view());
    if (rec.ops.get_signal != nullptr)
        add_signal(summary, rec);
    if (interface_state(rec.iface.c_str(), interface_timeout_s) == interface_is_up)
        kjson_add_string(summary, "modem_up", "1");
}
