#include "watch/observers.h"

#include <algorithm>
#include <arpa/inet.h>
#include <ctime>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "core/model/state_dir.h"
#include "discovery/record/modem_port.h"
#include "discovery/usb/ports.h"
#include "discovery/usb/usb_ids.h"
#include "platform/clock.h"
#include "platform/interface_state.h"
#include "platform/ubus.h"
#include "readings/fields.h"
#include "status/traffic.h"
#include "watch/actors.h"
#include "watch/probe.h"
#include "watch/sleep.h"

namespace {

constexpr int ubus_limit_s = 2;
constexpr int ubus_not_found = 4;
constexpr int64_t route_is_lost = 2;
constexpr char upgrade_file[] = "/tmp/modem_upgrade_status";
constexpr char public_server_v4[] = "9.9.9.9";
constexpr char public_server_v6[] = "2620:fe::fe";
constexpr char other_public_server[] = "1.1.1.1";
constexpr time_t longest_upgrade_pause_s = 600; // its progress is written far more often

bool has_file(const char *path)
{
    return access(path, F_OK) == 0;
}

// A short mark of when the files were last written.
Text<16> stamp_of_settings()
{
    uint32_t sum = 0;
    for (const char *path : {"/etc/config/modemctl", "/etc/config/network"}) {
        struct stat status = {};
        stat(path, &status);
        sum = sum * 31 + static_cast<uint32_t>(status.st_mtim.tv_sec) * 7 +
              static_cast<uint32_t>(status.st_mtim.tv_nsec / 1000) + static_cast<uint32_t>(status.st_ino);
    }
    return Text<16>::format("%x", sum);
}

bool is_upgrading()
{
    struct stat status;
    const time_t now = time(nullptr);
    // Another user's file would keep the watch away for ever.
    return lstat(upgrade_file, &status) == 0 && (status.st_uid == 0 || status.st_uid == geteuid()) &&
           status.st_mtime <= now && now - status.st_mtime < longest_upgrade_pause_s;
}

// A modem is in its boot loader while somebody writes its firmware, or because it has failed: that shows in time.
bool is_being_flashed(const char *bus, Scene &scene)
{
    constexpr uint32_t longest_flashing_s = 1800;
    constexpr uint32_t loaders[] = {0x05c69008, 0x11999070, 0x0e8d0003, 0x0e8d2000};
    uint32_t vendor = 0;
    uint32_t product = 0;
    read_usb_ids(bus, vendor, product);
    if (std::find(std::begin(loaders), std::end(loaders), vendor << 16 | product) == std::end(loaders)) {
        scene.loader = 0;
        return false;
    }
    if (scene.loader == 0)
        scene.loader = uptime_s();
    return uptime_s() - static_cast<uint32_t>(scene.loader) < longest_flashing_s;
}

void count_packets(const Scene &scene, WatchObservation &seen)
{
    const DeviceCounters counters = read_device_counters(scene.device.view());
    seen.received = static_cast<uint32_t>(counters.rx_packets);
    seen.sent = static_cast<uint32_t>(counters.tx_packets);
}

// Without a process and without ubus: is the device up, and what is its IPv4 address?
bool ask_device(const Text<16> &device, Text<16> &address)
{
    const Fd any{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    ifreq request = {};
    TextOut{request.ifr_name, sizeof request.ifr_name}.assign(device.view());
    address.clear();
    if (!any || ioctl(any.get(), SIOCGIFFLAGS, &request) != 0 || (request.ifr_flags & IFF_UP) == 0)
        return false;
    if (ioctl(any.get(), SIOCGIFADDR, &request) == 0)
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in *>(&request.ifr_addr)->sin_addr, address.data(),
                  address.capacity());
    return true;
}

// The network daemon puts back no route that somebody has removed, or that went as the device was off for a moment.
// While there is another way out, somebody may want it so.
void note_way_out(Scene &scene)
{
    const in_addr_t own_address = find_way_out();
    if (own_address != INADDR_ANY)
        scene.route = own_address == inet_addr(scene.address.c_str()) ? 1 : 0;
    else if (scene.route != 0)
        scene.route = route_is_lost;
}

bool is_our_device(const char *name)
{
    return name != nullptr && *name != '\0' && strlen(name) < 16 && is_made_of(name, "_-.") &&
           strstr(name, "..") == nullptr;
}

size_t length_of(json_object *list)
{
    return json_object_is_type(list, json_type_array) ? json_object_array_length(list) : 0;
}

bool has_address(json_object *status)
{
    return length_of(kjson_get_object(status, "ipv4-address")) + length_of(kjson_get_object(status, "ipv6-address")) +
               length_of(kjson_get_object(status, "ipv6-prefix")) >
           0;
}

// The handlers' words for settings that no try makes right.
bool is_settings_error(const char *code)
{
    for (const char *known : {"UNSUPPORTED_MODEM", "INVALID_OPTIONS", "MISSING_OPTION", "NO_HANDLER"})
        if (strcmp(code, known) == 0)
            return true;
    return false;
}

// True if another interface than ours, one of its companions or the loopback has a way out.
bool has_other_way_out(std::string_view iface)
{
    const UbusResult dump = ubus_call("network.interface", "dump", ubus_limit_s * 1000);
    json_object *list = kjson_get_object(dump.reply.get(), "interface");
    for (size_t i = 0; i < length_of(list); i++) {
        json_object *entry = json_object_array_get_idx(list, i);
        const char *name = kjson_get_string(entry, "interface");
        if (name == nullptr || is_own_interface(name, iface) || !kjson_get_boolean(entry, "up"))
            continue;
        json_object *routes = kjson_get_object(entry, "route");
        for (size_t route = 0; route < length_of(routes); route++)
            if (kjson_get_int(json_object_array_get_idx(routes, route), "mask") == 0)
                return true;
    }
    return false;
}

// A protocol without a handler is shown as "none", and without a network device of its own it never comes up.
bool has_no_protocol(json_object *status)
{
    const char *protocol = kjson_get_string(status, "proto");
    return protocol != nullptr && strcmp(protocol, "none") == 0 && !is_our_device(kjson_get_string(status, "device"));
}

} // namespace

