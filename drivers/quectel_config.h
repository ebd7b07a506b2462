#pragma once

#include <optional>
#include <span>

#include "at/at_command.h"
#include "core/model/modem_driver.h"

// Configuration of Quectel modems (AT+QCFG, AT+QICSGP, AT+QCCID of the same manuals; AT+CGDCONT of 3GPP TS 27.007).

/// Writes the thermal limits: rate limit, trigger and clear temperature of "devconf.modem" (en_limt, tigger, clear;
/// "0", "95" and "90" if unset). A modem that cannot be asked counts as success. A value that does not fit into its
/// command counts as failure.
/// @return 0; -1 when the modem refuses one (after the first the second is not sent)
int quectel_set_thermal(const ModemDriver &rec);

/// Network scan mode by AT+QCFG="nwscanmode" on "/dev/ttyUSB<tty>": 2 GSM only, 3 WCDMA only, 4 LTE only, anything else
/// automatic. @return 0, -1
int set_scan_mode(int tty, int mode);

/// Enables the LTE bands that a module of its firmware revision (ATI) may use. out (500 bytes) becomes the modem's
/// whole reply.
/// @return 0; -2 if the modem refuses; also if its revision is not known, then nothing is written and out is untouched
int set_band_by_revision(const char *port_path, TextOut out);

/// Writes the APN into context 1, for a Verizon card into context 3. A null text counts as empty. Nothing is sent while
/// the SIM is not ready, or if a text contains a quote or a control character or makes the command longer than 512
/// characters: an AT command cannot contain a quote, and a cut APN would be another APN.
/// @return 0, also if the modem cannot be asked; -1 if nothing was sent or the modem refuses
int quectel_set_apn(const ModemDriver &rec, const char *apn);

/// The same for the context's authentication: "NONE", "PAP", "CHAP" or "PAP or CHAP", any other text counts as "NONE".
int quectel_set_auth(const ModemDriver &rec, const char *apn, const char *username, const char *password,
                     const char *auth);

/// ICCID by AT+QCCID: exactly 20 digits. out: 21 bytes; on failure it holds the digits that the modem printed before
/// another character. @return 0, -1
int quectel_get_iccid(const ModemDriver &rec, TextOut out);

/// Adds the configured bands by AT+QCFG="band": "EGPRS", always the same text, and "LTE", "B1 B3 " ... (see
/// list_bands). Adds nothing if the modem does not report three masks. @return 0
int quectel_get_bands(const ModemDriver &rec, json_object *object);

/// "AUTO", "GSM only", "WCDMA only" or "LTE only" by AT+QCFG="nwscanmode"; "ERROR" when the modem refuses; untouched if
/// it cannot be asked or reports none of the modes 0 to 3. @return 0, -1 when the modem refuses
int quectel_get_scan_mode(const ModemDriver &rec, TextOut out);

/// The LTE band in use: the number that the configuration fixes under key, else that of AT+QENG="servingcell" on the
/// bus's interface. @return the band, 0 when there is none
int32_t get_lte_band(const char *bus, int32_t interface, const char *key);

/// A context of the modem and the names of its address type in the two commands that write it.
struct PdpContext {
    int cid;
    const char *type; ///< of AT+CGDCONT
    int type_number;  ///< of AT+QICSGP
};

// How commands are composed and replies are read. There is no command if the operation above sends nothing.

std::optional<AtCommand> compose_thermal_limit(const char *limit);
std::optional<AtCommand> compose_thermal_range(const char *trigger, const char *clear);
std::optional<AtCommand> compose_apn(const PdpContext &context, const char *apn);
std::optional<AtCommand> compose_auth(const PdpContext &context, const char *apn, const char *username,
                                      const char *password, const char *auth);

bool is_sim_ready(std::string_view captured);                  ///< captured: as the SIM watcher's file holds it
const PdpContext &pick_pdp_context(std::string_view captured); ///< captured: likewise
std::optional<std::string_view> parse_revision(std::string_view reply); ///< ATI; at most 59 characters
const char *pick_band_lock(std::string_view revision); ///< the command; null for a revision that is not known
std::optional<std::string_view> parse_scan_mode(std::string_view reply); ///< "AUTO" ...
std::optional<int32_t> parse_lte_band(std::string_view reply);           ///< of the first LTE cell of AT+QENG

/// The LTE mask of AT+QCFG="band", without "0x" but with the comma after it, cut at 39 characters; nothing if the reply
/// does not contain three masks and then an OK.
std::optional<std::string_view> parse_lte_mask(std::string_view reply);

/// Two characters make a byte, the high half first; a zero is put before a text of odd length. ':' to 'f' have the
/// value code - 55, all others code - 48, low four bits. Hexadecimal digits read as usual; a comma reads as 12. @return
/// number of bytes, no more than bytes has room for
size_t hex_to_bytes(std::string_view text, std::span<uint8_t> bytes);

/// "B%d " for each bit of mask, the last byte holding bands 1 to 8; whole entries within 99 characters. The comma of
/// parse_lte_mask adds four bits, so the bands of the mask appear four higher, and bands 3 and 4 appear too: readers of
/// the list depend on it.
Text<100> list_bands(std::string_view mask);
