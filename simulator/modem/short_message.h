#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// A short message on its way to the modem.
struct ShortMessage {
    std::string from;   ///< "+441632960000", a national number "01632960000", or a name of at most 11 characters
    std::string text;   ///< UTF-8
    bool flash = false; ///< class 0: to be shown at once
};

/// Puts a message into SMS-DELIVER PDUs (3GPP TS 23.040), one for each part: in the GSM alphabet (TS 23.038) where that
/// has all of its characters, else in UCS-2 with surrogate pairs. All messages are of one moment, so that every run is
/// the same. Each part is the text of a modem's happening: `message LENGTH PDU "FROM" "TIME" TEXT`, the last three as a
/// modem in text mode shows them, LENGTH without the service centre's address. Throws std::invalid_argument for a text
/// that is not UTF-8, a sender that cannot be written, or more than 255 parts.
std::vector<std::string> message_happenings(const ShortMessage &message);

/// The same for a PDU as it came, the service centre's address in front. A modem in text mode shows neither sender nor
/// text of it. Throws std::invalid_argument for what is no such PDU.
std::string pdu_happening(std::string_view pdu);

} // namespace simulator
