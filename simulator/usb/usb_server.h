#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "simulator/modem/profile.h"
#include "simulator/network/link_demand.h"

namespace simulator {

/// One message between the router and the process that is its USB devices.
struct UsbMessage {
    enum class Kind : uint8_t {
        plug,       ///< to the devices
        unplug,     ///< to the devices
        stick,      ///< to the devices: the modem takes no more bytes
        bytes,      ///< both ways: of a serial port, or a message of a control channel
        open_line,  ///< to the devices: the network interface carries packets from now on (line_order_text)
        close_line, ///< to the devices
        call,       ///< to the devices: the serial port's bytes are a call's
        hold_call,  ///< to the devices: they are the modem's for a while
        hang_up,    ///< to the devices
        call_news   ///< from the devices: one byte, a CallNews
    } kind;
    uint8_t modem = 0;
    uint8_t interface = 0;
    std::string bytes{};
};

/// The most bytes of one message. What is longer must go in several.
constexpr size_t most_usb_bytes = size_t{16} * 1024;

/// Nothing is lost and no message is torn. @return false when the other side has gone
bool send_message(const Fd &socket, const UsbMessage &message);
/// @return nothing when there is none at present (the socket does not block), or the other side has gone
std::optional<UsbMessage> take_message(const Fd &socket);

/// A modem and its place: "1-1.2" is port 2 of a hub, "1-3" a port of the controller itself.
struct UsbPlan {
    std::string bus;
    Profile profile;
    LinkDemand demand{}; ///< of the operator
};

/// @return why the buses cannot be had at the same time, empty if they can
std::string check_usb_buses(const std::vector<std::string> &buses);

/// Starts the process that is the modems' USB devices, none plugged in yet. A process of its own, because the kernel
/// may wait for a device's answer in any call that changes a network device or its files. It ends when the other end of
/// the socket is closed. Throws std::system_error.
Fd start_usb_devices(std::vector<UsbPlan> plans);

} // namespace simulator
