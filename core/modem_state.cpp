#include "core/modem_table.h"

namespace {

constexpr int iface_is_down = 2;
constexpr int disconnect_polls = 5;

constinit int32_t current_id = -1;

} // namespace

int32_t current_modem_id()
{
    return current_id;
}

void set_current_modem_id(int32_t id)
{
    current_id = id;
}

int modem_disconnect()
{
    const ModemDriver *entry = find_driver_by_id(modem_drivers(), current_id);
    if (entry == nullptr || entry->ops.iface_down == nullptr)
        return -1;
    if (entry->ops.iface_down(disconnect_polls, entry->iface.c_str()) != iface_is_down)
        return -1;
    current_id = -1;
    return 0;
}

int remove_sms(const char *name)
{
    const ModemDriver *entry = find_driver_by_id(modem_drivers(), unknown_modem_id);
    if (entry == nullptr || entry->ops.sms_remove == nullptr)
        return -1;
    return entry->ops.sms_remove(name);
}

int remove_all_sms(int32_t modem_id)
{
    const ModemDriver *entry = find_driver_by_id(modem_drivers(), modem_id);
    if (entry == nullptr || entry->ops.sms_remove_all == nullptr)
        return -1;
    return entry->ops.sms_remove_all(*entry);
}