bool is_own_interface(std::string_view name, std::string_view iface)
{
    if (!name.starts_with(iface))
        return false;
    name.remove_prefix(iface.size());
    return name.empty() || name == "_4" || name == "_6";
}

int64_t paused_seconds(const char *bus)
{
    Text<24> end;
    if (read_state(bus, pause_file, 20, end) <= 0)
        return 0;
    return std::max<int64_t>(decimal(trim(end.view())).value_or(0) - uptime_s(), 0);
}

WatchObservation observe(const char *bus, Scene &scene, WatchSettings &settings)
{
    const bool is_online = scene.memory.state == static_cast<uint32_t>(WatchState::online);
    WatchObservation seen{.now = uptime_s()};
    const auto stamp = stamp_of_settings();
    const auto plug = plug_number(bus);
    seen.is_changed = stamp != scene.stamp.view() || (!plug.empty() && plug != scene.plug.view());
    if (stamp != scene.stamp.view() || settings.iface.empty())
        settings = read_watch_settings(bus);
    scene.stamp = stamp;
    scene.plug = plug;
    seen.is_wanted = settings.is_enabled && !settings.is_disabled && (settings.is_configured || can_reconnect());
    seen.is_paused = paused_seconds(bus) > 0;
    seen.is_upgrading = is_upgrading();
    seen.is_there = has_file(Text<64>::format("/sys/bus/usb/devices/%s", bus).c_str());
    seen.has_ports = is_online;
    if (seen.is_there && !is_online) {
        seen.is_upgrading = seen.is_upgrading || is_being_flashed(bus, scene);
        const Json ports{json_object_new_array()};
        seen.has_ports = bus_own_ports(bus, ports.get()) > 0;
    }
    Text<16> address;
    const bool is_up = !scene.device.empty() && ask_device(scene.device, address);
    if (!address.empty())
        scene.address = address; // it may go again
    note_way_out(scene);
    seen.has_device =
        scene.device.empty() || (is_up && (scene.address.empty() || !address.empty()) && scene.route != route_is_lost);
    count_packets(scene, seen);
    return seen;
}

