#include "simulator/usb/qmi_modem.h"

// WMS: short messages. They are those of AT+CMGL, in the same places.

namespace simulator {

namespace {

constexpr uint32_t most_messages = 255;
constexpr char point_to_point = 6;
enum Tag : uint32_t { was_read = 0, not_read = 1 };

std::string pdu_name(uint32_t place)
{
    return "sms_pdu_" + std::to_string(place);
}

uint32_t tag_of(const QmiModem &modem, uint32_t place)
{
    return modem.variable("sms_state_" + std::to_string(place)) == "0" ? not_read : was_read;
}

QmiAnswer list(QmiModem &modem, const QmiRequest &request)
{
    const auto storage = request.number(1, 1);
    const auto tag = request.number(0x10, 1);
    if (!storage)
        return {.error = qmi_missing_argument};
    std::string found;
    uint32_t count = 0;
    for (const uint32_t place : message_places(modem)) {
        if (*storage != message_storage(modem) || (tag && *tag != tag_of(modem, place)))
            continue;
        found += little_endian(place, 4) + little_endian(tag_of(modem, place), 1);
        count++;
    }
    return {.values = qmi_value(1, little_endian(count, 4) + found)};
}

/// The place of a message, which a request names in that value; nothing if there is no message.
std::optional<uint32_t> place_in(const QmiModem &modem, const QmiRequest &request, uint8_t kind, size_t at)
{
    const auto place = request.number(kind, 4, at);
    if (!place || modem.variable(pdu_name(*place)).empty() ||
        request.number(1, 1).value_or(2) != message_storage(modem))
        return std::nullopt;
    return place;
}

QmiAnswer read(QmiModem &modem, const QmiRequest &request)
{
    const auto place = place_in(modem, request, 1, 1);
    if (!place)
        return {.error = qmi_no_entry};
    const std::string pdu = bytes_of_hex(modem.variable(pdu_name(*place)));
    const std::string tag = little_endian(tag_of(modem, *place), 1);
    return {.values = qmi_value(1, tag + point_to_point + counted(pdu, 2))};
}

QmiAnswer change_tag(QmiModem &modem, const QmiRequest &request)
{
    const auto place = place_in(modem, request, 1, 1);
    const auto tag = request.number(1, 1, 5);
    if (!place || !tag)
        return {.error = qmi_no_entry};
    modem.modem().set_variable("sms_state_" + std::to_string(*place), *tag == not_read ? "0" : "1");
    return {};
}

QmiAnswer remove(QmiModem &modem, const QmiRequest &request)
{
    if (!request.number(1, 1))
        return {.error = qmi_missing_argument};
    if (request.values.contains(0x10)) {
        const auto place = place_in(modem, request, 0x10, 0);
        if (!place)
            return {.error = qmi_no_entry};
        modem.modem().set_variable(pdu_name(*place), "");
        return {};
    }
    const auto tag = request.number(0x11, 1);
    for (const uint32_t place : message_places(modem))
        if (*request.number(1, 1) == message_storage(modem) && (!tag || *tag == tag_of(modem, place)))
            modem.modem().set_variable(pdu_name(place), "");
    return {};
}

QmiAnswer send(QmiModem &modem, const QmiRequest &request)
{
    // the format, then the counted PDU
    const std::string value = request.value(1);
    const size_t length = request.number(1, 2, 1).value_or(0);
    if (length == 0 || value.size() < 3 + length)
        return {.error = qmi_malformed};
    if (!is_registered(modem))
        return {.error = qmi_unavailable};
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string pdu;
    for (const char byte : value.substr(3, length))
        pdu += {digits[static_cast<uint8_t>(byte) >> 4], digits[byte & 15]};
    const int reference = atoi(modem.variable("sms_reference").c_str()) + 1;
    modem.modem().set_variable("sms_sent", pdu);
    modem.modem().set_variable("sms_reference", std::to_string(reference));
    return {.values = qmi_number(1, static_cast<uint32_t>(reference), 2)};
}

QmiAnswer routes(QmiModem &modem, const QmiRequest &)
{
    // all that come in are stored: point to point, of four classes and without one
    std::string list = little_endian(5, 2);
    for (const int kind : {0, 1, 2, 3, 4})
        list += little_endian(0, 1) + little_endian(static_cast<uint32_t>(kind), 1) +
                little_endian(message_storage(modem), 1) + little_endian(1, 1);
    return {.values = qmi_value(1, list)};
}

QmiAnswer centre(QmiModem &modem, const QmiRequest &)
{
    return {.values = qmi_value(1, "145" + counted(modem.variable("sms_centre")))};
}

} // namespace

std::set<uint32_t> message_places(const QmiModem &modem)
{
    std::set<uint32_t> places;
    for (uint32_t place = 1; place <= most_messages; place++)
        if (!modem.variable(pdu_name(place)).empty())
            places.insert(place);
    return places;
}

uint32_t message_storage(const QmiModem &modem)
{
    return modem.variable("sms_memory") == "SM" ? 0 : 1;
}

std::span<const QmiRow> qmi_message_rows()
{
    static constexpr QmiRow rows[] = {
        {qmi_messages, 0x00, accept_request}, {qmi_messages, 0x01, accept_request}, {qmi_messages, 0x20, send},
        {qmi_messages, 0x22, read},           {qmi_messages, 0x23, change_tag},     {qmi_messages, 0x24, remove},
        {qmi_messages, 0x31, list},           {qmi_messages, 0x32, accept_request}, {qmi_messages, 0x33, routes},
        {qmi_messages, 0x34, centre},
    };
    return rows;
}

} // namespace simulator
