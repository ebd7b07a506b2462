#include "simulator/usb/hub.h"

namespace simulator {

namespace {

// Features of a port are the numbers of the bits in its status, and from 16 on in what has changed.
enum PortFeature : uint16_t {
    connection = 0,
    enable = 1,
    suspend = 2,
    reset = 4,
    power = 8,
    high_speed = 10,
    changes = 16
};

// Requests to a hub and to one of its ports.
constexpr uint8_t from_hub = 0xa0;
constexpr uint8_t to_hub = 0x20;
constexpr uint8_t from_port = 0xa3;
constexpr uint8_t to_port = 0x23;
constexpr uint8_t get_status_request = 0;
constexpr uint8_t clear_feature_request = 1;
constexpr uint8_t set_feature_request = 3;
constexpr uint8_t get_descriptor_request = 6;

constexpr int change_endpoint = 1;
constexpr int64_t reset_ms = 10;

uint16_t bit(uint16_t feature)
{
    return static_cast<uint16_t>(1U << feature);
}

Descriptors hub_descriptors()
{
    const std::string interface {
        9, 4, 0, 0, 1, 9, 0, 0, 0
    };
    const std::string endpoint = endpoint_descriptor(0x80 | change_endpoint, 3, 1, 4);
    return {.device = std::string{18, 1} + little_endian(0x200, 2) + std::string{9, 0, 1, 64} +
                      little_endian(0x05e3, 2) + little_endian(0x0608, 2) + little_endian(0x100, 2) +
                      std::string{0, 0, 0, 1},
            .configuration = std::string{9, 2} +
                             little_endian(static_cast<uint32_t>(9 + interface.size() + endpoint.size()), 2) +
                             std::string{1, 1, 0, '\xe0', 50} + interface + endpoint};
}

} // namespace

UsbHub::UsbHub(EventLoop &loop, unsigned port) : UsbGadget(loop, port, hub_descriptors()), own_loop_(loop) {}

void UsbHub::connect(int port, bool present)
{
    Port &state = state_[static_cast<size_t>(port)];
    state.status = static_cast<uint16_t>(bit(power) | (present ? bit(connection) : 0));
    state.change |= bit(connection);
    report_changes();
}

std::optional<std::string> UsbHub::on_request(const UsbRequest &request, std::string_view)
{
    if (request.type == from_hub && request.request == get_descriptor_request)
        // ports, each switched by itself, 20 ms until power is good, no current of its own, none is fixed in place
        return std::string{9, 0x29, ports, '\x89', 0, 10, 0, 0, '\xff'};
    if (request.type == from_hub && request.request == get_status_request)
        return little_endian(0, 4);
    if (request.type == to_hub)
        return std::string();
    const size_t number = request.index & 0xff;
    if (number == 0 || number > ports)
        return std::nullopt;
    Port &port = state_[number];
    if (request.type == from_port && request.request == get_status_request)
        return little_endian(port.status, 2) + little_endian(port.change, 2);
    if (request.type != to_port)
        return std::nullopt;
    if (request.request == set_feature_request)
        set_feature(port, request.value);
    else if (request.request == clear_feature_request)
        clear_feature(port, request.value);
    else
        return std::nullopt;
    return std::string();
}

void UsbHub::set_feature(Port &port, uint16_t feature)
{
    if (feature != reset) {
        if (feature < changes)
            port.status |= bit(feature);
        return;
    }
    port.status |= static_cast<uint16_t>(bit(enable) | bit(high_speed));
    port.change |= bit(reset);
    own_loop_.at(EventLoop::now_ms() + reset_ms, [this] { report_changes(); });
}

void UsbHub::clear_feature(Port &port, uint16_t feature)
{
    if (feature >= changes)
        port.change &= static_cast<uint16_t>(~bit(static_cast<uint16_t>(feature - changes)));
    else
        port.status &= static_cast<uint16_t>(~bit(feature));
}

void UsbHub::on_waiting(int)
{
    is_asked_ = true;
    report_changes();
}

void UsbHub::report_changes()
{
    unsigned changed = 0;
    for (size_t port = 1; port <= ports; port++)
        if (state_[port].change != 0)
            changed |= 1U << port;
    if (changed == 0 || !is_asked_)
        return;
    is_asked_ = false;
    send(change_endpoint, std::string(1, static_cast<char>(changed)));
}

} // namespace simulator
