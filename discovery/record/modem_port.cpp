#include "discovery/record/modem_port.h"

#include <cstring>

#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "core/table/modem_table.h"
#include "discovery/usb/ports.h"
#include "platform/files.h"
#include "readings/fields.h"

namespace {

constexpr int probe_limit_ms = 300;
constexpr int kept_port_limit_ms = 2000; // this port has answered before
constexpr char port_file[] = "at-port";  // the plug number and the path, a line each

InfoResult open_path(ModemPort &modem)
{
    switch (modem.session.open(modem.path.c_str())) {
    case AtSession::Opened::ready:
        return InfoResult::reported;
    case AtSession::Opened::busy:
        return InfoResult::port_busy;
    case AtSession::Opened::no_port:
        break;
    }
    return InfoResult::no_answer;
}

bool read_kept_path(const char *bus, const Text<16> &plug, Text<30> &path)
{
    Text<64> kept;
    if (plug.empty() || read_state(bus, port_file, kept.capacity() - 1, kept) <= 0)
        return false;
    std::string_view rest = kept.view();
    if (take_until(rest, "\n") != plug.view())
        return false;
    path.assign(take_until(rest, "\n"));
    return path.view().starts_with("/dev/tty");
}

void keep_path(const char *bus, const Text<16> &plug, const Text<30> &path)
{
    if (!plug.empty())
        write_state(bus, port_file, Text<64>::format("%s\n%s\n", plug.c_str(), path.c_str()).view());
}

bool answers(ModemPort &modem, int limit_ms)
{
    Text<64> reply;
    return modem.session.ask("AT", reply, limit_ms) == AtSession::Answer::complete;
}

// Each port once, in the order of the interfaces. A port that prints of itself (NMEA) does not answer, nor does one
// that is busy; if none answers, the busy one may be it.
InfoResult find_answering_port(const char *bus, ModemPort &modem)
{
    const Json ports{json_object_new_array()};
    bus_own_ports(bus, ports.get());
    InfoResult result = InfoResult::no_answer;
    for (size_t i = 0; i < json_object_array_length(ports.get()); i++) {
        modem.path.assign(json_object_get_string(json_object_array_get_idx(ports.get(), i)));
        if (strstr(modem.path.c_str(), "tty") == nullptr)
            continue;
        const InfoResult opened = open_path(modem);
        if (opened == InfoResult::port_busy)
            result = opened;
        if (opened != InfoResult::reported)
            continue;
        if (answers(modem, probe_limit_ms))
            return InfoResult::reported;
        modem.session.close();
    }
    return result;
}

InfoResult open_answering_port(const char *bus, ModemPort &modem)
{
    const Text<16> plug = plug_number(bus);
    if (read_kept_path(bus, plug, modem.path)) {
        const InfoResult opened = open_path(modem);
        if (opened == InfoResult::port_busy || (opened == InfoResult::reported && answers(modem, kept_port_limit_ms)))
            return opened;
        modem.session.close();
    }
    const InfoResult result = find_answering_port(bus, modem);
    if (result == InfoResult::reported)
        keep_path(bus, plug, modem.path);
    return result;
}

} // namespace

InfoResult open_modem(const char *bus, ModemPort &modem)
{
    const UsbDevice device{bus};
    if (device.read_ids(modem.usb_vendor, modem.usb_product) != 0)
        return InfoResult::no_modem;
    const ModemDriver *listed = find_model_by_usb(modem.usb_vendor, modem.usb_product);
    modem.rec = *(listed != nullptr ? listed : find_driver_by_id(modem_drivers(), unknown_modem_id));
    driver_bind_bus(modem.rec, bus);
    if (is_unknown_device(modem.rec) || device.port_path(modem.rec.control_port, modem.path) <= 0)
        return open_answering_port(bus, modem);
    return open_path(modem);
}

Text<16> plug_number(const char *bus)
{
    Text<16> number;
    read_file(Text<80>::format("/sys/bus/usb/devices/%s/devnum", bus).c_str(), 8, number);
    return Text<16>{trim(number.view())};
}
