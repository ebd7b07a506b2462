#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "apn/card.h"

// Which APNs to try for a SIM card, best first.
//
// Tables of APNs are texts of one row a line, fields separated by tabs, missing ones at the end left out:
//
//     key  apn  user  password  auth  ip
//
// auth is "none", "pap", "chap" or "both"; ip is "ipv4", "ipv6" or "ipv4v6". The key says which cards the row is for:
//
//     23410            cards of that network (MCC and MNC)
//     23410=giffgaff   cards whose IMSI begins so and whose provider's name (EF_SPN) is this, in capital or small
//     letters 310260#6D38      cards whose IMSI begins so and whose group (EF_GID1) begins so 26207500*        cards
//     whose IMSI begins so; an "x" is any digit 8988280*         the same for the ICCID: no country code begins with 89
//
// The rows are sorted by their keys as bytes, so that the rows of a country are found without reading the others. Of
// rows with the same key the better one comes first.

/// How to log in to an APN. An empty username means that none is needed.
struct ApnLogin {
    Text<64> apn{};
    Text<64> username{};
    Text<64> password{};
    Text<12> auth{}; ///< "NONE", "PAP", "CHAP" or "PAP or CHAP", as in the option auth
    Text<8> ip{};    ///< "ipv4", "ipv6" or "ipv4v6"
};

struct ApnChoice : ApnLogin {
    Text<80> why{}; ///< "network 23410"
};

/// The "why" of logins that a person chose. All others are in tables that everybody can read.
inline constexpr char set_by_user[] = "set by the user";
inline constexpr char worked_before[] = "worked before";

struct ApnChoices {
    std::array<ApnChoice, 8> items{};
    size_t size = 0;
};

/// What is known of APNs. The texts are tables as above.
struct ApnSources {
    const ApnLogin *user = nullptr; ///< what the user has set, also with an empty APN; null if nothing is set
    std::string_view worked{};      ///< what went online before; the keys are whole ICCIDs
    std::string_view database{};
};

/// In this order: the user's APN, the one that worked with this card before, those by ICCID and IMSI, by group, by
/// provider's name, by network, and last an empty APN, which lets the network choose. Longer keys come first. The same
/// login comes once.
ApnChoices pick_apn_choices(const SimCard &card, const ApnSources &sources);

/// The rows of sorted whose keys begin with start.
std::string_view rows_of(std::string_view sorted, std::string_view start);

/// A table of what worked with login as the newest row of that card, and the newest rows of other cards after it.
/// Empty if login cannot be a row or the card has no number.
Text<2048> add_worked(std::string_view worked, std::string_view iccid, const ApnLogin &login);
