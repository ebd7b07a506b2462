#pragma once

#include "at/at_session.h"
#include "platform/text.h"

/// What a SIM card says about whose it is. What it does not say is empty or 0.
struct SimCard {
    Text<24> iccid{};   ///< 18 to 22 digits
    Text<16> imsi{};    ///< 14 or 15 digits
    Text<50> spn{};     ///< the provider's name in UTF-8 (EF_SPN)
    Text<41> gid1{};    ///< hexadecimal digits in capitals, without the FF at the end (EF_GID1)
    int mnc_length = 0; ///< 2 or 3 (EF_AD)
};

/// Asks the modem for all of it, 10 s at most.
/// @return false when the modem answers no question
bool read_sim_card(AtSession &session, SimCard &card);
