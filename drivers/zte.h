#pragma once

#include "core/model/modem_driver.h"

/// Access technology by AT+ZPAS? of the ZTE ME3630; out (3 bytes) becomes "4G", "3G" or "2G". CDMA counts as 2G here.
/// @return 0, -1 without a technology, an answer or its OK; out is untouched then
int zte_get_mode(const ModemDriver &rec, TextOut out);

/// How its reply is read. Null when it names no technology.
const char *parse_zpas(std::string_view reply);
