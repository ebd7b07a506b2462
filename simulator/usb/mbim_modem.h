#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "simulator/modem/modem.h"
#include "simulator/network/link_demand.h"
#include "simulator/usb/mbim_message.h"
#include "simulator/usb/network_line.h"

namespace simulator {

/// The modem behind MBIM messages, as far as its basic service goes: its state is that of the AT commands.
class MbimModem {
  public:
    using Host = ControlHost;
    struct Answer {
        MbimStatus status = mbim_ok;
        std::string info{};
    };

    /// @param number of the modem's line, from 1
    MbimModem(Modem &modem, LinkDemand demand, int number, Host host);

    /// A message of the host.
    void receive(std::string_view message, Milliseconds now);
    /// Tells the host what has changed since it was last told.
    void look();
    /// Unplugged or restarted: nothing is open.
    void forget();

    // For the commands

    std::string variable(const std::string &name) const { return modem_.variable(name); }
    /// What the modem answers to an AT command.
    std::string ask(const std::string &command) { return modem_.ask(command, now_); }
    const LinkDemand &demand() const { return demand_; }
    Session session() const { return session_of(number_); }
    bool is_connected() const { return is_connected_; }
    void connect(const Credentials &credentials);
    void disconnect();

  private:
    void start_telling();

    Modem &modem_;
    const LinkDemand demand_;
    const int number_;
    const Host host_;
    Milliseconds now_ = 0;
    bool is_open_ = false;
    bool is_connected_ = false;
    std::map<uint32_t, std::string> told_; ///< by the command's number
};

/// Registered, and attached for packets.
bool has_packet_service(const MbimModem &modem);

/// What the modem answers to a command of the basic service.
MbimModem::Answer answer_mbim_command(MbimModem &modem, const MbimRequest &request);

} // namespace simulator
