#pragma once

#include "core/modem_driver.h"

/// Where the web interface keeps the APN database: 24 bytes of script, then one JSON text.
inline constexpr char apn_database_file[] = "/www/src/lib/apn-config.js";

/// Reads the text of an APN database. Whether it is JSON shows when candidates are selected. A null filename aborts the
/// program.
/// @return 0; -1 when the file cannot be read, is larger than 16 MiB or holds nothing behind its first 24 bytes, text
/// is then untouched
int read_apn_database(const char *filename, HeapText &text);

/// The same into the process's APN database, which lasts until it is released.
/// @return as read_apn_database
int load_apn_database(const char *filename);
void release_apn_database();

/// The APN of carriers that need a fixed one, by the IMSI; null for all others. The first prefix that matches decides.
const char *pick_fixed_apn(std::string_view imsi);

/// Looks rec's SIM up among the carriers with a fixed APN. candidates, where given, gets an entry as the database has
/// them; names, where given, the APN as text.
/// @return 0 when it is one of them, else -1
int find_fixed_apn(const ModemDriver &rec, json_object *candidates, json_object *names);

/// Appends to candidates the entries of database (a JSON text with the list apns.apn) with that mcc and mnc, or, where
/// there is none, with the first two characters of mnc. As in json-c, what follows the text's value does not count.
/// @return how many; -1 when the text is no JSON or has no such list, nothing is appended then
int pick_apn_entries(std::string_view database, std::string_view mcc, std::string_view mnc, json_object *candidates);
/// Appends what could be rec's APN to candidates: its carrier's fixed APN, else the database's entries for its network.
/// @return 0 when there is at least one, else -1
int select_apn_candidates(const ModemDriver &rec, json_object *candidates);

/// Whether an entry may carry internet traffic: it has no "-type", or one that contains "default" or "hipri".
bool is_internet_apn(json_object *entry);

/// Tries the candidates in order, each by QMI where the model has it and then by serial, until one brings the interface
/// up. A null array makes one serial connect without an APN. @return 0 on success, -1
int connect_with_candidates(const ModemDriver &rec, json_object *candidates);
