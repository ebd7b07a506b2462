#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/usb/ethernet_port.h"
#include "simulator/usb/uplink.h"

namespace simulator {

/// How the host and the modem agree to pass packets: as they are, or in Ethernet frames.
enum class Framing : uint8_t { raw_ip, ethernet };

/// The wish to come online, as one text for a message between processes.
struct LineOrder {
    Framing framing = Framing::ethernet;
    Credentials credentials{};
};
std::string line_order_text(const LineOrder &order);
LineOrder parse_line_order(std::string_view text);

/// The other side of a modem's control channel, QMI or MBIM.
struct ControlHost {
    std::function<void(std::string_view message)> send;
    std::function<void(const LineOrder &order)> open_line;
    std::function<void()> close_line;
};

/// A network interface of a modem: frames of the host on one side, the operator's packets on the other. One transfer is
/// one frame.
class NetworkLine {
  public:
    /// The host's end of the line.
    struct Host {
        std::function<void(std::string_view frame)> send;
        std::function<bool()> has_room;
    };

    NetworkLine(Uplink &uplink, Host host) : uplink_(uplink), host_(std::move(host)) {}

    /// @return false if the operator refuses
    bool open(const LineOrder &order);
    void close();
    void on_frame(std::string_view frame);
    void on_room() { uplink_.hold(false); }

  private:
    void on_packet(std::string_view packet);

    Uplink &uplink_;
    const Host host_;
    Framing framing_ = Framing::ethernet;
    EthernetPort port_;
};

} // namespace simulator
