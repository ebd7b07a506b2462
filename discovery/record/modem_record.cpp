#include "discovery/record/modem_record.h"

#include "apn/carrier.h"
#include "apn/fixed_apn.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "discovery/record/hardware.h"
#include "discovery/usb/ports.h"
#include "drivers/common.h"
#include "platform/debug.h"
#include "status/status_record.h"

namespace {

// The record without a modem: only its modem_id has a meaning.
ModemDriver no_modem()
{
    ModemDriver rec{};
    rec.modem_id = -1;
    return rec;
}

// Adds "ports". @return true if the bus has any
bool add_ports(json_object *info, const UsbDevice &device)
{
    Json ports{json_object_new_array()};
    const int count = device.list_ports(ports.get());
    kjson_add_object(info, "ports", std::move(ports));
    if (count <= 0)
        debug_print("failed get ports\n");
    return count > 0;
}

void add_port_of(json_object *info, const char *key, const UsbDevice &device, int32_t interface_number)
{
    Text<30> port;
    device.port_path(interface_number, port);
    kjson_add_string(info, key, port.view());
}

void add_basic_record(json_object *info, const ModemDriver &rec, const UsbDevice &device)
{
    kjson_add_int(info, "modem_id", rec.modem_id);
    add_port_of(info, "data_port", device, rec.data_port);
    add_port_of(info, "control_port", device, rec.control_port);
    if (rec.qmi_port >= 0)
        add_port_of(info, "qmi_port", device, rec.qmi_port);
}

void add_carrier_and_status(json_object *info, const ModemDriver &rec)
{
    add_carrier(info, rec);
    add_status_record(info, rec);
}

void add_fixed_apns(json_object *info, const ModemDriver &rec)
{
    Json names{json_object_new_array()};
    if (find_fixed_apn(rec, nullptr, names.get()) == 0)
        kjson_add_object(info, "apns", std::move(names));
}

void add_full_record(json_object *info, const ModemDriver &rec, const UsbDevice &device, const char *bus)
{
    Text<30> port;
    device.port_path(rec.control_port, port);
    Text<200> model;
    const bool is_told = get_model(bus, port.c_str(), model) == 0;
    kjson_add_string(info, "name", is_told ? model.view() : std::string_view{rec.name});
    if (Text<30> imei; read_imei(rec, imei) == 0)
        kjson_add_string(info, "IMEI", imei.view());
    kjson_add_string(info, "bus", bus);
    add_hardware(info, bus);
    add_carrier_and_status(info, rec);
    add_fixed_apns(info, rec);
    Json operators{json_object_new_array()};
    kjson_array_add_string(operators.get(), "Visible");
    kjson_add_object(info, "operators", std::move(operators));
}

void describe_known_modem(json_object *info, const ModemDriver &rec, const UsbDevice &device, const char *bus,
                          RecordForm form)
{
    if (form == RecordForm::ports)
        return;
    add_basic_record(info, rec, device);
    if (form == RecordForm::basic)
        return;
    if (form == RecordForm::full)
        return add_full_record(info, rec, device, bus);
    kjson_add_string(info, "name", rec.name);
    kjson_add_string(info, "bus", bus);
    if (form == RecordForm::app_brief)
        add_carrier_and_status(info, rec);
}

void describe_unknown_modem(json_object *info, const ModemDriver &rec, const char *bus)
{
    kjson_add_int(info, "modem_id", rec.modem_id);
    kjson_add_string(info, "name", "-");
    kjson_add_string(info, "bus", bus);
    add_carrier_and_status(info, rec);
}

} // namespace

void detect_modem(ModemDriver &out_rec, json_object *info, const char *bus, RecordForm form)
{
    out_rec = no_modem();
    uint32_t vid = 0;
    uint32_t pid = 0;
    const UsbDevice device{bus};
    if (!fits_record(bus) || device.read_ids(vid, pid) != 0) {
        debug_print("please insert device\n");
        return;
    }
    debug_print("vid %X,pid %X\n", vid, pid);
    const ModemDriver *listed = find_model_by_usb(vid, pid);
    const ModemDriver *entry = listed != nullptr ? listed : find_driver_by_id(modem_drivers(), unknown_modem_id);
    out_rec = *entry;
    if (!add_ports(info, device)) {
        out_rec.modem_id = -1;
        return;
    }
    driver_bind_bus(out_rec, bus);
    if (listed != nullptr)
        describe_known_modem(info, out_rec, device, bus, form);
    else
        describe_unknown_modem(info, out_rec, bus);
}

int read_imei(const ModemDriver &rec, TextOut out)
{
    Text<16> port;
    if (rec.ops.get_imei == nullptr || at_port_path(rec.bus.c_str(), rec.control_port, port) <= 0)
        return -1;
    return rec.ops.get_imei(port.c_str(), rec.bus.c_str(), out);
}
