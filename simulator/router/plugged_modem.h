#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulator/modem/modem.h"
#include "simulator/router/event_loop.h"
#include "simulator/router/journal.h"
#include "simulator/router/sysfs_tree.h"
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

/// What all modems of a router have in common.
struct RouterParts {
    EventLoop &loop;
    DeviceNames &names;
    const SysfsTree &sysfs;
    Journal &journal;
    TrafficLog &log;
    std::function<void(const std::string &netdev, bool present)> set_netdev;
};

/// A modem in a USB port of the router: its devices, its sysfs folders, its bytes.
class PluggedModem {
  public:
    PluggedModem(RouterParts &parts, std::string bus, Modem modem);
    PluggedModem(const PluggedModem &) = delete;
    PluggedModem &operator=(const PluggedModem &) = delete;
    ~PluggedModem();

    const std::string &bus() const { return device_.bus; }
    const Modem &modem() const { return modem_; }
    /// True if name ("/dev/ttyUSB3", "wwan0") is one of its devices.
    bool has_device(std::string_view name) const;
    /// The network device that belongs to name, one of its devices; else its first, empty when it has none.
    std::string netdev_of(std::string_view name) const;

  private:
    void name_devices();
    void attach();
    void detach();
    void on_received(int interface, std::string_view bytes);
    void on_due();
    void send(const Event &event);
    void report_unknown();
    void wait_for_next();
    std::string device_name(int interface) const;

    RouterParts &parts_;
    Modem modem_;
    UsbDevice device_;
    std::map<int, std::unique_ptr<Terminal>> terminals_; ///< by interface
    EventLoop::Timer timer_ = 0;
    size_t reported_unknown_ = 0;
};

} // namespace simulator
