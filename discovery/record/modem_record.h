#pragma once

#include "core/model/modem_driver.h"

/// How much of a modem is described. An unknown device gets the same description in every form: "ports", "modem_id",
/// "name", "bus", carrier and status record.
enum class RecordForm {
    ports,     ///< "ports"
    basic,     ///< "ports", "modem_id", "data_port", "control_port", and "qmi_port" if the model has one
    brief,     ///< basic, "name" (the model's in the table) and "bus"
    app_brief, ///< brief, the carrier and the status record
    full,      ///< basic, "name" and "IMEI" as the modem reports them, "bus", "hw_version", "sim_num", the carrier, the
               ///< status record, "apns" if the carrier has a fixed one, and "operators"
};

/// Turns a bus into the record of the modem on it, and describes the modem in info, an object of the caller. out_rec
/// always receives a whole record. Its modem_id is -1 if no usable modem was found, or if the bus is longer than a
/// record holds (9 characters). If the modem does not answer, members are left out.
void detect_modem(ModemDriver &out_rec, json_object *info, const char *bus, RecordForm form = RecordForm::basic);

/// IMEI by the record's operation (16 bytes). @return 0; -1 when the model has none or the AT port is not there
int read_imei(const ModemDriver &rec, TextOut out);
