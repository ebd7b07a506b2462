#include "discovery/usb/buses.h"

ModemBuses read_modem_buses(const Uci &uci)
{
    ModemBuses buses;
    for (int place = 0; place < modem_places; place++)
        kuci2_get_list_index(uci, "devconf.modem.bus", place, buses[static_cast<size_t>(place)]);
    return buses;
}
