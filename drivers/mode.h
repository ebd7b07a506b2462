#pragma once

#include <optional>

#include "core/model/generation.h"
#include "core/model/modem_driver.h"

// The access technology in use: each maker has another command and other words. All write "4G", "3G" or "2G" to out
// (3 bytes). @return 0; -1 when the modem does not answer with OK or names no technology, out is untouched then

int get_mode(const ModemDriver &rec, TextOut out);     ///< AT+QNWINFO of Quectel; every other model is asked this too
int zte_get_mode(const ModemDriver &rec, TextOut out); ///< AT+ZPAS?
int simcom_get_mode(const ModemDriver &rec, TextOut out);  ///< AT+CNSMOD?
int fibocom_get_mode(const ModemDriver &rec, TextOut out); ///< AT+GTCCINFO?

// How the replies are read: nothing when they name no known technology.

std::optional<Generation> parse_access_technology(std::string_view reply); ///< AT+QNWINFO
std::optional<Generation> parse_zpas(std::string_view reply);
std::optional<Generation> parse_cnsmod(std::string_view reply);
std::optional<Generation> parse_gtccinfo_mode(std::string_view reply);
