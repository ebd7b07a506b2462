#pragma once

#include <functional>
#include <vector>

#include "simulator/usb/gadget.h"
#include "simulator/usb/modem_layout.h"

namespace simulator {

/// What a host does with a modem.
struct GadgetEvents {
    /// Bytes for a serial interface, or a message for the control channel of a network interface (cdc-wdm).
    std::function<void(int interface, std::string_view bytes)> received;
    /// A frame for a network interface.
    std::function<void(int interface, std::string_view frame)> frame;
    /// An interface's host waits for more.
    std::function<void(int interface)> room;
    /// The terminal of a serial interface is not ready any more: its last program has closed it.
    std::function<void(int interface)> dtr_lost;
};

/// A modem as a USB device: interfaces whose bytes, messages and frames are someone else's to answer.
class ModemGadget : public UsbGadget {
  public:
    ModemGadget(EventLoop &loop, unsigned port, const ModemLayout &layout, GadgetEvents events);

    /// Bytes of a serial interface, or a message of a control channel.
    void send_to_host(int interface, std::string_view bytes);
    void send_frame(int interface, std::string_view frame);
    /// A network interface has its connection, or has lost it: the host's device has a carrier or none.
    void set_connected(int interface, bool connected);
    /// False: the host is behind with its reading, and more frames could be lost.
    bool has_room(int interface) const;
    /// What a serial interface's host has not read yet is lost.
    void forget_bytes(int interface);
    /// All its interfaces take no more bytes, or take them again.
    void set_stuck(bool stuck);
    /// Unplugged: nobody asks for them any more.
    void lose_messages();

  protected:
    std::optional<std::string> on_request(const UsbRequest &request, std::string_view data) override;
    void on_bytes(int endpoint, std::string_view bytes) override;
    void on_waiting(int endpoint) override;

  private:
    void tell_of_message(const InterfaceEndpoints &endpoints);
    const InterfaceEndpoints *find(int interface) const;

    const std::vector<InterfaceEndpoints> endpoints_;
    const GadgetEvents events_;
    uint16_t sequence_ = 0;                           ///< of blocks
    std::map<int, std::deque<std::string>> messages_; ///< of the control channels, until the host asks for them
};

} // namespace simulator
