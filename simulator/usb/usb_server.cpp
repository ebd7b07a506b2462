#include "simulator/usb/usb_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "simulator/router/plug.h"
#include "simulator/usb/dial.h"
#include "simulator/usb/hub.h"
#include "simulator/usb/modem_gadget.h"
#include "simulator/usb/network_line.h"
#include "simulator/usb/operator_network.h"

namespace simulator {

namespace {

constexpr size_t message_head = 3;
constexpr int64_t look_again_ms = 20;
constexpr unsigned hub_port = 0; ///< of the controller: the hub is 1-1
constexpr std::string_view behind_hub = "1-1.";
constexpr std::string_view at_controller = "1-";
constexpr const char *usb_devices = "/sys/bus/usb/devices/";
constexpr const char *new_devices = "/sys/bus/usb/devices/usb1/authorized_default";

/// The number after prefix, 0 if text is anything else.
unsigned number_after(std::string_view prefix, const std::string &text)
{
    return text.starts_with(prefix) && text.find('.', prefix.size()) == std::string::npos
               ? static_cast<unsigned>(atoi(text.c_str() + prefix.size()))
               : 0;
}

bool put(const std::string &path, std::string_view text)
{
    const Fd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool is_there(const std::string &bus)
{
    return access((std::string(usb_devices) + bus).c_str(), F_OK) == 0;
}

/// All USB devices of the router.
class UsbDevices {
  public:
    UsbDevices(std::vector<UsbPlan> plans, Fd router);
    void run();

  private:
    struct Place {
        std::string bus;
        unsigned hub_port = 0; ///< 0: at the controller itself
        std::unique_ptr<Uplink> uplink;
        std::map<int, NetworkLine> lines; ///< by interface
        DialPeer peer;
        std::map<int, Dial> calls; ///< by interface
        std::unique_ptr<ModemGadget> gadget;
        bool connected = false; ///< behind the hub: the kernel has the connection, whether plugged in or not
    };

    void on_router();
    void on_message(const UsbMessage &message);
    GadgetEvents events_of(Place &place, uint8_t modem);
    static void work_line(Place &place, const UsbMessage &message);
    void call(Place &place, const UsbMessage &message);
    static Dial *online_call(Place &place, int interface);
    Dial::Host host_of(Place &place, uint8_t modem, int interface);
    void send_news(uint8_t modem, int interface, CallNews news);
    void plug(Place &place);
    void unplug(Place &place);
    void connect_next();
    void connect_behind_hub(Place &place);
    void connected(Place &place);
    void when(std::function<bool()> ready, std::function<void()> then);
    void flush();

    EventLoop loop_;
    OperatorNetwork network_{loop_};
    Fd router_;
    std::unique_ptr<UsbHub> hub_;
    std::list<Place> places_;
    std::deque<Place *> to_connect_; ///< one after the other
    std::deque<UsbMessage> for_router_;
};

UsbDevices::UsbDevices(std::vector<UsbPlan> plans, Fd router) : router_(std::move(router))
{
    for (size_t i = 0; i < plans.size(); i++) {
        Place &place = places_.emplace_back();
        place.bus = plans[i].bus;
        place.hub_port = number_after(behind_hub, place.bus);
        const unsigned port = place.hub_port > 0 ? place.hub_port : number_after(at_controller, place.bus);
        const int number = static_cast<int>(i) + 1;
        place.uplink = std::make_unique<Uplink>(loop_, network_.line(number), number, plans[i].demand);
        place.peer = dial_peer(session_of(number), plans[i].demand);
        place.gadget = std::make_unique<ModemGadget>(loop_, port - 1, modem_layout(plans[i].profile),
                                                     events_of(place, static_cast<uint8_t>(i)));
        for (const Interface &interface : plans[i].profile.interfaces)
            if (interface.has_channel() || interface.is_standard())
                place.lines.try_emplace(
                    interface.number, *place.uplink,
                    NetworkLine::Host{
                        .send = [&place, own = interface.number](
                                    std::string_view frame) { place.gadget->send_frame(own, frame); },
                        .has_room = [&place, own = interface.number] { return place.gadget->has_room(own); }});
        if (place.hub_port > 0 && !hub_)
            hub_ = std::make_unique<UsbHub>(loop_, hub_port);
    }
    if (hub_)
        hub_->attach();
    loop_.watch(router_.get(), EPOLLIN | EPOLLOUT | EPOLLET, [this](uint32_t) { on_router(); });
}

GadgetEvents UsbDevices::events_of(Place &place, uint8_t modem)
{
    const auto line = [&place](int interface) {
        const auto found = place.lines.find(interface);
        return found == place.lines.end() ? nullptr : &found->second;
    };
    return {.received =
                [this, &place, modem](int interface, std::string_view bytes) {
                    if (Dial *call = online_call(place, interface))
                        return call->on_bytes(bytes);
                    for (size_t start = 0; start < bytes.size(); start += most_usb_bytes)
                        for_router_.push_back({UsbMessage::Kind::bytes, modem, static_cast<uint8_t>(interface),
                                               std::string(bytes.substr(start, most_usb_bytes))});
                    flush();
                },
            .frame =
                [line](int interface, std::string_view frame) {
                    if (NetworkLine *own = line(interface))
                        own->on_frame(frame);
                },
            .room =
                [line, &place](int interface) {
                    if (NetworkLine *own = line(interface))
                        own->on_room();
                    else if (Dial *call = online_call(place, interface))
                        call->on_room();
                },
            .dtr_lost = [this, modem](int interface) { send_news(modem, interface, CallNews::dtr_lost); }};
}

void UsbDevices::work_line(Place &place, const UsbMessage &message)
{
    const auto line = place.lines.find(message.interface);
    if (line == place.lines.end())
        return;
    bool is_open = false;
    if (message.kind == UsbMessage::Kind::open_line)
        is_open = line->second.open(parse_line_order(message.bytes));
    else
        line->second.close();
    place.gadget->set_connected(message.interface, is_open);
}

Dial *UsbDevices::online_call(Place &place, int interface)
{
    const auto found = place.calls.find(interface);
    return found == place.calls.end() || !found->second.is_online() ? nullptr : &found->second;
}

void UsbDevices::send_news(uint8_t modem, int interface, CallNews news)
{
    for_router_.push_back(
        {UsbMessage::Kind::call_news, modem, static_cast<uint8_t>(interface), std::string{static_cast<char>(news)}});
    flush();
}

Dial::Host UsbDevices::host_of(Place &place, uint8_t modem, int interface)
{
    return {.send = [&place, interface](std::string_view bytes) { place.gadget->send_to_host(interface, bytes); },
            .has_room = [&place, interface] { return place.gadget->has_room(interface); },
            .escaped = [this, modem, interface] { send_news(modem, interface, CallNews::escaped); },
            .ended = [this, modem, interface] { send_news(modem, interface, CallNews::ended); }};
}

void UsbDevices::call(Place &place, const UsbMessage &message)
{
    auto found = place.calls.find(message.interface);
    if (found != place.calls.end() && found->second.is_over()) {
        place.calls.erase(found);
        found = place.calls.end();
    }
    if (found == place.calls.end())
        found = place.calls
                    .try_emplace(message.interface, loop_, place.peer, host_of(place, message.modem, message.interface))
                    .first;
    found->second.go_online();
}

void UsbDevices::run()
{
    loop_.run();
}

void UsbDevices::on_router()
{
    flush();
    while (const auto message = take_message(router_))
        on_message(*message);
    char byte = 0;
    if (recv(router_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0)
        loop_.stop();
}

/// The router may be waiting for the kernel, which waits for this process: nothing here waits for the router.
void UsbDevices::flush()
{
    while (!for_router_.empty() && send_message(router_, for_router_.front()))
        for_router_.pop_front();
}

void UsbDevices::on_message(const UsbMessage &message)
{
    Place &place = *std::next(places_.begin(), message.modem);
    switch (message.kind) {
    case UsbMessage::Kind::plug:
        return plug(place);
    case UsbMessage::Kind::unplug:
        return unplug(place);
    case UsbMessage::Kind::stick:
        return place.gadget->set_stuck(true);
    case UsbMessage::Kind::bytes:
        return place.gadget->send_to_host(message.interface, message.bytes);
    case UsbMessage::Kind::open_line:
    case UsbMessage::Kind::close_line:
        return work_line(place, message);
    case UsbMessage::Kind::call:
        return call(place, message);
    case UsbMessage::Kind::hold_call:
        if (Dial *call = online_call(place, message.interface))
            call->hold();
        return;
    case UsbMessage::Kind::hang_up:
        if (place.calls.erase(message.interface) > 0)
            place.gadget->forget_bytes(message.interface);
        return;
    case UsbMessage::Kind::call_news:
        return;
    }
}

void UsbDevices::when(std::function<bool()> ready, std::function<void()> then)
{
    if (ready())
        return then();
    loop_.at(EventLoop::now_ms() + look_again_ms, [this, ready, then] { when(ready, then); });
}

void UsbDevices::plug(Place &place)
{
    // A driver takes a carrier for granted until it hears that there is none.
    for (const auto &[interface, line] : place.lines)
        place.gadget->set_connected(interface, false);
    if (place.connected)
        return hub_->connect(static_cast<int>(place.hub_port), true);
    to_connect_.push_back(&place);
    if (to_connect_.size() == 1)
        connect_next();
}

/// One after the other: while one gets its connection, no other device may come.
void UsbDevices::connect_next()
{
    if (to_connect_.empty())
        return;
    Place &place = *to_connect_.front();
    if (place.hub_port > 0)
        return when([] { return is_there("1-1:1.0/driver"); }, [this, &place] { connect_behind_hub(place); });
    when([&place] { return place.gadget->attach(); }, [this, &place] { connected(place); });
}

/// The next one comes when the kernel's drivers have made this one's devices: their numbers are in the modems' order.
void UsbDevices::connected(Place &place)
{
    when([&place] { return is_there(place.bus + "/port"); },
         [this] {
             to_connect_.pop_front();
             connect_next();
         });
}

/// The controller tells devices apart by their port's number in their own hub, so a connection for port 2 of our hub is
/// made for port 2 of the controller. The device that the kernel finds there gets no drivers and is removed at once;
/// the connection stays, and serves the device behind our hub from then on.
void UsbDevices::connect_behind_hub(Place &place)
{
    const std::string spare = "1-" + std::to_string(place.hub_port);
    put(new_devices, "0");
    when([&place] { return place.gadget->attach(); },
         [this, &place, spare] {
             when([spare] { return is_there(spare + "/remove"); },
                  [this, &place, spare] {
                      // The kernel answers the write only after requests to the device, which this process answers.
                      if (fork() == 0)
                          _exit(put(usb_devices + spare + "/remove", "1") ? 0 : 1);
                      when([spare] { return !is_there(spare); },
                           [this, &place] {
                               put(new_devices, "1");
                               place.connected = true;
                               hub_->connect(static_cast<int>(place.hub_port), true);
                               connected(place);
                           });
                  });
         });
}

void UsbDevices::unplug(Place &place)
{
    place.uplink->close();
    place.calls.clear();
    place.gadget->lose_transfers();
    place.gadget->lose_messages();
    place.gadget->set_stuck(false);
    if (place.hub_port == 0)
        place.gadget->drop();
    else
        hub_->connect(static_cast<int>(place.hub_port), false);
}

} // namespace

bool send_message(const Fd &socket, const UsbMessage &message)
{
    std::string text{static_cast<char>(message.kind), static_cast<char>(message.modem),
                     static_cast<char>(message.interface)};
    text += message.bytes;
    return send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

std::optional<UsbMessage> take_message(const Fd &socket)
{
    std::array<char, message_head + most_usb_bytes> buffer;
    const ssize_t count = recv(socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < static_cast<ssize_t>(message_head))
        return std::nullopt;
    return UsbMessage{static_cast<UsbMessage::Kind>(buffer[0]), static_cast<uint8_t>(buffer[1]),
                      static_cast<uint8_t>(buffer[2]),
                      std::string(buffer.data() + message_head, static_cast<size_t>(count) - message_head)};
}

std::string check_usb_buses(const std::vector<std::string> &buses)
{
    std::set<unsigned> taken;
    for (const std::string &bus : buses) {
        const unsigned in_hub = number_after(behind_hub, bus);
        const unsigned number = in_hub > 0 ? in_hub : number_after(at_controller, bus);
        if (number < 2 || number > (in_hub > 0 ? static_cast<unsigned>(UsbHub::ports) : 15))
            return "--kernel: its controller has the buses 1-1.2 to 1-1.7 and 1-2 to 1-15, not " + bus;
        if (!taken.insert(number).second)
            return "--kernel: its controller cannot tell " + bus + " from the other bus that ends in " +
                   std::to_string(number);
    }
    return {};
}

Fd start_usb_devices(std::vector<UsbPlan> plans)
{
    std::array<int, 2> ends;
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    Fd own(ends[0]);
    Fd devices(ends[1]);
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child > 0)
        return own;
    own = Fd();
    signal(SIGCHLD, SIG_IGN);
    fcntl(devices.get(), F_SETFL, O_NONBLOCK);
    try {
        UsbDevices(std::move(plans), std::move(devices)).run();
    } catch (const std::exception &error) {
        fprintf(stderr, "simrouter: the USB devices: %s\n", error.what());
        _exit(1);
    }
    _exit(0);
}

} // namespace simulator
