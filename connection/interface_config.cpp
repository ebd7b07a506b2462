#include "connection/interface_config.h"

#include <cstdlib>
#include <cstring>

#include "connection/multi_wan.h"
#include "connection/setting_options.h"
#include "connection/shell_lines.h"
#include "discovery/usb/ports.h"
#include "drivers/sim_watcher.h"
#include "platform/boards.h"
#include "platform/shell.h"

namespace {

constexpr char default_metric[] = "40";
constexpr char verizon_mtu[] = "1428";
constexpr std::string_view verizon = "verizon";

const char *base_name(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool holds(const char *text, const char *needle)
{
    return text != nullptr && strstr(text, needle) != nullptr;
}

// Writes options of one section.
struct SectionWriter {
    const Uci &uci;
    const char *section;

    void set(const char *option, const char *value) const
    {
        if (value != nullptr)
            kuci2_set_name(uci, "network", section, option, value);
    }
    void set_turn(WriteTurn turn, const ConnectSettings &settings) const
    {
        for (const SettingOption &setting : setting_options)
            if (setting.turn == turn)
                set(setting.option, settings.*setting.member);
    }
};

void write_device(const SectionWriter &section, const char *device, const char *proto)
{
    if (device == nullptr)
        return;
    section.set("device", device);
    // The node is where the port is found again under another number. A network device of its own has no port.
    if (strcmp(proto, "dhcp") == 0)
        return;
    Text<50> node;
    int visits = 0;
    if (find_usb_node("/sys/devices/platform/", base_name(device), node, visits) > 0)
        section.set("node", node.c_str());
}

void write_network(const Uci &uci, const ModemDriver &rec, const char *ifname, const char *proto,
                   const ConnectSettings &settings)
{
    const SectionWriter section{uci, rec.iface.c_str()};
    kuci2_set_name(uci, "network", rec.iface.c_str(), nullptr, "interface");
    section.set("ifname", ifname);
    section.set_turn(WriteTurn::before_proto, settings);
    section.set("proto", proto);
    write_device(section, settings.device, proto);
    section.set_turn(WriteTurn::after_device, settings);
    // The second control device gets no raw_ip: its network device speaks Ethernet.
    if (rec.raw_ip != 0 && settings.device != nullptr && strcmp(settings.device, "/dev/cdc-wdm0") == 0)
        section.set("raw_ip", "1");
    section.set("mtu", pick_mtu(settings.mtu, without_last(capture_sim_type().view())));
    section.set("metric", default_metric);
    section.set("disabled", "0");
    kuci2_commit(uci, "network");
}

void write_modem_context(const ModemDriver &rec, const ConnectSettings &settings)
{
    if (settings.apn != nullptr && rec.ops.set_apn != nullptr)
        rec.ops.set_apn(rec, settings.apn);
    if (settings.auth != nullptr && rec.ops.set_auth != nullptr)
        rec.ops.set_auth(rec, settings.apn, settings.username, settings.password, settings.auth);
}

// @return the device that the LED follows; nothing, with the setting untouched, if that is not known
Text<20> write_led(const Uci &uci, const ModemDriver &rec, const char *ifname, const char *proto, const char *device)
{
    const auto led_device = pick_led_device(rec.iface.c_str(), ifname, proto, device);
    if (!led_device.empty())
        kuci2_set(uci, "system.led_3gnet.dev", led_device.c_str());
    kuci2_commit(uci, "system");
    return led_device;
}

void write_operator(const Uci &uci, const char *operator_name)
{
    if (operator_name == nullptr)
        return;
    kuci2_set(uci, "devconf.modem.operator", operator_name);
    kuci2_commit(uci, "devconf");
}

} // namespace

Text<20> pick_led_device(const char *iface, const char *ifname, const char *proto, const char *device)
{
    if (strcmp(proto, "3g") == 0)
        return Text<20>::format("3g-%s", iface);
    if (strcmp(proto, "directip") == 0 || strcmp(proto, "dhcp") == 0)
        return ifname == nullptr ? Text<20>{} : Text<20>{std::string_view{ifname}};
    // Also for NCM, whose network device has another name: the LED's script knows these two only.
    return holds(device, "wdm1") && !holds(device, "wdm0") ? "wwan1" : "wwan0";
}

const char *pick_mtu(const char *mtu, std::string_view sim_type)
{
    if (mtu != nullptr && *mtu != '\0')
        return mtu;
    return sim_type.starts_with(verizon) ? verizon_mtu : nullptr;
}

void write_interface(const Uci &uci, const ModemDriver &rec, const char *ifname, const char *proto,
                     const ConnectSettings &settings)
{
    write_network(uci, rec, ifname, proto, settings);
    write_modem_context(rec, settings);
    const auto led_device = write_led(uci, rec, ifname, proto, settings.device);
    write_operator(uci, settings.operator_name);
    execCommand(reload_led);
    set_up_multi_wan_member(rec.iface.c_str(), settings.operator_name);
    const bool is_directip = strcmp(proto, "directip") == 0;
    write_forced_ttl(rec, is_directip ? "" : led_device.c_str());
}

void delete_interface(const Uci &uci, const char *iface)
{
    kuci2_delete(uci, Text<64>::format("network.%s", iface).c_str());
    kuci2_commit(uci, "network");
}

void write_metric_of_place(const Uci &uci, const char *iface, const char *bus)
{
    const ModemPlace *place = this_board().place_of(bus);
    if (place == nullptr)
        return;
    kuci2_set_name(uci, "network", iface, "metric", place->metric.c_str());
    kuci2_commit(uci, "network");
}
