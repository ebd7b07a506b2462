#pragma once

#include "connection/interface_config.h"

// The connect flows: reset the failure counter, rewrite the interface's configuration, bring it up and wait for it.
// The caller's record stays as it is.

/// Result of each flow, with nothing changed, if the network daemon's handler would take a setting as more than a
/// value. Web clients know the number as the status of a text that is not accepted.
inline constexpr int connect_refused = -5;

/// Connects by the protocol that the model's proto_flags name: MBIM, DHCP, DirectIP, the wwan device's, NCM, or PPP.
/// For DHCP the session is started on the AT port first. With a device given it waits 1 s for the interface, which need
/// not be up by then. Without a device it finds the dial port and waits 15 s.
/// @return 0; -1 if the interface is not up after 15 s. A success makes rec's id the current modem id
int serial_connect(const ModemDriver &rec, const ConnectSettings &settings);

/// Connects by "qcm" over the QMI control device. Waits and results are those of serial_connect. @return also -1, with
/// nothing changed, if no device is given and the modem's control device does not exist
int qcm_connect(const ModemDriver &rec, const ConnectSettings &settings);

/// Connects by "qmi", stopping the modem's own connection first. As qcm_connect. A model that connects by MBIM does so
/// here too.
int qmi_connect(const ModemDriver &rec, const ConnectSettings &settings);
