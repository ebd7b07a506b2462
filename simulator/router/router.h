#pragma once

#include <list>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "simulator/network/router_network.h"
#include "simulator/router/command_server.h"
#include "simulator/router/event_loop.h"
#include "simulator/router/exclusive_terminals.h"
#include "simulator/router/journal.h"
#include "simulator/router/log_server.h"
#include "simulator/router/options.h"
#include "simulator/router/plugged_modem.h"
#include "simulator/router/sandbox.h"
#include "simulator/router/terminal_plug.h"
#include "simulator/usb/usb_plug.h"

namespace simulator {

/// The files that a run writes outside the router, opened before the router is entered.
struct RunFiles {
    Journal journal;
    TrafficLog log;
    LineFile coverage;
    Fd usb_devices{}; ///< with --kernel: the process that is the modems' USB devices
};

/// The simulated router at work: it lives in the first process of the router's namespaces, with the router's root
/// entered.
class Router {
  public:
    /// Everything is there when the constructor returns: devices, sysfs, sockets. modems belong to options.modems one
    /// by one. Throws std::system_error, std::invalid_argument.
    Router(const Options &options, std::vector<Modem> modems, RunFiles files, Rights rights);

    /// Runs the command, or a shell, in folder if the router has that.
    /// @return the status with which simrouter ends
    int run(const std::string &folder);

  private:
    std::unique_ptr<Plug> make_plug(const std::string &bus, const Profile &profile, Plug::Received received);
    void wait_for_devices();
    pid_t start_command(const std::string &folder);
    void collect_children();
    const PluggedModem *find_modem(const std::string &device) const;
    std::string on_command(const CommandReport &report);
    void write_coverage();
    int final_status() const;

    const Options &options_;
    const Rights rights_;
    RunFiles files_;
    EventLoop loop_;
    DeviceNames names_;
    SysfsTree sysfs_{"/sys"};
    TerminalParts terminal_parts_;
    std::optional<UsbPort> usb_port_;
    std::optional<ExclusiveTerminals> exclusive_terminals_;
    std::optional<LogServer> syslog_;
    std::optional<RouterNetwork> network_;
    RouterParts parts_;
    std::list<PluggedModem> modems_;
    CommandServer commands_;
    Fd child_signals_;
    pid_t command_ = 0;
    std::optional<int> command_status_;
};

} // namespace simulator
