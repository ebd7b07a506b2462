#include "simulator/usb/qmi_modem.h"

#include <algorithm>
#include <array>

namespace simulator {

namespace {

/// The service's number and version.
struct ServiceVersion {
    uint8_t service;
    uint16_t major;
    uint16_t minor;
};
constexpr std::array<ServiceVersion, 7> versions = {{{qmi_control, 1, 5},
                                                     {qmi_data, 1, 67},
                                                     {qmi_device, 1, 14},
                                                     {qmi_network, 1, 25},
                                                     {qmi_messages, 1, 10},
                                                     {qmi_card, 1, 45},
                                                     {qmi_framing, 1, 16}}};

constexpr uint8_t everybody = 0xff;
constexpr uint8_t most_clients = 0xfe;

enum ControlMessage : uint16_t {
    set_instance = 0x20,
    get_versions = 0x21,
    allocate_client = 0x22,
    release_client = 0x23,
    set_data_format = 0x26,
    synchronise = 0x27
};

bool is_service(uint8_t service)
{
    return service != qmi_control && std::ranges::find(versions, service, &ServiceVersion::service) != versions.end();
}

} // namespace

QmiAnswer accept_request(QmiModem &, const QmiRequest &)
{
    return {};
}

QmiModem::QmiModem(Modem &modem, LinkDemand demand, int number, Host host)
    : modem_(modem), demand_(std::move(demand)), number_(number), host_(std::move(host))
{
}

std::vector<std::string> QmiModem::ask_fields(const std::string &command, std::string_view beginning)
{
    std::vector<std::string> fields;
    const std::string reply = ask(command);
    size_t start = reply.find(beginning);
    if (start == std::string::npos)
        return fields;
    start += beginning.size();
    const size_t end = reply.find('\r', start);
    std::string field;
    for (const char character : reply.substr(start, end - start) + ',') {
        if (character == ',')
            fields.push_back(std::exchange(field, {}));
        else if (character != '"' && character != ' ')
            field += character;
    }
    return fields;
}

uint32_t QmiModem::family_of(uint8_t client) const
{
    const auto found = families_.find(client);
    return found == families_.end() ? 0 : found->second;
}

void QmiModem::receive(std::string_view message, Milliseconds now)
{
    now_ = now;
    const auto request = parse_qmi_request(message);
    if (!request)
        return; // a modem does not answer what it cannot read
    if (request->service == qmi_control)
        return control(*request);
    if (!clients_[request->service].contains(request->client))
        return answer(*request, qmi_invalid_client, {});
    for (const auto &rows :
         {qmi_data_rows(), qmi_device_rows(), qmi_network_rows(), qmi_card_rows(), qmi_message_rows()})
        for (const QmiRow &row : rows)
            if (row.service == request->service && row.message == request->message) {
                const QmiAnswer given = row.answer(*this, *request);
                return answer(*request, given.error, given.values);
            }
    answer(*request, qmi_unknown_message, {});
}

void QmiModem::answer(const QmiRequest &request, QmiError error, std::string_view values)
{
    const std::string result = qmi_value(2, little_endian(error == qmi_ok ? 0 : 1, 2) + little_endian(error, 2));
    host_.send(qmi_text(request, QmiKind::response, result + std::string(values)));
}

void QmiModem::indicate(QmiService service, uint16_t message, std::string_view values)
{
    if (!clients_[service].empty())
        host_.send(
            qmi_text({.service = service, .client = everybody, .message = message}, QmiKind::indication, values));
}

void QmiModem::control(const QmiRequest &request)
{
    switch (request.message) {
    case set_instance:
        return answer(request, qmi_ok, qmi_number(1, 0, 2));
    case get_versions: {
        std::string list{static_cast<char>(versions.size())};
        for (const ServiceVersion &version : versions)
            list +=
                static_cast<char>(version.service) + little_endian(version.major, 2) + little_endian(version.minor, 2);
        return answer(request, qmi_ok, qmi_value(1, list));
    }
    case allocate_client:
        return allocate(request);
    case release_client: {
        const auto client = request.number(1, 2);
        if (!client)
            return answer(request, qmi_malformed, {});
        release(static_cast<uint8_t>(*client), static_cast<uint8_t>(*client >> 8));
        return answer(request, qmi_ok, qmi_number(1, *client, 2));
    }
    case set_data_format:
        framing_ = request.number(0x10, 2) == 2 ? Framing::raw_ip : Framing::ethernet;
        return answer(request, qmi_ok, qmi_number(0x10, framing_ == Framing::raw_ip ? 2 : 1, 2));
    case synchronise:
        forget_clients();
        return answer(request, qmi_ok, {});
    default:
        return answer(request, qmi_unknown_message, {});
    }
}

void QmiModem::allocate(const QmiRequest &request)
{
    const auto wanted = request.number(1, 1);
    if (!wanted)
        return answer(request, qmi_malformed, {});
    const auto service = static_cast<uint8_t>(*wanted);
    if (!is_service(service))
        return answer(request, qmi_invalid_service, {});
    for (uint8_t client = 1; client < most_clients; client++)
        if (clients_[service].insert(client).second)
            return answer(request, qmi_ok, qmi_value(1, little_endian(service, 1) + little_endian(client, 1)));
    answer(request, qmi_no_clients_left, {});
}

void QmiModem::release(uint8_t service, uint8_t client)
{
    clients_[service].erase(client);
    if (service != qmi_data)
        return;
    families_.erase(client);
    end_calls([client](const Call &call) { return call.client == client; });
}

void QmiModem::forget()
{
    forget_clients();
    framing_ = Framing::ethernet;
}

void QmiModem::forget_clients()
{
    clients_.clear();
    families_.clear();
    told_.clear();
    if (!calls_.empty())
        host_.close_line();
    calls_.clear();
}

void QmiModem::end_calls(const std::function<bool(const Call &)> &which)
{
    std::vector<Call> ended;
    std::erase_if(calls_, [&](const Call &call) {
        if (which(call))
            ended.push_back(call);
        return which(call);
    });
    if (!ended.empty() && calls_.empty())
        host_.close_line();
    // disconnected; generic end by the client; the family
    for (const Call &call : ended)
        indicate(qmi_data, qmi_connection_changed,
                 qmi_value(1, std::string{1, 0}) + qmi_number(0x10, 2, 2) + qmi_number(0x12, call.family, 1));
}

void QmiModem::look(Milliseconds now)
{
    now_ = now;
    if (!is_registered(*this))
        end_calls([](const Call &) { return true; });
    const auto tell = [this](QmiService service, uint16_t message, const std::string &what, const std::string &values) {
        const auto [told, is_first] = told_.try_emplace(what, values);
        if (told->second == values)
            return;
        told->second = values;
        indicate(service, message, values);
    };
    if (!clients_[qmi_network].empty()) {
        tell(qmi_network, 0x24, "serving system", serving_system_values(*this));
        tell(qmi_network, 0x4e, "system", system_info_values(*this));
        tell(qmi_network, 0x51, "signal", signal_values(*this));
    }
    if (!clients_[qmi_card].empty())
        tell(qmi_card, 0x32, "card", card_status_value(*this));
    look_at_messages();
}

/// Only what comes while the host listens is new.
void QmiModem::look_at_messages()
{
    if (clients_[qmi_messages].empty()) {
        messages_.reset();
        return;
    }
    std::set<uint32_t> places = message_places(*this);
    const std::string storage = little_endian(message_storage(*this), 1);
    for (const uint32_t place : places)
        if (messages_ && !messages_->contains(place))
            indicate(qmi_messages, 1, qmi_value(0x10, storage + little_endian(place, 4)));
    messages_ = std::move(places);
}

} // namespace simulator
