#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/files.h"
#include "simulator/network/network_daemon.h"
#include "simulator/router/event_loop.h"

namespace simulator {

/// The processes that open the modems' sessions where the modems are real to the kernel: one for an interface.
class ProtocolHandlers {
  public:
    struct Ears {
        std::function<void(const std::string &interface, const HandlerReport &report)> report;
        std::function<void(const std::string &line)> log; ///< what the programs print
    };

    ProtocolHandlers(EventLoop &loop, Ears ears) : loop_(loop), ears_(std::move(ears)) {}
    ProtocolHandlers(const ProtocolHandlers &) = delete;
    ProtocolHandlers &operator=(const ProtocolHandlers &) = delete;
    ~ProtocolHandlers();

    /// Once the interface's last one has ended. @return false: the protocol has none
    bool start(const InterfaceSection &section, const std::string &device);
    /// Its session ends, which takes a while. Nothing more is reported of it.
    void stop(const std::string &interface);
    /// Of all interfaces, and no more start.
    void end();

  private:
    struct Handler {
        Fd input;  ///< closed: its session is to end
        Fd output; ///< its end: the handler has ended
        std::string line{};
        std::string next{}; ///< the text of the next one
    };

    void run(const std::string &interface, const std::string &script);
    void on_output(const std::string &interface);
    void on_line(const std::string &interface, const std::string &line);
    void on_end(const std::string &interface);

    EventLoop &loop_;
    const Ears ears_;
    std::map<std::string, Handler> handlers_; ///< by interface
    bool is_ending_ = false;
};

} // namespace simulator
