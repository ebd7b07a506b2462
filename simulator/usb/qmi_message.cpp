#include "simulator/usb/qmi_message.h"

namespace simulator {

namespace {

constexpr char message_start = 1;
constexpr size_t outer_head = 6; // start, length, from whom, service, client
constexpr char from_modem = '\x80';

} // namespace

std::string QmiRequest::value(uint8_t kind) const
{
    const auto found = values.find(kind);
    return found == values.end() ? std::string() : found->second;
}

std::optional<uint32_t> QmiRequest::number(uint8_t kind, size_t bytes, size_t at) const
{
    const auto found = values.find(kind);
    if (found == values.end() || found->second.size() < at + bytes)
        return std::nullopt;
    return little_endian_at(found->second, at, bytes);
}

std::optional<QmiRequest> parse_qmi_request(std::string_view message)
{
    if (message.size() < outer_head || message[0] != message_start ||
        little_endian_at(message, 1, 2) + 1 != message.size())
        return std::nullopt;
    QmiRequest request{.service = static_cast<uint8_t>(message[4]), .client = static_cast<uint8_t>(message[5])};
    // A transaction's number is shorter in the control service.
    const size_t number_bytes = request.service == qmi_control ? 1 : 2;
    const size_t head = outer_head + 1 + number_bytes + 4;
    if (message.size() < head)
        return std::nullopt;
    request.transaction = static_cast<uint16_t>(little_endian_at(message, outer_head + 1, number_bytes));
    request.message = static_cast<uint16_t>(little_endian_at(message, head - 4, 2));
    const size_t values_bytes = little_endian_at(message, head - 2, 2);
    message.remove_prefix(head);
    if (values_bytes != message.size())
        return std::nullopt;
    while (!message.empty()) {
        if (message.size() < 3 || message.size() < 3 + little_endian_at(message, 1, 2))
            return std::nullopt;
        const size_t length = little_endian_at(message, 1, 2);
        request.values[static_cast<uint8_t>(message[0])] = message.substr(3, length);
        message.remove_prefix(3 + length);
    }
    return request;
}

std::string qmi_text(const QmiRequest &of, QmiKind kind, std::string_view values)
{
    const bool is_control = of.service == qmi_control;
    const int flags = (kind == QmiKind::response ? 1 : 2) << (is_control ? 0 : 1);
    std::string inner{static_cast<char>(flags)};
    inner += little_endian(of.transaction, is_control ? 1 : 2) + little_endian(of.message, 2) +
             little_endian(static_cast<uint32_t>(values.size()), 2);
    inner += values;
    return std::string{message_start} + little_endian(static_cast<uint32_t>(outer_head - 1 + inner.size()), 2) +
           std::string{from_modem, static_cast<char>(of.service), static_cast<char>(of.client)} + inner;
}

std::string qmi_value(uint8_t kind, std::string_view bytes)
{
    return static_cast<char>(kind) + counted(bytes, 2);
}

std::string qmi_number(uint8_t kind, uint32_t number, size_t bytes)
{
    return qmi_value(kind, little_endian(number, bytes));
}

std::string counted(std::string_view text, size_t length_bytes)
{
    return little_endian(static_cast<uint32_t>(text.size()), length_bytes) + std::string(text);
}

} // namespace simulator
