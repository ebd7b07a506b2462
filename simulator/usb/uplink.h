#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "simulator/network/link_demand.h"
#include "simulator/router/event_loop.h"

namespace simulator {

/// What the operator gives to a modem that it lets in.
struct Session {
    std::string address;
    int mask = 30;
    std::string gateway;
    std::array<std::string, 2> name_servers;
    std::string address6;
    int mask6 = 64;
    std::string gateway6;
    std::string name_server6;
    int mtu = 1500;
    bool operator==(const Session &) const = default;
};

/// What the modem with that number, from 1, gets: number 1 is 10.64.1.2 by 10.64.1.1.
Session session_of(int number);

/// What a modem sends to be let in.
struct Credentials {
    std::string apn{};
    std::string user{};
    std::string password{};
    std::string context_apn{}; ///< of the modem's PDP context; it counts where apn is empty
    LinkDemand::Path path = LinkDemand::Path::serial;
};

bool lets_in(const LinkDemand &demand, const Credentials &credentials);

/// A modem's line into the operator's network. It carries IP packets, and only while it is open.
class Uplink {
  public:
    /// A packet for the modem.
    using Take = std::function<void(std::string_view packet)>;

    /// @param line its end in the operator's network, one packet for each read and write (OperatorNetwork::line)
    Uplink(EventLoop &loop, Fd line, int number, LinkDemand demand);
    Uplink(const Uplink &) = delete;
    Uplink &operator=(const Uplink &) = delete;
    ~Uplink();

    /// The packets go to take from now on. Opening an open one again changes who takes them.
    /// @return nothing if the operator refuses; then it is closed
    std::optional<Session> open(const Credentials &credentials, Take take);
    void close();
    bool is_open() const { return static_cast<bool>(take_); }

    /// A packet of the modem. As in a real network, only its own addresses may have sent it.
    void send(std::string_view packet);
    /// The modem's host takes no more at present: packets wait in the network, which slows their senders down.
    void hold(bool held);

  private:
    void on_ready();
    void watch();

    EventLoop &loop_;
    const Fd line_;
    const Session session_;
    const LinkDemand demand_;
    Take take_; ///< empty: closed
    bool held_ = false;
    bool watched_ = false;
};

/// True for an IP packet that comes from that session's addresses.
bool is_from(const Session &session, std::string_view packet);

} // namespace simulator
