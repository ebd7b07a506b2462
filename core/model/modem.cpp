#include "core/model/modem.h"

namespace {
constinit int32_t current_id = -1;
}

void bus_to_ident(const char *bus, TextOut out)
{
    out.assign(bus);
    for (char *character = out.data(); *character != '\0'; character++)
        if (*character == '-' || *character == '.')
            *character = '_';
}

Text<16> interface_of_bus(const char *bus)
{
    Text<16> ident;
    bus_to_ident(bus, ident);
    Text<16> iface = "modem_";
    iface.append(ident.view());
    return iface;
}

int driver_bind_bus(ModemDriver &rec, const char *bus)
{
    rec.iface = interface_of_bus(bus);
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
        Text<20> not_shown;
        const int result = rec.ops.get_sim_status(rec, not_shown);
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

int32_t current_modem_id()
{
    return current_id;
}

void set_current_modem_id(int32_t id)
{
    current_id = id;
}
