#include "simulator/usb/qmi_modem.h"

#include <algorithm>

// UIM: the card and its files, and the PIN as the older service knows it (DMS).

namespace simulator {

namespace {

enum CardState : char { absent = 0, present = 1, broken = 2 };
enum ApplicationState : char { detected = 1, wants_pin = 2, wants_puk = 3, ready = 7 };
enum PinState : char { not_verified = 1, verified = 2, blocked = 4 };
constexpr char usim = 2;
constexpr char pin2_tries = 3;
constexpr char puk2_tries = 10;
constexpr char technical_error = 7;
// The application's name of a card of the third generation.
constexpr std::string_view usim_name{"\xa0\0\0\0\x87\x10\2\xff\xff\xff\xff\x89\6\1\0\0", 16};

constexpr uint16_t file_found = 0x0090; // 90 00, as a card says it
constexpr uint8_t file_result = 0x10;

char tries(const QmiModem &modem, const char *name)
{
    return static_cast<char>(atoi(modem.variable(name).c_str()));
}

/// Digits as cards hold them: two a byte, the first one in its lower half.
std::string swapped_digits(std::string digits)
{
    if (digits.size() % 2 != 0)
        digits += 'f';
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        std::swap(digits[i], digits[i + 1]);
    return bytes_of_hex(digits);
}

/// A file of the card; nothing if it has none of that number.
std::optional<std::string> card_file(const QmiModem &modem, uint32_t number)
{
    const auto of_variable = [&](const char *name) -> std::optional<std::string> {
        const std::string digits = modem.variable(name);
        if (digits.empty())
            return std::nullopt;
        return bytes_of_hex(digits);
    };
    switch (number) {
    case 0x2fe2:
        return swapped_digits(modem.variable("iccid"));
    case 0x6f07: // its length, then 9 for an odd number of digits in front of them
        return std::string(1, 8) + swapped_digits('9' + modem.variable("imsi"));
    case 0x6fad:
        return of_variable("ef_ad");
    case 0x6f3e:
        return of_variable("ef_gid1");
    case 0x6f46:
        return of_variable("ef_spn");
    default:
        return std::nullopt;
    }
}

struct Wanted {
    QmiError error = qmi_ok;
    std::string file{};
};

/// The file that a request names; which application it belongs to does not matter on this card.
Wanted wanted_file(const QmiModem &modem, const QmiRequest &request)
{
    const auto number = request.number(2, 2);
    if (!number)
        return {.error = qmi_missing_argument};
    const std::string pin = modem.variable("pin");
    if (pin == "NOSIM" || pin == "FAILURE")
        return {.error = qmi_no_card};
    if (pin != "READY" && *number != 0x2fe2)
        return {.error = qmi_no_card};
    const auto file = card_file(modem, *number);
    if (!file)
        return {.error = qmi_no_such_file};
    return {.file = *file};
}

QmiAnswer read_file(QmiModem &modem, const QmiRequest &request)
{
    const Wanted wanted = wanted_file(modem, request);
    const auto offset = request.number(3, 2);
    const auto length = request.number(3, 2, 2);
    if (wanted.error != qmi_ok || !offset || !length)
        return {.error = wanted.error != qmi_ok ? wanted.error : qmi_missing_argument};
    if (*offset > wanted.file.size())
        return {.error = qmi_invalid_argument};
    // 0 bytes: all
    const std::string part = wanted.file.substr(*offset, *length == 0 ? std::string::npos : *length);
    return {.values = qmi_number(file_result, file_found, 2) + qmi_value(0x11, counted(part, 2))};
}

QmiAnswer file_attributes(QmiModem &modem, const QmiRequest &request)
{
    const Wanted wanted = wanted_file(modem, request);
    if (wanted.error != qmi_ok)
        return {.error = wanted.error};
    // size, number, a transparent one without records; whoever may read, write ... it
    std::string text = little_endian(static_cast<uint32_t>(wanted.file.size()), 2) +
                       little_endian(*request.number(2, 2), 2) + std::string(5, '\0');
    const uint32_t number = *request.number(2, 2);
    const auto high = [](uint32_t value) {
        return std::string{static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    // The card's own words: a template of twelve bytes with the kind, the number and the size.
    const std::string own =
        "\x62\x0c\x82\2\x41\x21\x83\2" + high(number) + "\x80\2" + high(static_cast<uint32_t>(wanted.file.size()));
    text += std::string(5 * 3, '\0') + counted(own, 2);
    return {.values = qmi_number(file_result, file_found, 2) + qmi_value(0x11, text)};
}

QmiAnswer card_status(QmiModem &modem, const QmiRequest &)
{
    return {.values = card_status_value(modem)};
}

PinState pin_state(const QmiModem &modem)
{
    const std::string pin = modem.variable("pin");
    if (pin == "READY")
        return verified;
    return pin == "SIM PUK" || tries(modem, "pin_tries") == 0 ? blocked : not_verified;
}

/// PIN 1, and PIN 2, which nothing here asks for.
QmiAnswer device_pins(QmiModem &modem, const QmiRequest &)
{
    if (modem.variable("pin") == "NOSIM" || modem.variable("pin") == "FAILURE")
        return {.error = qmi_no_card};
    return {.values = qmi_value(0x11, std::string{static_cast<char>(pin_state(modem)), tries(modem, "pin_tries"),
                                                  tries(modem, "puk_tries")}) +
                      qmi_value(0x12, std::string{0, pin2_tries, puk2_tries})};
}

std::string tries_value(const QmiModem &modem)
{
    return qmi_value(0x10, std::string{tries(modem, "pin_tries"), tries(modem, "puk_tries")});
}

QmiAnswer enter(QmiModem &modem, const std::string &command)
{
    if (modem.variable("pin") == "NOSIM")
        return {.error = qmi_no_card};
    if (modem.variable("pin") == "READY")
        return {.error = qmi_no_effect};
    const std::string reply = modem.ask(command);
    QmiError error = qmi_incorrect_pin;
    if (reply.find("OK") != std::string::npos)
        error = qmi_ok;
    else if (tries(modem, "pin_tries") == 0)
        error = qmi_pin_blocked;
    return {.error = error, .values = tries_value(modem)};
}

/// A counted text in a value, at that place, in quotes. Empty if it is anything but digits: it could be another
/// command.
std::string digits_in(const QmiRequest &request, uint8_t kind, size_t at)
{
    const size_t length = request.number(kind, 1, at).value_or(0);
    const std::string value = request.value(kind);
    std::string digits = value.size() < at + 1 + length ? std::string() : value.substr(at + 1, length);
    if (!std::ranges::all_of(digits, [](char character) { return character >= '0' && character <= '9'; }))
        digits.clear();
    return '"' + digits + '"';
}

QmiAnswer verify_pin(QmiModem &modem, const QmiRequest &request)
{
    return enter(modem, "AT+CPIN=" + digits_in(request, 2, 1));
}

QmiAnswer verify_device_pin(QmiModem &modem, const QmiRequest &request)
{
    return enter(modem, "AT+CPIN=" + digits_in(request, 1, 1));
}

QmiAnswer unblock_pin(QmiModem &modem, const QmiRequest &request)
{
    const size_t puk = request.number(2, 1, 1).value_or(0);
    return enter(modem, "AT+CPIN=" + digits_in(request, 2, 1) + ',' + digits_in(request, 2, 2 + puk));
}

} // namespace

std::string card_status_value(QmiModem &modem)
{
    const std::string pin = modem.variable("pin");
    // which card and which application: the first one of each, and none of the others
    std::string text = little_endian(0, 2) + std::string(6, '\xff') + '\1';
    if (pin == "NOSIM" || pin == "FAILURE")
        text += std::string{pin == "NOSIM" ? absent : broken, 0, 0, 0, pin == "NOSIM" ? '\0' : technical_error, 0};
    else {
        const PinState state_of_pin = pin_state(modem);
        const char state = state_of_pin == verified ? ready : state_of_pin == blocked ? wants_puk : wants_pin;
        text += std::string{present, 0, 3, 10, 0, 1};
        // personalization: ready when the PIN is; no other features, with their tries
        text += std::string{usim, state, static_cast<char>(pin == "READY" ? 2 : 0), 0, 0, 0};
        text += counted(usim_name);
        text += std::string{0,
                            static_cast<char>(state_of_pin),
                            tries(modem, "pin_tries"),
                            tries(modem, "puk_tries"),
                            0,
                            pin2_tries,
                            puk2_tries};
    }
    return qmi_value(0x10, text);
}

std::span<const QmiRow> qmi_card_rows()
{
    static constexpr QmiRow rows[] = {
        {qmi_card, 0x00, accept_request},
        {qmi_card, 0x20, read_file},
        {qmi_card, 0x24, file_attributes},
        {qmi_card, 0x26, verify_pin},
        {qmi_card, 0x27, unblock_pin},
        {qmi_card, 0x2a, accept_request},
        {qmi_card, 0x2e,
         [](QmiModem &, const QmiRequest &request) {
             return QmiAnswer{.values = qmi_number(0x10, request.number(1, 4).value_or(0), 4)};
         }},
        {qmi_card, 0x2f, card_status},
        {qmi_card, 0x44, accept_request},
        {qmi_device, 0x28, verify_device_pin},
        {qmi_device, 0x2b, device_pins},
    };
    return rows;
}

} // namespace simulator
