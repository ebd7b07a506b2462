#include "status/status_record.h"

#include <cstring>

#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "drivers/common.h"
#include "platform/files.h"
#include "platform/uci.h"
#include "sms/spool.h"
#include "status/interface_report.h"
#include "status/signal_cache.h"

namespace {

constexpr int ubus_timeout_s = 100;

struct InterfaceSettings {
    bool is_configured;
    bool is_disabled;
    bool is_passed_through;
};

InterfaceSettings read_settings(const char *iface)
{
    const Uci uci = kuci2_init();
    return {.is_configured = !uci.text<8>(Text<64>::format("network.%s.proto", iface).c_str()).empty(),
            .is_disabled = uci.is_on(Text<64>::format("network.%s.disabled", iface).c_str()),
            .is_passed_through = uci.is_on("devconf.passthrough.enable")};
}

void add_interface(json_object *result, const char *iface, const InterfaceSettings &settings)
{
    const InterfaceState state = settings.is_passed_through
                                     ? report_interface_with_address(result, iface, ubus_timeout_s)
                                     : report_interface(result, iface);
    // netifd keeps trying to bring up an interface that is configured and enabled.
    if (state == interface_is_down)
        kjson_add_string(result, "up", settings.is_disabled || !settings.is_configured ? "off" : "connecting");
}

int read_sim_status(const ModemDriver &rec, bool is_disabled)
{
    if (rec.traits.drops_when_asked && !is_disabled)
        return 0;
    Text<8> state;
    return sim_state_text(rec, state);
}

bool is_online(const char *iface)
{
    Text<17> tracked;
    read_file(Text<64>::format("/var/run/mwan3track/%s/STATUS", iface).c_str(), 16, tracked);
    return strstr(tracked.c_str(), "online") != nullptr;
}

int read_generation(const ModemDriver &rec, int32_t &level, json_object *result)
{
    if (rec.ops.get_signal != nullptr) {
        Json signals{json_object_new_array()};
        const int generation = rec.ops.get_signal(rec, signals.get(), level);
        kjson_add_object(result, "signal_info", std::move(signals));
        // One byte counts, because the web pages were made for it: a failure, -1, becomes 255, which has no mode.
        return generation & 0xff;
    }
    if (has_state(rec.bus.c_str(), "signal"))
        return evaluate_signal_cache(rec.bus.c_str(), level);
    return rec.ops.get_csq == nullptr ? -1 : rec.ops.get_csq(rec, level);
}

void add_signal(json_object *result, const ModemDriver &rec)
{
    int32_t level = -1;
    Text<6> mode;
    if (read_signal_record(rec, mode, level, result) != 0)
        return;
    kjson_add_int(result, "signal", level);
    kjson_add_string(result, "mode", mode.c_str());
}

} // namespace

const char *pick_mode(int generation)
{
    static constexpr const char *modes[] = {"2G", "3G", "4G"};
    return generation >= 2 && generation <= 4 ? modes[generation - 2] : nullptr;
}

int read_signal_record(const ModemDriver &rec, TextOut mode, int32_t &level, json_object *result)
{
    const int generation = read_generation(rec, level, result);
    if (generation == 0 || generation == 1) {
        if (level <= 0)
            return -1;
        if (rec.ops.get_mode != nullptr)
            rec.ops.get_mode(rec, mode);
        return 0;
    }
    const char *name = pick_mode(generation);
    if (name == nullptr)
        return -1;
    mode.assign(name);
    if (generation == 4 && rec.ops.get_ca_info != nullptr && rec.ops.get_ca_info(rec) == 1)
        mode.append("+");
    return 0;
}

void add_status_record(json_object *result, const ModemDriver &rec)
{
    const InterfaceSettings settings = read_settings(rec.iface.c_str());
    add_interface(result, rec.iface.c_str(), settings);
    if (!is_unknown_device(rec)) {
        const int sim_status = read_sim_status(rec, settings.is_disabled);
        kjson_add_int(result, "SIM_status", sim_status);
        if (sim_status != 0)
            return;
        kjson_add_boolean(result, "online", is_online(rec.iface.c_str()));
        add_signal(result, rec);
    }
    kjson_add_int(result, "newsms", sms_count_unread(rec.bus.c_str()));
}
