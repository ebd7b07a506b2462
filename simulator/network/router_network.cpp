#include "simulator/network/router_network.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <uci.h>
#include <unistd.h>

#include "simulator/network/network_status.h"

namespace simulator {

namespace {

constexpr const char *ubus_socket = "/var/run/ubus/ubus.sock";
constexpr const char *net_folder = "/sys/class/net/";
constexpr const char *board_devices[] = {"eth0", "eth1", "br-lan"};

struct UciFree {
    void operator()(uci_context *context) const { uci_free_context(context); }
};

InterfaceSection read_section(const uci_section &section)
{
    InterfaceSection read{.name = section.e.name, .options = {}};
    uci_element *option_element;
    uci_foreach_element(&section.options, option_element)
    {
        const uci_option *option = uci_to_option(option_element);
        std::vector<std::string> &values = read.options[option->e.name];
        if (option->type == UCI_TYPE_STRING) {
            values.emplace_back(option->v.string);
            continue;
        }
        uci_element *item;
        uci_foreach_element(&option->v.list, item) values.emplace_back(item->name);
    }
    return read;
}

std::optional<std::vector<InterfaceSection>> read_interfaces()
{
    const std::unique_ptr<uci_context, UciFree> context(uci_alloc_context());
    uci_package *package = nullptr;
    if (!context || uci_load(context.get(), "network", &package) != UCI_OK)
        return std::nullopt;
    std::vector<InterfaceSection> sections;
    uci_element *element;
    uci_foreach_element(&package->sections, element)
    {
        const uci_section *section = uci_to_section(element);
        if (!section->anonymous && std::string_view(section->type) == "interface")
            sections.push_back(read_section(*section));
    }
    return sections;
}

/// A dial-up connection's device is no USB device's: it comes with the protocol.
NetDevices::Kind kind_of(const std::string &device)
{
    using enum NetDevices::Kind;
    return device.starts_with("3g-") || device.starts_with("ppp") ? point_to_point : link_layer;
}

bool has_device(const std::string &name)
{
    return name.starts_with('/') ? access(name.c_str(), F_OK) == 0 : NetDevices::exists(name);
}

/// As sysfs shows them: whether a line has carrier is in another file there.
std::string read_flags(const std::string &device)
{
    const Fd any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    device.copy(request.ifr_name, IFNAMSIZ - 1);
    if (ioctl(any.get(), SIOCGIFFLAGS, &request) != 0)
        return {};
    char text[16];
    snprintf(text, sizeof text, "0x%x\n", static_cast<unsigned>(request.ifr_flags & ~IFF_RUNNING & 0xffff));
    return text;
}

void apply_faults(UbusServer &ubus, const UbusFaults &faults)
{
    ubus.set_deaf(faults.deaf);
    ubus.set_dying(faults.dying);
    ubus.set_reply_delay(faults.delay_ms);
    for (const std::string &object : faults.silent)
        ubus.set_silent(object, true);
}

} // namespace

RouterNetwork::RouterNetwork(EventLoop &loop, Journal &journal, const Options &options, FindModem find_modem)
    : loop_(loop), journal_(journal), find_modem_(std::move(find_modem)), devices_(loop)
{
    for (const char *name : board_devices)
        devices_.create(name, NetDevices::Kind::board);
    if (options.kernel)
        handlers_.emplace(
            loop_,
            ProtocolHandlers::Ears{.report = [this](const std::string &interface,
                                                    const HandlerReport &report) { daemon_->hear(interface, report); },
                                   .log = [this](const std::string &line) { journal_.add("syslog", "netifd", line); }});
    daemon_ = std::make_unique<NetworkDaemon>(surroundings());
    for (const LinkChoice &link : options.links) {
        if (link.interface.empty())
            daemon_->set_default_behaviour(link.behaviour);
        else
            daemon_->set_behaviour(link.interface, link.behaviour);
    }
    links_are_known_ = true;
    daemon_->reload();
    if (options.ubus.absent)
        return;
    ubus_ = std::make_unique<UbusServer>(ubus_socket);
    register_network_daemon(*ubus_, *daemon_);
    ubus_->add_object("mqtt", {{"notify", {}}}, [this](const std::string &method, json_object *arguments) {
        journal_.add("ubus", "mqtt", method + ' ' + json_object_to_json_string_ext(arguments, JSON_C_TO_STRING_PLAIN));
        return UbusReply{};
    });
    apply_faults(*ubus_, options.ubus);
    loop_.watch(ubus_->descriptor(), EPOLLIN, [this](uint32_t) { ubus_->on_ready(); });
}

RouterNetwork::~RouterNetwork()
{
    if (ubus_)
        loop_.unwatch(ubus_->descriptor());
}

NetworkSurroundings RouterNetwork::surroundings()
{
    return {.now = EventLoop::now_ms,
            .read_config = [this] { return links_are_known_ ? read_interfaces() : std::nullopt; },
            .has_device = has_device,
            .has_carrier = {},
            .change_device = [this](const DeviceChange &change) { change_device(change); },
            .modem_variable =
                [this](const InterfaceSection &section, const std::string &variable) {
                    const PluggedModem *modem = modem_of(section);
                    return modem ? modem->modem().variable(variable) : "";
                },
            .modem_netdev =
                [this](const InterfaceSection &section) {
                    const PluggedModem *modem = modem_of(section);
                    return modem ? modem->netdev_of(option_of(section, "device")) : "";
                },
            .start_handler =
                [this](const InterfaceSection &section, const std::string &device) {
                    const bool is_modems = option_of(section, "proto") != "dhcp" || modem_of(section) != nullptr;
                    return handlers_ && is_modems && handlers_->start(section, device);
                },
            .stop_handler = [this](const std::string &interface) { handlers_->stop(interface); },
            .wake_at = [this](int64_t at) { loop_.at(at, [this] { daemon_->advance(); }); }};
}

void RouterNetwork::end_sessions()
{
    if (handlers_)
        handlers_->end();
}

void RouterNetwork::set_device(const std::string &name, bool present)
{
    present ? devices_.create(name, NetDevices::Kind::link_layer) : devices_.remove(name);
}

void RouterNetwork::check_devices()
{
    daemon_->check_devices();
    write_flags();
}

/// The router's sysfs is made of files, unless the kernel has the modems.
void RouterNetwork::write_flags() const
{
    std::error_code before_sysfs;
    if (handlers_)
        return;
    for (const auto &entry : std::filesystem::directory_iterator(net_folder, before_sysfs))
        if (const std::string flags = read_flags(entry.path().filename()); !flags.empty())
            std::ofstream(entry.path() / "flags") << flags;
}

const PluggedModem *RouterNetwork::modem_of(const InterfaceSection &section) const
{
    for (const char *option : {"device", "ifname"})
        if (const PluggedModem *modem = find_modem_(option_of(section, option)))
            return modem;
    return nullptr;
}

/// A modem's own device has its folder from the modem.
bool RouterNetwork::makes_folder(const std::string &device) const
{
    return !handlers_ && kind_of(device) == NetDevices::Kind::point_to_point;
}

void RouterNetwork::change_device(const DeviceChange &change)
{
    change.up ? take_device_up(change) : take_device_down(change.device);
    write_flags();
}

void RouterNetwork::take_device_down(const std::string &device)
{
    devices_.clear_addresses(device);
    devices_.set_up(device, false);
    if (protocol_devices_.erase(device) == 0)
        return;
    devices_.remove(device);
    if (makes_folder(device))
        std::filesystem::remove_all(net_folder + device);
}

void RouterNetwork::take_device_up(const DeviceChange &change)
{
    if (!NetDevices::exists(change.device) && devices_.create(change.device, kind_of(change.device))) {
        protocol_devices_.insert(change.device);
        if (makes_folder(change.device))
            std::filesystem::create_directories(net_folder + change.device);
    }
    // A new metric takes the place of the old one. A companion's parent has no addresses, and must leave it its own.
    if (!change.addresses.empty())
        devices_.clear_addresses(change.device);
    devices_.set_up(change.device, true);
    // netifd gives the interface's metric to the subnet's route too, but pppd's address and its route are pppd's.
    const int subnet_metric = kind_of(change.device) == NetDevices::Kind::point_to_point ? 0 : change.metric;
    for (const InterfaceAddress &address : change.addresses)
        devices_.add_address(change.device, {address.address, address.mask, subnet_metric, address.peer});
    if (!change.gateway.empty())
        devices_.add_default_route(change.device, change.gateway, change.metric);
    devices_.serve_names(change.device, change.names);
    devices_.move_traffic(change.device, change.traffic);
}

} // namespace simulator
