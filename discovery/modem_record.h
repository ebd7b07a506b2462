#pragma once

#include "core/modem_driver.h"

/// Turns a bus into the record of the modem on it, and describes the modem in info (an object of the caller's):
/// "ports", "modem_id", "data_port", "control_port", and "qmi_port" where the model has one. A device that is not
/// listed becomes the unknown device: "ports", "modem_id", "name", "bus" and its carrier. out_rec receives a whole
/// record in every case; its modem_id is -1 when no usable modem was found.
void detect_modem(ModemDriver &out_rec, json_object *info, const char *bus);
