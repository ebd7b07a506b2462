#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "platform/files.h"
#include "simulator/router/event_loop.h"
#include "simulator/usb/uplink.h"

namespace simulator {

/// Finds "+++" between two silences in what a host writes during a call.
class EscapeWatch {
  public:
    static constexpr int64_t silence_ms = 1000;

    void see(std::string_view bytes, int64_t now_ms);
    /// When the second silence is over; nothing as long as there is no "+++".
    std::optional<int64_t> due_ms() const;

  private:
    int64_t last_ms_ = -silence_ms;
    size_t pluses_ = 0; ///< 0: something else, or no silence before them
};

/// The network's side of a call by PPP.
struct DialPeer {
    std::string address; ///< its own
    std::string host_address;
    std::string name_server;
    std::string second_name_server{};
    std::optional<std::string> user{}; ///< with one of these two the host must prove that it knows them
    std::optional<std::string> password{};
};

/// A data call on a serial interface: a real pppd, in the network of this process, is the other side.
class Dial {
  public:
    /// What a call does to its surroundings.
    struct Host {
        std::function<void(std::string_view bytes)> send; ///< bytes for the host
        std::function<bool()> has_room;                   ///< the host takes more
        std::function<void()> escaped;                    ///< it wrote "+++"
        std::function<void()> ended;                      ///< the peer has ended the call
    };

    Dial(EventLoop &loop, DialPeer peer, Host host);
    Dial(const Dial &) = delete;
    Dial &operator=(const Dial &) = delete;
    ~Dial();

    /// The interface's bytes are the call's. The first time, the peer begins to talk; without a pppd the call ends.
    void go_online();
    /// They are commands for a while.
    void hold();
    bool is_online() const { return is_online_; }
    /// The peer has ended it.
    bool is_over() const { return is_over_; }
    void on_bytes(std::string_view bytes);
    /// The host takes bytes again.
    void on_room();

  private:
    bool start_peer();
    void end();
    void pass_on();
    void wait_for_silence();

    EventLoop &loop_;
    const DialPeer peer_;
    const Host host_;
    Fd line_; ///< a pseudo terminal whose other side is the peer's
    pid_t process_ = 0;
    bool is_online_ = false;
    bool is_over_ = false;
    std::string unsent_; ///< for the peer
    EventLoop::Timer again_ = 0;
    EscapeWatch escape_;
    EventLoop::Timer silence_ = 0;
};

/// What PPP itself asks for is what the operator demands.
DialPeer dial_peer(const Session &session, const LinkDemand &demand);
/// The peer's arguments.
std::vector<std::string> dial_peer_words(const DialPeer &peer, const std::string &terminal);
/// Its file of passwords.
std::string dial_peer_secrets(const DialPeer &peer);

} // namespace simulator