void look(Scene &scene, const WatchSettings &settings, WatchObservation &seen)
{
    seen.link = WatchLink::down;
    bool has_companion = false;
    bool is_addressed = false;
    bool is_unknown = false;
    Text<46> server;
    for (const char *companion : {"", "_4", "_6"}) {
        const auto name = Text<32>::format("%s%s", settings.iface.c_str(), companion);
        const UbusResult result =
            ubus_call(Text<64>::format("network.interface.%s", name.c_str()).c_str(), "status", ubus_limit_s * 1000);
        const Json &status = result.reply;
        const bool is_main = *companion == '\0';
        if (status == nullptr) {
            is_unknown = is_unknown || (is_main && result.code != ubus_not_found);
            if (is_main)
                break; // never connected so far, or the network daemon is away
            continue;
        }
        if (!is_main && !is_companion(status.get(), scene.device.view()))
            continue;
        const char *device = kjson_get_string(status.get(), "l3_device");
        json_object *errors = kjson_get_object(status.get(), "errors");
        if (is_main) {
            static constexpr WatchLink links[] = {WatchLink::up, WatchLink::pending, WatchLink::down};
            seen.link = links[parse_interface_state(status.get())];
            seen.is_started = is_started(status.get());
            seen.is_misset = seen.link == WatchLink::down && has_no_protocol(status.get());
        }
        for (size_t i = 0; i < length_of(errors); i++) {
            const char *code = kjson_get_string(json_object_array_get_idx(errors, i), "code");
            seen.is_misset = seen.is_misset || (code != nullptr && is_settings_error(code));
        }
        has_companion = has_companion || !is_main;
        is_addressed = is_addressed || has_address(status.get());
        if (is_our_device(device))
            scene.device.assign(device);
        json_object *servers = kjson_get_object(status.get(), "dns-server");
        if (server.empty() && length_of(servers) > 0)
            server.assign(json_object_get_string(json_object_array_get_idx(servers, 0)));
    }
    if (seen.link == WatchLink::up && has_companion && !is_addressed)
        seen.link = WatchLink::pending;
    const bool is_device_up = ask_device(scene.device, scene.address);
    if (!is_device_up)
        scene.address.clear();
    if (seen.link == WatchLink::up && scene.route == route_is_lost)
        seen.link = WatchLink::down;
    // Without the network daemon the session goes on, and a modem that is restarted then stays offline.
    if (is_unknown && is_device_up)
        seen.link = WatchLink::up;
    if (!is_unknown)
        scene.server = server;
    seen.has_other_wan = settings.last_stage.view() != "router" || has_other_way_out(settings.iface.view());
    // A device that was not known before has counted from its own beginning.
    count_packets(scene, seen);
}

void probe(const Scene &scene, const WatchSettings &settings, WatchObservation &seen)
{
    const char *servers[] = {settings.targets[0].c_str(), settings.targets[1].c_str(), ""};
    if (*servers[0] == '\0') {
        servers[0] = scene.server.c_str();
        // A line that has only IPv6 reaches no other server.
        servers[1] = scene.address.empty() ? public_server_v6 : public_server_v4;
        // A modem that is a router answers itself what is asked at its own address. In a private network nobody else
        // answers; then that is better than none.
        if (scene.server.view().starts_with("192.168.")) {
            servers[0] = other_public_server;
            if (scene.memory.answered == 0)
                servers[2] = scene.server.c_str();
        }
    }
    seen.is_probed = true;
    const char *first = probe_network(static_cast<WatchProbe>(settings.config.probe), scene.device.c_str(), servers);
    seen.is_answered = first != nullptr;
    seen.is_near = seen.is_answered && first == servers[2];
}
