#include "discovery/modem_record.h"

#include "core/debug.h"
#include "core/modem_table.h"
#include "discovery/carrier.h"
#include "discovery/ports.h"

namespace {

// The record of no modem: only its modem_id means something.
ModemDriver no_modem()
{
    ModemDriver rec{};
    rec.modem_id = -1;
    return rec;
}

// Adds "ports". @return whether the bus has any
bool add_ports(json_object *info, const char *bus)
{
    Json ports{json_object_new_array()};
    const int count = bus_list_ports(bus, ports.get());
    kjson_add_object(info, "ports", std::move(ports));
    if (count <= 0)
        debug_print("failed get ports\n");
    return count > 0;
}

void add_port_of(json_object *info, const char *key, const char *bus, int32_t interface_number)
{
    Text<30> port;
    at_port_path(bus, interface_number, port);
    kjson_add_string(info, key, port.view());
}

void describe_known_modem(json_object *info, const ModemDriver &rec, const char *bus)
{
    kjson_add_int(info, "modem_id", rec.modem_id);
    add_port_of(info, "data_port", bus, rec.data_port);
    add_port_of(info, "control_port", bus, rec.control_port);
    if (rec.qmi_port >= 0)
        add_port_of(info, "qmi_port", bus, rec.qmi_port);
}

void describe_unknown_modem(json_object *info, const ModemDriver &rec, const char *bus)
{
    kjson_add_int(info, "modem_id", rec.modem_id);
    kjson_add_string(info, "name", "-");
    kjson_add_string(info, "bus", bus);
    add_carrier(info, rec);
}

} // namespace

void detect_modem(ModemDriver &out_rec, json_object *info, const char *bus)
{
    out_rec = no_modem();
    uint32_t vid = 0;
    uint32_t pid = 0;
    if (read_usb_ids(bus, vid, pid) != 0) {
        debug_print("please insert device\n");
        return;
    }
    debug_print("vid %X,pid %X\n", vid, pid);
    const ModemDriver *listed = find_driver_by_usb(modem_drivers(), vid, pid);
    const ModemDriver *entry = listed != nullptr ? listed : find_driver_by_id(modem_drivers(), unknown_modem_id);
    out_rec = *entry;
    if (!add_ports(info, bus)) {
        out_rec.modem_id = -1;
        return;
    }
    driver_bind_bus(out_rec, bus);
    if (listed != nullptr)
        describe_known_modem(info, out_rec, bus);
    else
        describe_unknown_modem(info, out_rec, bus);
}
