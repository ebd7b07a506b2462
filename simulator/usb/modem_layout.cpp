#include "simulator/usb/modem_layout.h"

namespace simulator {

namespace {

constexpr uint8_t bulk = 2;
constexpr uint8_t interrupt = 3;
constexpr uint16_t bulk_bytes = 512;
constexpr uint16_t notification_bytes = 16;
constexpr uint8_t notification_interval = 9;

constexpr int maker_text = 1;
constexpr int product_text = 2;
constexpr int address_text = 3;
/// The host's end; the second digit makes it one that no maker has given away, so that the kernel's name is usb0.
constexpr const char *host_address = "02000000000A";

/// The numbers by which drivers choose their interfaces.
struct InterfaceClass {
    uint8_t main;
    uint8_t sub;
    uint8_t protocol;
};
constexpr InterfaceClass makers_own{0xff, 0xff, 0xff};
constexpr InterfaceClass serial{0xff, 0, 0};

std::string interface_descriptor(int number, int endpoints, InterfaceClass kind, int alternate = 0)
{
    return std::string{9, 4, static_cast<char>(number), static_cast<char>(alternate), static_cast<char>(endpoints)} +
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

/// What parts the standards: the classes of the two interfaces, and what they say of themselves.
struct NetworkKind {
    InterfaceClass control;
    InterfaceClass data;
    std::string functions; ///< beside the header and what binds the two interfaces
    std::optional<NtbContent> blocks;
};

NetworkKind network_kind(Interface::Network network)
{
    // the text with the address, no statistics, frames of 1514 bytes, no filters
    const std::string ethernet =
        std::string{13, 0x24, 15, address_text} + little_endian(0, 4) + little_endian(1514, 2) + little_endian(0, 3);
    switch (network) {
    case Interface::Network::ncm:
        // version 1.0, takes packet filters
        return {{2, 13, 0}, {10, 0, 1}, ethernet + std::string{6, 0x24, 26, 0, 1, 1}, NtbContent::ethernet};
    case Interface::Network::mbim:
        // version 1.0, messages of 4096 bytes, 16 filters of 128 bytes, packets of 2048 bytes, NTB input sizes of 8
        // bytes
        return {{2, 14, 0},
                {10, 0, 2},
                std::string{12, 0x24, 27, 0, 1} + little_endian(4096, 2) + std::string{16, '\x80'} +
                    little_endian(2048, 2) + std::string{0x20},
                NtbContent::packets};
    default:
        return {{2, 6, 0}, {10, 0, 0}, ethernet, std::nullopt};
    }
}

/// Two interfaces: notifications and requests on the first, data on the second, once the host has turned that on.
std::string network_function(Interface::Network network, InterfaceEndpoints &own, EndpointNumbers &numbers)
{
    const NetworkKind kind = network_kind(network);
    const auto first = static_cast<char>(own.interface);
    const auto second = static_cast<char>(own.interface + 1);
    own.is_network = true;
    own.has_messages = network == Interface::Network::mbim;
    own.blocks = kind.blocks;
    std::string text = std::string{8, 11, first, 2, 2, static_cast<char>(kind.control.sub), 0, 0};
    text += interface_descriptor(own.interface, 1, kind.control);
    // the version of the class, 1.10, and which interface belongs to which
    text += std::string{5, 0x24, 0, 0x10, 1} + std::string{5, 0x24, 6, first, second} + kind.functions;
    text += numbers.notification(own);
    text += interface_descriptor(own.interface + 1, 0, kind.data);
    return text + interface_descriptor(own.interface + 1, 2, kind.data, 1) + numbers.bulk_pair(own);
}

} // namespace

ModemLayout modem_layout(const Profile &profile)
{
    ModemLayout layout;
    EndpointNumbers numbers;
    std::string interfaces;
    size_t count = 0;
    for (const Interface &interface : profile.interfaces) {
        InterfaceEndpoints own{.interface = interface.number};
        if (const Interface *before = profile.interface(interface.number - 1);
            before != nullptr && before->is_standard())
            continue; // its second interface
        count++;
        if (interface.is_standard()) {
            interfaces += network_function(interface.network, own, numbers);
            count++;
        } else if (interface.kind == Interface::Kind::none && !interface.has_channel()) {
            interfaces += interface_descriptor(interface.number, 0, makers_own);
        } else if (interface.kind == Interface::Kind::ttyUSB && interface.number == 0) {
            // The diagnostics: what looks at the drivers' tables tells it from QMI by its two endpoints.
            interfaces += interface_descriptor(interface.number, 2, makers_own) + numbers.bulk_pair(own);
        } else {
            own.is_network = own.has_messages = interface.has_channel();
            interfaces += interface_descriptor(interface.number, 3, own.is_network ? makers_own : serial);
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
                         std::string{static_cast<char>(count), 1, 0, '\xe0', '\xfa'} + interfaces,
        .texts = {{maker_text, "Simulated"}, {product_text, profile.model}, {address_text, host_address}}};
    return layout;
}

} // namespace simulator
