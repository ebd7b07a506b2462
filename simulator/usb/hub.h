#pragma once

#include <array>

#include "simulator/usb/gadget.h"

namespace simulator {

/// A USB hub. What is in its ports has connections of its own to the kernel: the hub only says what is plugged in
/// where.
class UsbHub : public UsbGadget {
  public:
    static constexpr int ports = 7;

    UsbHub(EventLoop &loop, unsigned port);
    /// Something is put into a port (1 to 7), or pulled out.
    void connect(int port, bool present);

  protected:
    std::optional<std::string> on_request(const UsbRequest &request, std::string_view data) override;
    void on_bytes(int, std::string_view) override {}
    void on_waiting(int endpoint) override;

  private:
    struct Port {
        uint16_t status = 0;
        uint16_t change = 0;
    };
    void set_feature(Port &port, uint16_t feature);
    void clear_feature(Port &port, uint16_t feature);
    void report_changes();

    EventLoop &own_loop_;
    std::array<Port, ports + 1> state_{}; ///< by number; 0 is none
    bool is_asked_ = false;               ///< the host waits for a change
};

} // namespace simulator
