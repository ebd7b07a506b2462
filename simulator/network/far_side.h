#pragma once

#include <memory>
#include <string>

#include "platform/files.h"
#include "simulator/network/netlink.h"

namespace simulator {

/// Frames of a protocol that no program handles: the kernel counts and drops them, and sends no answer.
inline constexpr uint16_t nobodys_protocol = 0x88b5;
inline constexpr size_t ethernet_header_bytes = 14;

/// The device is never used by the kernel itself, which would move its counters (IPv6 looks for routers).
void silence_device(NetlinkSocket &kernel, int index);

/// A frame of bytes bytes in all, with an Ethernet header.
std::string ethernet_frame(size_t bytes);

/// A socket that sends frames as they are from any device of the namespace in which it is made.
class FrameSocket {
  public:
    FrameSocket();
    explicit operator bool() const { return static_cast<bool>(socket_); }
    /// 0 when there is no such device.
    int index_of(const std::string &device) const;
    bool send(const std::string &device, const std::string &frame) const;

    struct Received {
        int index = 0; ///< of the device
        std::string frame{};
    };
    /// From now on it receives what comes in by any device.
    bool listen() const;
    int descriptor() const { return socket_.get(); }
    /// Never waits. @return false if there is none
    bool receive(Received &out) const;

  private:
    Fd socket_;
};

/// Where the other ends of the router's pairs of devices are: a network namespace that nobody in the router sees.
class FarSide {
  public:
    /// Null if the kernel does not allow one.
    static std::unique_ptr<FarSide> make();

    int name_space() const { return name_space_.get(); }
    const FrameSocket &frames() const { return frames_; }
    /// Makes a device that has just come ready for frames.
    bool take(const std::string &device);
    /// The device of that name on the router's side receives the frame.
    bool send(const std::string &device, const std::string &frame) const { return frames_.send(device, frame); }

  private:
    explicit FarSide(Fd name_space) : name_space_(std::move(name_space)) {}
    Fd name_space_;
    NetlinkSocket kernel_;
    FrameSocket frames_;
};

} // namespace simulator
