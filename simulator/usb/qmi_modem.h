#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/modem.h"
#include "simulator/network/link_demand.h"
#include "simulator/usb/network_line.h"
#include "simulator/usb/qmi_message.h"

namespace simulator {

/// The modem behind the QMI messages: its state is that of the AT commands.
class QmiModem {
  public:
    using Host = ControlHost;

    /// @param number of the modem's line, from 1
    QmiModem(Modem &modem, LinkDemand demand, int number, Host host);

    /// A message of the host.
    void receive(std::string_view message, Milliseconds now);
    /// Tells the host what has changed since it was last told.
    void look(Milliseconds now);
    /// Unplugged or restarted: nobody has anything open, and frames are Ethernet's.
    void forget();

    // For the services

    struct Call {
        uint8_t client = 0;
        uint32_t handle = 0;
        uint32_t family = 0; ///< 4 or 6, as the host names it
    };

    Modem &modem() { return modem_; }
    std::string variable(const std::string &name) const { return modem_.variable(name); }
    /// What the modem answers to an AT command; empty: it has none like that.
    std::string ask(const std::string &command) { return modem_.ask(command, now_); }
    /// The fields of the line that begins so in the answer to an AT command.
    std::vector<std::string> ask_fields(const std::string &command, std::string_view beginning);
    const LinkDemand &demand() const { return demand_; }
    Session session() const { return session_of(number_); }
    std::vector<Call> &calls() { return calls_; }
    uint32_t new_handle() { return ++last_handle_; }
    void set_family(uint8_t client, uint32_t family) { families_[client] = family; }
    /// The IP family that a client wants; 0 if it does not mind.
    uint32_t family_of(uint8_t client) const;
    Framing &framing() { return framing_; }
    void open_line(const Credentials &credentials) { host_.open_line({framing_, credentials}); }
    void end_calls(const std::function<bool(const Call &)> &which);
    void indicate(QmiService service, uint16_t message, std::string_view values);

  private:
    void control(const QmiRequest &request);
    void allocate(const QmiRequest &request);
    void release(uint8_t service, uint8_t client);
    void forget_clients();
    void look_at_messages();
    void answer(const QmiRequest &request, QmiError error, std::string_view values);

    Modem &modem_;
    const LinkDemand demand_;
    const int number_;
    const Host host_;
    Milliseconds now_ = 0;
    std::map<uint8_t, std::set<uint8_t>> clients_; ///< by service
    std::vector<Call> calls_;
    uint32_t last_handle_ = 0x2171f580;
    std::map<uint8_t, uint32_t> families_; ///< by client
    Framing framing_ = Framing::ethernet;
    std::map<std::string, std::string> told_;    ///< by what it is about
    std::optional<std::set<uint32_t>> messages_; ///< the places of those that the host knows of, while it listens
};

/// What a service answers to a request.
struct QmiAnswer {
    QmiError error = qmi_ok;
    std::string values{};
};

struct QmiRow {
    QmiService service;
    uint16_t message;
    QmiAnswer (*answer)(QmiModem &modem, const QmiRequest &request);
};

/// To a request that changes nothing here.
QmiAnswer accept_request(QmiModem &modem, const QmiRequest &request);

std::span<const QmiRow> qmi_data_rows();
std::span<const QmiRow> qmi_device_rows();
std::span<const QmiRow> qmi_network_rows();
std::span<const QmiRow> qmi_card_rows();
std::span<const QmiRow> qmi_message_rows();

/// The network counts the modem among its own, and data may pass.
bool is_registered(const QmiModem &modem);

// What indications repeat
constexpr uint16_t qmi_connection_changed = 0x22;
std::string serving_system_values(QmiModem &modem);
std::string system_info_values(QmiModem &modem);
std::string signal_values(QmiModem &modem);
std::string card_status_value(QmiModem &modem);

// Short messages
std::set<uint32_t> message_places(const QmiModem &modem);
/// Where the modem keeps them: on the card (0) or in itself (1).
uint32_t message_storage(const QmiModem &modem);

// The bands as masks of eight bytes
std::string qmi_older_bands();
std::string qmi_lte_bands(const QmiModem &modem);

} // namespace simulator
