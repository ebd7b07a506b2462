#pragma once

#include <string_view>

/// Parts in which a text in UTF-8 is sent, as an operator counts them: one has 160 characters of the GSM alphabet (3GPP
/// TS 23.038; those after an escape count twice), or 70 of UCS-2 if the text has a character that is not in it. Of a
/// longer text each part has 153 or 67, and no character is cut in two.
int count_sms_parts(std::string_view text);
