#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/router/event_loop.h"
#include "simulator/router/plug.h"
#include "simulator/usb/usb_server.h"

namespace simulator {

class UsbPlug;

/// The router's side of the process that is its USB devices.
class UsbPort {
  public:
    /// @param demand of the network behind the modems
    UsbPort(EventLoop &loop, Fd devices, LinkDemand demand, std::function<void()> netdevs_changed);
    UsbPort(const UsbPort &) = delete;
    UsbPort &operator=(const UsbPort &) = delete;
    ~UsbPort();

    EventLoop &loop() { return loop_; }
    /// @return its number in messages
    uint8_t add(UsbPlug &plug);
    void send(const UsbMessage &message);
    void say_netdevs_changed() { netdevs_changed_(); }
    const LinkDemand &demand() const { return demand_; }

  private:
    void on_ready();

    EventLoop &loop_;
    Fd devices_;
    const LinkDemand demand_;
    std::function<void()> netdevs_changed_;
    std::vector<UsbPlug *> plugs_;
};

/// A modem as a USB device of the kernel, whose drivers make its devices and give them their names.
class UsbPlug : public Plug {
  public:
    UsbPlug(UsbPort &port, const std::string &bus, const Profile &profile, Received received);
    ~UsbPlug() override;

    const UsbDevice &device() const override { return device_; }
    /// The kernel numbers devices by itself: renumbered changes nothing.
    void attach(bool renumbered, std::function<void()> plugged) override;
    void detach() override;
    std::string missing() const override { return missing_; }
    bool send(int interface, std::string_view bytes) override;
    void stick() override;
    void watch_calls(Called called) override { called_ = std::move(called); }
    bool may_call(const std::string &apn) const override;
    void go_online(int interface) override { order(UsbMessage::Kind::call, interface); }
    void hold_call(int interface) override { order(UsbMessage::Kind::hold_call, interface); }
    void hang_up(int interface) override { order(UsbMessage::Kind::hang_up, interface); }
    int line_number() const override { return number_ + 1; }
    void open_line(int interface, const std::string &text) override
    {
        order(UsbMessage::Kind::open_line, interface, text);
    }
    void close_line(int interface) override { order(UsbMessage::Kind::close_line, interface); }

    void on_message(const UsbMessage &message);

  private:
    void order(UsbMessage::Kind kind, int interface, const std::string &bytes = {});
    bool find_names();
    void tell_driver();
    void wait_for_names();

    UsbPort &port_;
    const Profile &profile_;
    const Received received_;
    Called called_;
    uint8_t number_ = 0;
    UsbDevice device_;
    std::string missing_; ///< interfaces without a device
    bool is_told_ = false;
    std::function<void()> plugged_;
    EventLoop::Timer timer_ = 0;
};

} // namespace simulator
