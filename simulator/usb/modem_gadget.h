#pragma once

#include <functional>
#include <vector>

#include "simulator/modem/profile.h"
#include "simulator/usb/gadget.h"

namespace simulator {

/// Where an interface's bytes go. 0: it has no such endpoint.
struct InterfaceEndpoints {
    int interface = 0;
    int in = 0;
    int out = 0;
    int notify = 0;
};

struct ModemLayout {
    Descriptors descriptors;
    std::vector<InterfaceEndpoints> endpoints;
};

/// What the modem of that profile says of itself, as its real descriptors do in what drivers look at.
ModemLayout modem_layout(const Profile &profile);

/// A modem as a USB device: serial interfaces whose bytes are someone else's to answer.
class ModemGadget : public UsbGadget {
  public:
    using Received = std::function<void(int interface, std::string_view bytes)>;

    ModemGadget(EventLoop &loop, unsigned port, const ModemLayout &layout, Received received);

    void send_to_host(int interface, std::string_view bytes);
    /// All its serial interfaces take no more bytes, or take them again.
    void set_stuck(bool stuck);

  protected:
    std::optional<std::string> on_request(const UsbRequest &request, std::string_view data) override;
    void on_bytes(int endpoint, std::string_view bytes) override;

  private:
    const std::vector<InterfaceEndpoints> endpoints_;
    const Received received_;
};

} // namespace simulator
