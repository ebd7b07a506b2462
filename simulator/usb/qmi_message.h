#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/usb/bytes.h"

namespace simulator {

/// The groups of QMI's messages.
enum QmiService : uint8_t {
    qmi_control = 0,
    qmi_data = 1,      ///< WDS
    qmi_device = 2,    ///< DMS
    qmi_network = 3,   ///< NAS
    qmi_messages = 5,  ///< WMS
    qmi_card = 0x0b,   ///< UIM
    qmi_framing = 0x1a ///< WDA
};

/// Why a request fails.
enum QmiError : uint16_t {
    qmi_ok = 0,
    qmi_malformed = 1,
    qmi_no_clients_left = 5,
    qmi_invalid_client = 7,
    qmi_invalid_handle = 9,
    qmi_incorrect_pin = 12,
    qmi_call_failed = 14,
    qmi_out_of_call = 15,
    qmi_not_provisioned = 16,
    qmi_missing_argument = 17,
    qmi_no_effect = 26,
    qmi_invalid_service = 31,
    qmi_pin_blocked = 35,
    qmi_no_card = 37,
    qmi_invalid_argument = 48,
    qmi_no_entry = 50,
    qmi_unknown_message = 71,
    qmi_unavailable = 74,
    qmi_no_such_file = 80,
    qmi_not_supported = 94
};

/// A request of the host.
struct QmiRequest {
    uint8_t service = 0;
    uint8_t client = 0;
    uint16_t transaction = 0;
    uint16_t message = 0;
    std::map<uint8_t, std::string> values{}; ///< by their kinds

    /// Empty if there is none of that kind.
    std::string value(uint8_t kind) const;
    /// A number of that many bytes, from place at on; nothing if the value is too short or not there.
    std::optional<uint32_t> number(uint8_t kind, size_t bytes, size_t at = 0) const;
};

/// Nothing if it is no request, or is cut.
std::optional<QmiRequest> parse_qmi_request(std::string_view message);

enum class QmiKind : uint8_t { response, indication };

/// A message of the modem; values are qmi_value()s, one after the other.
std::string qmi_text(const QmiRequest &of, QmiKind kind, std::string_view values);

/// One value of a message.
std::string qmi_value(uint8_t kind, std::string_view bytes);
std::string qmi_number(uint8_t kind, uint32_t number, size_t bytes);
/// A text after its length.
std::string counted(std::string_view text, size_t length_bytes = 1);

} // namespace simulator
