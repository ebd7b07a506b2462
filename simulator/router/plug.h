#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "simulator/router/sysfs_tree.h"

namespace simulator {

/// What makes a modem's devices in the router.
class Plug {
  public:
    /// Bytes that a program wrote to an interface.
    using Received = std::function<void(int interface, std::string_view bytes)>;

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
};

} // namespace simulator
