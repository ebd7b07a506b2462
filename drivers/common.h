#pragma once

#include "core/model/modem_driver.h"

// The modem's identity and state: operations that the modems of all makers share, by the commands of 3GPP TS 27.007 and
// 27.005 and ITU-T V.250 (ATI). Unless said otherwise, all fail with -1 if the modem does not answer or answers without
// OK, and then leave out untouched.

/// Model name, or the firmware revision if the modem reports no model, as ATI prints it (the space after the colon and
/// the carriage return stay). Kept in "/tmp/modem.<bus>/modem-name", which is read first. out: 200 bytes. @return 0, -1
int get_model(const char *bus, const char *port_path, TextOut out);

/// Signal bars, 0 (none) to 4, by AT+CSQ. @return 1, -1
int get_csq(const ModemDriver &rec, int32_t &bars);

/// IMSI from "/tmp/modem.<bus>/cimi" (6 bytes or more of it), else by AT+CIMI: 15 digits. out: 16 bytes; it holds the
/// digits that the modem printed even if there are fewer, because the web interface shows them. @return 0, -1
int get_imsi(const ModemDriver &rec, TextOut out);

/// Operator name by AT+COPS?: the text between its first quotes. @return 0, -1 also without a name
int get_carrier(const ModemDriver &rec, TextOut out);

/// Registration status digit by AT+CREG? on "/dev/ttyUSB<tty>". @return 0 to 9, -1
int get_creg(int tty);

/// IMEI, kept in "/tmp/modem.<bus>/modem-imei" (a file that is not 15 digits is removed and fails this call), else by
/// AT+GSN. out: 16 bytes; it holds the digits that the modem printed even if there are fewer than 15. @return 0, -1
int get_imei(const char *port_path, const char *bus, TextOut out);

/// SIM state by AT+CPIN?; out becomes "READY", "NEED PIN", "NEED PUK" or "ERROR". A modem that cannot be reached counts
/// as ready.
/// @return 0 ready or unknown, -1 no SIM, -2 PIN, -4 PUK
int get_sim_status(const ModemDriver &rec, TextOut out);

/// Registration by AT+CREG? alone. @return 0 registered, also if the modem does not answer with OK; -1
int check_register_by_creg(const ModemDriver &rec);

/// Sends a command, cut at 49 characters, of whose answer only OK matters. The reply has 20 bytes: if echo and result
/// need more, the OK may be lost. @return 0, -1
int at_expect_ok(const char *port_path, std::string_view command);
