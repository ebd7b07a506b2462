#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/text.h"

// Files of the SIM card (AT+CRSM, 3GPP TS 27.007, 8.18; the files are those of 3GPP TS 31.102, 4.2).

/// A file of the card and the length that it is first read with. 0 asks for the whole file.
struct CardFile {
    uint16_t id;
    uint8_t length;
};
inline constexpr CardFile spn_file = {28486, 17};           ///< EF_SPN, the provider's name
inline constexpr CardFile group_file = {28478, 0};          ///< EF_GID1, whose length is the operator's choice
inline constexpr CardFile administrative_file = {28589, 4}; ///< EF_AD, the length of the MNC
inline constexpr CardFile number_file = {12258, 10};        ///< EF_ICCID

enum class CardCommand : uint8_t { read_binary = 176, get_response = 192 };

/// "AT+CRSM=176,28486,0,0,17"
Text<32> compose_card_command(CardCommand command, uint16_t file, uint8_t length);

/// The card's answer: its two status bytes, and its data, cut at the capacity.
struct CardReply {
    uint8_t sw1;
    uint8_t sw2;
    std::array<uint8_t, 64> bytes{};
    size_t size = 0;

    bool is_good() const; ///< the command was carried out
    std::span<const uint8_t> data() const { return {bytes.data(), size}; }
};

/// Nothing when the reply has no +CRSM line, a status outside 0 to 255, or data that are not pairs of hexadecimal
/// digits.
std::optional<CardReply> parse_card_reply(std::string_view reply);

/// The length with which to read a file again that was read with a wrong one (the card's status 6Cxx); 0 for all other
/// answers.
uint8_t parse_right_length(const CardReply &reply);

/// The size of a file by the answer to get_response, in the form of a USIM (a template with tag 80) or of a SIM (its
/// third and fourth byte); 0 when it is not reported, or is more than a read can return.
uint8_t parse_file_size(const CardReply &reply);

/// EF_SPN: a display condition, then a name in the SMS alphabet or in one of the three forms of UCS-2, filled with FF.
/// The name in UTF-8; empty without one.
Text<50> parse_provider_name(std::span<const uint8_t> file);

/// EF_GID1 as hexadecimal digits in capitals, without the FF at its end. Empty for a file of FF or of zeros only.
Text<41> parse_group_id(std::span<const uint8_t> file);

/// EF_AD: 2 or 3; 0 when the card does not say.
int parse_mnc_length(std::span<const uint8_t> file);

/// EF_ICCID: 18 to 20 digits; empty for anything else.
Text<21> parse_card_number(std::span<const uint8_t> file);
