#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "simulator/router/sysfs_tree.h"

namespace simulator {

/// What a host or the network does with a data call.
enum class CallNews : uint8_t { escaped, dtr_lost, ended };

/// What makes a modem's devices in the router.
class Plug {
  public:
    /// Bytes that a program wrote to an interface.
    using Received = std::function<void(int interface, std::string_view bytes)>;

    using Called = std::function<void(int interface, CallNews news)>;

    virtual ~Plug() = default;
    /// The device with the names that it has now, or had before it was pulled out.
    virtual const UsbDevice &device() const = 0;
    /// Puts the device in; plugged is called when all of its devices are there. renumbered: other names than before.
    virtual void attach(bool renumbered, std::function<void()> plugged) = 0;
    virtual void detach() = 0;
    /// " 2 3": the interfaces that still have no device.
    virtual std::string missing() const { return {}; }
    /// @return false if the bytes were lost
    virtual bool send(int interface, std::string_view bytes) = 0;
    /// From now on the modem takes no more bytes, until it was away.
    virtual void stick() {}

    /// The number of its line into the operator's network, from 1; 0: it has none.
    virtual int line_number() const { return 0; }
    /// A network interface carries packets; the order is a line_order_text.
    virtual void open_line(int, const std::string &) {}
    virtual void close_line(int) {}

    /// Who hears of the calls from now on, and of DTR.
    virtual void watch_calls(Called) {}
    /// @return false: no network can be called, or it refuses this APN
    virtual bool may_call(const std::string &) const { return false; }
    /// The bytes of a serial interface are a call's.
    virtual void go_online(int) {}
    /// They are the modem's, and the call goes on.
    virtual void hold_call(int) {}
    virtual void hang_up(int) {}
};

} // namespace simulator
