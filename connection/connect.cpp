#include "connection/connect.h"

#include <cstring>
#include <syslog.h>

#include "at/at_command.h"
#include "at/reply.h"
#include "connection/handler_options.h"
#include "connection/shell_lines.h"
#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "discovery/usb/ports.h"
#include "platform/board.h"
#include "platform/shell.h"
#include "platform/tell_person.h"

namespace {

constexpr int given_device_budget_s = 1;
constexpr int found_device_budget_s = 15;
constexpr int tolerant_budget_s = 10; // with at most this budget, an interface that is still down is not a failure

struct Link {
    const char *proto;
    Text<16> ifname;
};

// The data device, given or found, and how long its interface may take to come up.
class DataDevice {
  public:
    DataDevice(const ModemDriver &rec, const char *given, int32_t interface_number) : given_(given)
    {
        if (given == nullptr)
            at_port_path(rec.bus.c_str(), is_unknown_device(rec) ? 0 : interface_number, found_);
        if (given == nullptr && found_.empty() && (rec.proto_flags & proto_mbim) != 0)
            find_control_device(rec.bus.c_str());
    }

    const char *path() const { return given_ != nullptr ? given_ : found_.c_str(); }
    int budget_s() const { return given_ != nullptr ? given_device_budget_s : found_device_budget_s; }

  private:
    // Not every row of the models files knows the control device's interface. No modem has two such devices.
    void find_control_device(const char *bus)
    {
        const Json ports{json_object_new_array()};
        bus_own_ports(bus, ports.get());
        for (size_t i = 0; i < json_object_array_length(ports.get()); i++)
            if (const char *port = json_object_get_string(json_object_array_get_idx(ports.get(), i));
                strstr(port, "cdc-wdm") != nullptr)
                found_.assign(port);
    }

    const char *given_;
    Text<64> found_;
};

Link pick_serial_link(ModemDriver &rec)
{
    if (rec.proto_flags & proto_mbim)
        return {"mbim", "wwan0"};
    if (rec.proto_flags & proto_dhcp) {
        Text<16> netdev = "usb0";
        bus_own_netdev(rec.bus.c_str(), netdev);
        return {"dhcp", netdev};
    }
    if (rec.proto_flags & proto_directip) {
        bus_netdev(rec.bus.c_str(), "eth", rec.ppp_netdev);
        return {"directip", rec.ppp_netdev};
    }
    if (rec.proto_flags & proto_wwan) {
        Text<10> netdev;
        if (bus_netdev(rec.bus.c_str(), "wwan", netdev) <= 0)
            netdev.assign(rec.ppp_netdev.view());
        return {"callip", Text<16>{netdev.view()}};
    }
    if (rec.proto_flags & proto_ncm)
        return {"ncm", rec.ncm_netdev};
    return {"3g", rec.ppp_netdev};
}

bool is_refused(const char *proto, const ConnectSettings &settings)
{
    const SettingOption *refused = find_refused_setting(proto, settings);
    if (refused == nullptr)
        return false;
    // Without the value, which may be a password.
    syslog(LOG_ERR, "not connected: protocol %s would not take option %s as a value", proto, refused->option);
    tell_person("not connected: protocol %s would not take option %s as a value", proto, refused->option);
    return true;
}

// @return false, with nothing changed, if a setting is refused
bool configure(const ModemDriver &rec, const Link &link, const DataDevice &device, const ConnectSettings &settings)
{
    ConnectSettings with_device = settings;
    // For DHCP this option is the network device.
    with_device.device = (rec.proto_flags & proto_dhcp) != 0 ? link.ifname.c_str() : device.path();
    if (is_refused(link.proto, with_device))
        return false;
    remove_state(rec.bus.c_str(), "fail_count");
    const Uci uci = kuci2_init();
    delete_interface(uci, rec.iface.c_str());
    write_interface(uci, rec, link.ifname.c_str(), link.proto, with_device);
    write_metric_of_place(uci, rec.iface.c_str(), rec.bus.c_str());
    if (cmm_check_file_is_exist(complete_section_program) != 0)
        execCommand(compose_complete_section(rec.iface.c_str()));
    return true;
}

// A modem that does not know its maker's command has the standard one.
void start_session(const ModemDriver &rec)
{
    Text<64> port;
    at_port_path(rec.bus.c_str(), rec.control_port, port);
    for (const char *command : {rec.traits.start_session, "AT+CGACT=1,1"}) {
        Text<256> reply;
        if (command != nullptr && (at_command(port.c_str(), command, reply) != 0 || reply_has_ok(reply.view())))
            return;
    }
}

int bring_up(const ModemDriver &rec, int budget_s)
{
    if (rec.ops.iface_up != nullptr && rec.ops.iface_up(budget_s, rec.iface.c_str()) == 0) {
        set_current_modem_id(rec.modem_id);
        return 0;
    }
    return budget_s <= tolerant_budget_s ? 0 : -1;
}

// The shared part of the two QMI flows. They differ in one step, stop_autoconnect.
int connect_by_qmi_device(const ModemDriver &rec, const char *proto, bool stop_autoconnect,
                          const ConnectSettings &settings)
{
    const DataDevice device(rec, settings.device, rec.qmi_port);
    const bool is_checked = settings.device == nullptr && !is_unknown_device(rec);
    if (is_checked && !cmm_check_file_is_exist(device.path()))
        return -1;
    if (!configure(rec, {proto, rec.qmi_netdev}, device, settings))
        return connect_refused;
    execCommand(kill_qmi_clients);
    if (stop_autoconnect && !is_unknown_device(rec))
        execCommand(compose_stop_autoconnect(device.path()));
    return bring_up(rec, device.budget_s());
}

} // namespace

int serial_connect(const ModemDriver &rec, const ConnectSettings &settings)
{
    const DataDevice device(rec, settings.device, rec.data_port);
    ModemDriver own = rec; // deriving the link may rewrite the record's serial network device
    const Link link = pick_serial_link(own);
    if (!configure(own, link, device, settings))
        return connect_refused;
    if ((own.proto_flags & proto_dhcp) != 0)
        start_session(own);
    return bring_up(own, device.budget_s());
}

int qcm_connect(const ModemDriver &rec, const ConnectSettings &settings)
{
    return connect_by_qmi_device(rec, "qcm", false, settings);
}

int qmi_connect(const ModemDriver &rec, const ConnectSettings &settings)
{
    // The control device of such a model does not speak QMI.
    if ((rec.proto_flags & proto_mbim) != 0)
        return serial_connect(rec, settings);
    return connect_by_qmi_device(rec, "qmi", true, settings);
}
