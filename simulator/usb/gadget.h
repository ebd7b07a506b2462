#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "simulator/router/event_loop.h"
#include "simulator/usb/bytes.h"

namespace simulator {

/// What a USB device says of itself.
struct Descriptors {
    std::string device;
    std::string configuration;
    std::map<int, std::string> texts{};
};

/// The head of a request on endpoint 0.
struct UsbRequest {
    uint8_t type = 0; ///< direction, kind and receiver
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;
};

/// One endpoint's descriptor.
std::string endpoint_descriptor(uint8_t address, uint8_t kind, uint16_t packet_bytes, uint8_t interval);

/// A USB device that a program answers for, on a port of the kernel's virtual host controller (vhci_hcd, the USB/IP
/// protocol). Transfers that carry bytes to the host wait until there are some; bytes wait until there is a transfer.
class UsbGadget {
  public:
    /// @param port of the controller, from 0
    UsbGadget(EventLoop &loop, unsigned port, Descriptors descriptors);
    UsbGadget(const UsbGadget &) = delete;
    UsbGadget &operator=(const UsbGadget &) = delete;
    virtual ~UsbGadget();

    unsigned port() const { return port_; }
    /// Puts it into its port. @return false while the port is not free yet
    bool attach();
    /// Answers the messages on that socket, of which the kernel has the other end.
    void serve(Fd socket);
    /// Out of its port: the kernel sees the connection end.
    void drop();
    /// As wires that are pulled: every transfer under way fails with EPROTO, and what was kept is lost.
    void lose_transfers();
    /// Bytes for the host. What nobody reads is kept, up to 64 KiB for each endpoint.
    void send(int endpoint, std::string_view bytes);
    /// How many bytes for the host nobody has read yet.
    size_t kept_bytes(int endpoint) const;
    /// What is kept for the host is lost.
    void forget(int endpoint) { kept_.erase(endpoint); }
    /// The endpoint takes no more bytes, or takes them again: the host's transfers wait.
    void set_taking(int endpoint, bool taking);

  protected:
    /// A request that is not one of those every device answers. @return its data; nothing: it is refused
    virtual std::optional<std::string> on_request(const UsbRequest &request, std::string_view data) = 0;
    virtual void on_bytes(int endpoint, std::string_view bytes) = 0;
    /// A transfer of the host waits for bytes of the endpoint.
    virtual void on_waiting(int endpoint);

  private:
    struct Transfer {
        uint32_t number = 0;
        size_t length = 0;   ///< to the host: the most bytes it takes
        std::string bytes{}; ///< from the host
    };

    void on_ready();
    bool take_message();
    void take_transfer(const Transfer &transfer, bool to_host, int endpoint, std::string_view setup);
    void cancel(uint32_t number, uint32_t target);
    void answer_request(const Transfer &transfer, std::string_view setup);
    std::optional<std::string> standard_answer(const UsbRequest &request) const;
    void flush(int endpoint);
    void reply(uint32_t kind, uint32_t number, int status, size_t actual, std::string_view bytes);

    EventLoop &loop_;
    const unsigned port_;
    const Descriptors descriptors_;
    Fd socket_;
    std::string input_;
    std::map<int, std::deque<Transfer>> waiting_; ///< to the host, by endpoint
    std::map<int, std::deque<std::string>> kept_; ///< for the host, by endpoint
    std::map<int, std::deque<Transfer>> stuck_;   ///< from the host, by endpoint
    std::set<int> not_taking_;
};

} // namespace simulator
