#pragma once

#include "apn/choices.h"
#include "core/model/modem_driver.h"

// The files and settings that the choice of an APN rests on.

/// What pick_apn_choices needs, read for one card in one modem.
struct ApnTables {
    HeapText worked;
    HeapText database;
    ApnLogin user;
    bool has_user = false;

    ApnSources sources() const;
};

/// What the user has set for the interface. What the automatic connection wrote is not the user's choice. An APN that
/// is missing is a choice if there is a device to use it with. @return false if it is none
bool read_user_login(const char *iface, ApnLogin &login);

/// Reads the user's setting (the section of the modem's interface, unless it holds what was found automatically), what
/// worked before, and the package's database. Without that database the rows are those of the web interface's.
ApnTables read_apn_tables(const ModemDriver &rec, const SimCard &card);

/// Keeps login as what worked with that card, in a file on the flash that only root can read. Nothing is written if it
/// is kept already.
void keep_worked(const ApnTables &tables, const SimCard &card, const ApnLogin &login);
