#include "drivers/sierra.h"

#include <syslog.h>

#include "at/reply.h"
#include "drivers/ask.h"
#include "drivers/common.h"
#include "drivers/sierra_report.h"
#include "platform/interface_state.h"

namespace {

bool is_busy(const ModemDriver &rec, const char *what_cannot_be_done)
{
    constexpr int timeout_s = 100;
    if (interface_state(rec.iface.c_str(), timeout_s) != interface_is_pending)
        return false;
    syslog(LOG_DEBUG, "modem device busy,can't %s\n", what_cannot_be_done);
    return true;
}

} // namespace

int sierra_get_signal(const ModemDriver &rec, int32_t &level)
{
    if (is_busy(rec, "to get signal"))
        return -1;
    Text<1024> report;
    if (!ask_modem_ok(rec, "AT!GSTATUS?", report))
        return 0;
    const auto signal = parse_gstatus_signal(report.view());
    if (!signal)
        return -1;
    level = signal->level;
    return static_cast<int>(signal->generation);
}

int sierra_get_cells(const ModemDriver &rec, json_object *array)
{
    Text<2048> report;
    return ask_modem_ok(rec, "AT!GSTATUS?", report) ? add_gstatus_cells(report.view(), array) : 0;
}

int sierra_check_register(const ModemDriver &rec)
{
    return is_busy(rec, "check register status") ? 0 : check_register_by_creg(rec);
}

int sierra_get_ca_info(const ModemDriver &rec)
{
    Text<2048> report;
    return ask_modem_ok(rec, "AT!GSTATUS?", report) && is_aggregated(report.view()) ? 1 : 0;
}

int sierra_get_sim_status(const ModemDriver &rec, TextOut /*scratch*/)
{
    Text<1024> reply;
    if (is_busy(rec, "check SIM status") || ask_modem(rec, "AT+CPIN?", reply) != 0)
        return 0;
    if (str_contains(reply.view(), "ERROR"))
        return -1;
    return str_contains(reply.view(), "PIN\r") ? -2 : 0;
}
