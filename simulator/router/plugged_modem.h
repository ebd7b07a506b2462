#pragma once

#include <functional>
#include <memory>
#include <string>

#include "simulator/modem/modem.h"
#include "simulator/router/event_loop.h"
#include "simulator/router/journal.h"
#include "simulator/router/plug.h"
#include "simulator/usb/mbim_modem.h"
#include "simulator/usb/qmi_modem.h"

namespace simulator {

/// What all modems of a router have in common.
struct RouterParts {
    EventLoop &loop;
    Journal &journal;
    TrafficLog &log;
    /// Makes what makes a modem's devices.
    std::function<std::unique_ptr<Plug>(const std::string &bus, const Profile &profile, Plug::Received received)>
        make_plug;
    LinkDemand demand{}; ///< of the network behind the modems
};

/// A modem in a USB port of the router: its devices and its bytes.
class PluggedModem {
  public:
    PluggedModem(RouterParts &parts, std::string bus, Modem modem);
    PluggedModem(const PluggedModem &) = delete;
    PluggedModem &operator=(const PluggedModem &) = delete;
    ~PluggedModem();

    const std::string &bus() const { return plug_->device().bus; }
    const Modem &modem() const { return modem_; }
    /// True while all of its devices are there.
    bool is_plugged() const { return is_plugged_; }
    std::string missing() const { return plug_->missing(); }
    /// True if name ("/dev/ttyUSB3", "wwan0") is one of its devices.
    bool has_device(std::string_view name) const;
    /// The network device that belongs to name, one of its devices; else its first, empty when it has none.
    std::string netdev_of(std::string_view name) const;

  private:
    void attach(bool renumbered, bool is_back);
    void on_received(int interface, std::string_view bytes);
    void on_due();
    void send(const Event &event);
    void work_call(const Event &event);
    void work_data(const Event &event);
    void on_call_news(int interface, CallNews news);
    void report_unknown();
    void wait_for_next();
    std::string device_name(int interface) const;
    void start_control();

    RouterParts &parts_;
    Modem modem_;
    std::unique_ptr<Plug> plug_;
    std::optional<QmiModem> qmi_;   ///< of a modem whose interface for it has a network behind it
    std::optional<MbimModem> mbim_; ///< likewise
    int qmi_interface_ = -1;        ///< of either
    bool is_plugged_ = false;       ///< the router has all of its devices
    bool is_away_ = false;          ///< pulled out
    EventLoop::Timer timer_ = 0;
    size_t reported_unknown_ = 0;
};

} // namespace simulator
