#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "simulator/router/plug.h"
#include "simulator/router/terminal.h"

namespace simulator {

/// The kernel's names for devices: the lowest number that is free.
class DeviceNames {
  public:
    /// "ttyUSB" gives "ttyUSB0", or the first free one from number first on.
    std::string take(const std::string &prefix, int first = 0);
    void release(const std::string &name) { taken_.erase(name); }

  private:
    std::set<std::string> taken_;
};

/// What all modems on pseudo terminals have in common.
struct TerminalParts {
    EventLoop &loop;
    DeviceNames &names;
    const SysfsTree &sysfs;
    std::function<void(const std::string &netdev, bool present)> set_netdev;
    std::function<void()> devices_changed; ///< ports and network devices, with their folders
};

/// A modem's devices as pseudo terminals, and its folders in a sysfs of files.
class TerminalPlug : public Plug {
  public:
    TerminalPlug(TerminalParts &parts, const std::string &bus, const Profile &profile, Received received);

    const UsbDevice &device() const override { return device_; }
    void attach(bool renumbered, std::function<void()> plugged) override;
    void detach() override;
    bool send(int interface, std::string_view bytes) override;

  private:
    void name_devices();

    TerminalParts &parts_;
    const Profile &profile_;
    const Received received_;
    UsbDevice device_;
    std::map<int, std::unique_ptr<Terminal>> terminals_; ///< by interface
};

} // namespace simulator
