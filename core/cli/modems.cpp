#include "core/cli/modems.h"

#include <cstdio>
#include <cstring>

#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "discovery/usb/buses.h"
#include "discovery/usb/port_holder.h"
#include "discovery/usb/ports.h"
#include "discovery/usb/usb_ids.h"
#include "platform/tell_person.h"

namespace {

constexpr char no_modem[] = "there is no modem on any bus";

// Null if the device on bus is not a modem, or is outside the tree that detection searches.
Json describe_usb_device(const char *bus)
{
    uint32_t vid = 0;
    uint32_t pid = 0;
    if (read_usb_ids(bus, vid, pid) != 0)
        return nullptr;
    Json ports{json_object_new_array()};
    const int port_count = bus_own_ports(bus, ports.get());
    const ModemDriver *model = find_model_by_usb(vid, pid);
    const bool is_listed = model != nullptr && !is_unknown_device(*model);
    if (!is_listed && port_count == 0)
        return nullptr;
    Json modem{json_object_new_object()};
    kjson_add_string(modem.get(), "bus", bus);
    kjson_add_string(modem.get(), "model", is_listed ? model->name : "unlisted");
    kjson_add_string(modem.get(), "usb", Text<10>::format("%04x:%04x", vid, pid).view());
    kjson_add_object(modem.get(), "ports", std::move(ports));
    return modem;
}

void print_modem(json_object *modem)
{
    printf("%-9s %-11s %s", kjson_get_string(modem, "bus"), kjson_get_string(modem, "model"),
           kjson_get_string(modem, "usb"));
    json_object *ports = kjson_get_object(modem, "ports");
    for (size_t i = 0; i < json_object_array_length(ports); i++)
        printf(" %s", json_object_get_string(json_object_array_get_idx(ports, i)));
    if (const char *manager = kjson_get_string(modem, "held_by"); manager != nullptr)
        printf(" held by %s", manager);
    puts("");
}

} // namespace

Json list_modems()
{
    Json modems{json_object_new_array()};
    const Json buses = list_usb_buses();
    for (size_t i = 0; i < json_object_array_length(buses.get()); i++)
        kjson_array_add(modems.get(),
                        describe_usb_device(json_object_get_string(json_object_array_get_idx(buses.get(), i))));
    return modems;
}

void add_holder(json_object *modem)
{
    if (const auto manager = other_manager_of(kjson_get_object(modem, "ports")); !manager.empty())
        kjson_add_string(modem, "held_by", manager.view());
}

int run_modems(const CommandRun &run)
{
    const Json modems = list_modems();
    const size_t count = json_object_array_length(modems.get());
    for (size_t i = 0; i < count; i++)
        add_holder(json_object_array_get_idx(modems.get(), i));
    if (!run.arguments.empty() && strcmp(run.arguments[0], "--json") == 0)
        puts(json_pretty(modems.get()));
    else
        for (size_t i = 0; i < count; i++)
            print_modem(json_object_array_get_idx(modems.get(), i));
    if (count > 0)
        return 0;
    tell_person(no_modem);
    return 1;
}

Text<200> modems_sentence()
{
    const Json modems = list_modems();
    Text<200> sentence;
    for (size_t i = 0; i < json_object_array_length(modems.get()); i++) {
        json_object *modem = json_object_array_get_idx(modems.get(), i);
        sentence.append(i == 0 ? "modems are on " : ", ");
        sentence.append(
            Text<60>::format("%s (%s)", kjson_get_string(modem, "bus"), kjson_get_string(modem, "model")).view());
    }
    if (sentence.empty())
        sentence.append(no_modem);
    return sentence;
}
