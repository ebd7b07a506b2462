#pragma once

#include <optional>

#include "core/model/modem_driver.h"

// Models beside the built-in ones: rows of /etc/modemctl/models, which is the user's, and /usr/share/modemctl/models,
// which the package installs. The user's go first.

/// A row: name, USB ids, number, the interfaces of AT port, dial port and control device ("-" for none), connection,
/// dialect. Blanks part the fields, '#' begins a comment.
struct ModelRow {
    Text<24> name;
    uint32_t vid = 0;
    uint32_t pid = 0;
    int32_t modem_id = -1;     ///< 100 to 9999 without 255
    int32_t control_port = -1; ///< always there
    int32_t data_port = -1;
    int32_t qmi_port = -1; ///< the QMI or MBIM control device
    uint32_t proto_flags = 0;
    const char *dialect = nullptr; ///< a name of dialects()
};

/// @return nothing for an empty line and for a wrong one; fault then says what is wrong with the latter, and is null
/// for the former
std::optional<ModelRow> parse_model_row(std::string_view line, const char *&fault);

/// The record of the first row with both USB ids, or with that number; null without one. The files are read when a row
/// is wanted that this process has not met; wrong rows go to the log with file and line.
ModemDriver *find_file_model_by_usb(uint32_t vid, uint32_t pid);
ModemDriver *find_file_model_by_id(int32_t id);
