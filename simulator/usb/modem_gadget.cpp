#include "simulator/usb/modem_gadget.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr uint8_t bulk = 2;
constexpr uint8_t interrupt = 3;
constexpr uint16_t bulk_bytes = 512;
constexpr uint16_t notification_bytes = 10;
constexpr uint8_t notification_interval = 9;

// Requests of the class of communication devices.
constexpr uint8_t to_interface = 0x21;
constexpr uint8_t set_line_state = 0x22;

constexpr int maker_text = 1;
constexpr int product_text = 2;

/// The numbers by which drivers choose their interfaces.
struct InterfaceClass {
    uint8_t main;
    uint8_t sub;
    uint8_t protocol;
};
constexpr InterfaceClass makers_own{0xff, 0xff, 0xff};
constexpr InterfaceClass serial{0xff, 0, 0};

std::string interface_descriptor(int number, int endpoints, InterfaceClass kind)
{
    return std::string{9, 4, static_cast<char>(number), 0, static_cast<char>(endpoints)} +
           std::string{static_cast<char>(kind.main), static_cast<char>(kind.sub), static_cast<char>(kind.protocol), 0};
}

/// Gives each endpoint the next free number.
class EndpointNumbers {
  public:
    std::string bulk_pair(InterfaceEndpoints &endpoints)
    {
        endpoints.in = ++in_;
        endpoints.out = ++out_;
        return endpoint_descriptor(static_cast<uint8_t>(0x80 | endpoints.in), bulk, bulk_bytes, 0) +
               endpoint_descriptor(static_cast<uint8_t>(endpoints.out), bulk, bulk_bytes, 0);
    }
    std::string notification(InterfaceEndpoints &endpoints)
    {
        endpoints.notify = ++in_;
        return endpoint_descriptor(static_cast<uint8_t>(0x80 | endpoints.notify), interrupt, notification_bytes,
                                   notification_interval);
    }

  private:
    int in_ = 0;
    int out_ = 0;
};

} // namespace

ModemLayout modem_layout(const Profile &profile)
{
    ModemLayout layout;
    EndpointNumbers numbers;
    std::string interfaces;
    for (const Interface &interface : profile.interfaces) {
        InterfaceEndpoints own{.interface = interface.number};
        if (interface.kind == Interface::Kind::none) {
            interfaces += interface_descriptor(interface.number, 0, makers_own);
        } else if (interface.kind == Interface::Kind::ttyUSB && interface.number == 0) {
            // The diagnostics: what looks at the drivers' tables tells it from QMI by its two endpoints.
            interfaces += interface_descriptor(interface.number, 2, makers_own) + numbers.bulk_pair(own);
        } else {
            const bool is_serial = interface.kind != Interface::Kind::cdc_wdm;
            interfaces += interface_descriptor(interface.number, 3, is_serial ? serial : makers_own);
            interfaces += numbers.notification(own);
            interfaces += numbers.bulk_pair(own);
        }
        layout.endpoints.push_back(own);
    }
    // A device of several functions, high speed; one configuration, powered by itself, up to 500 mA.
    layout.descriptors = {
        .device = std::string{18, 1} + little_endian(0x200, 2) + std::string{'\xef', 2, 1, 64} +
                  little_endian(profile.vendor_id, 2) + little_endian(profile.product_id, 2) + little_endian(0x318, 2) +
                  std::string{maker_text, product_text, 0, 1},
        .configuration = std::string{9, 2} + little_endian(static_cast<uint32_t>(9 + interfaces.size()), 2) +
                         std::string{static_cast<char>(profile.interfaces.size()), 1, 0, '\xe0', '\xfa'} + interfaces,
        .texts = {{maker_text, "Simulated"}, {product_text, profile.model}}};
    return layout;
}

ModemGadget::ModemGadget(EventLoop &loop, unsigned port, const ModemLayout &layout, Received received)
    : UsbGadget(loop, port, layout.descriptors), endpoints_(layout.endpoints), received_(std::move(received))
{
}

void ModemGadget::send_to_host(int interface, std::string_view bytes)
{
    const auto found = std::ranges::find(endpoints_, interface, &InterfaceEndpoints::interface);
    if (found != endpoints_.end() && found->in != 0)
        send(found->in, bytes);
}

void ModemGadget::set_stuck(bool stuck)
{
    for (const InterfaceEndpoints &endpoints : endpoints_)
        if (endpoints.out != 0)
            set_taking(endpoints.out, !stuck);
}

std::optional<std::string> ModemGadget::on_request(const UsbRequest &request, std::string_view)
{
    if (request.type == to_interface && request.request == set_line_state)
        return std::string();
    return std::nullopt;
}

void ModemGadget::on_bytes(int endpoint, std::string_view bytes)
{
    const auto found = std::ranges::find(endpoints_, endpoint, &InterfaceEndpoints::out);
    if (found != endpoints_.end())
        received_(found->interface, bytes);
}

} // namespace simulator
