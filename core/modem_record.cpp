#include "core/modem_table.h"

ModemDriver *find_driver_by_id(ModemDriver *head, int32_t id)
{
    if (id < 0)
        return nullptr;
    for (ModemDriver *entry = head; entry != nullptr; entry = entry->next)
        if (entry->modem_id == id)
            return entry;
    return nullptr;
}

ModemDriver *find_driver_by_usb(ModemDriver *head, uint32_t vid, uint32_t pid)
{
    for (ModemDriver *entry = head; entry != nullptr; entry = entry->next)
        if (entry->vid == vid && entry->pid == pid)
            return entry;
    return nullptr;
}

void bus_to_ident(const char *bus, TextOut out)
{
    out.assign(bus);
    for (char *character = out.data(); *character != '\0'; character++)
        if (*character == '-' || *character == '.')
            *character = '_';
}

int driver_bind_bus(ModemDriver &rec, const char *bus)
{
    Text<16> ident;
    bus_to_ident(bus, ident);
    rec.iface.assign("modem_");
    rec.iface.append(ident.view());
    rec.bus.assign(bus);
    return 0;
}

int sim_state_text(const ModemDriver &rec, TextOut out)
{
    struct State {
        int result;
        const char *text;
    };
    static constexpr State sim_states[] = {{-1, "NO_SIM"}, {-2, "PIN_SIM"}, {-4, "PUK_SIM"}};

    if (rec.ops.get_sim_status != nullptr) {
        Text<20> scratch;
        const int result = rec.ops.get_sim_status(rec, scratch);
        for (const State &state : sim_states) {
            if (result == state.result) {
                out.assign(state.text);
                return result;
            }
        }
    }
    if (rec.ops.check_register != nullptr && rec.ops.check_register(rec) < 0) {
        out.assign("NO_REG");
        return -3;
    }
    return 0;
}
