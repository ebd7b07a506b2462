#pragma once

#include "core/model/modem_driver.h"

/// Access technology by AT+CNSMOD? of the SIMCom 7600; out (3 bytes) becomes "4G", "3G" or "2G". @return 0, -1 without
/// a technology, an answer or its OK; out is untouched then
int simcom_get_mode(const ModemDriver &rec, TextOut out);

/// How its reply is read. Null when it names none of the modes 1 to 11.
const char *parse_cnsmod(std::string_view reply);
