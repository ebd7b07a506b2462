#pragma once

#include "core/model/modem_driver.h"
#include "platform/uci.h"

/// How the modem is to be connected. A null text is not set; an empty one is set and empty.
struct ConnectSettings {
    const char *device =
        nullptr; ///< data device, "/dev/ttyUSB3" or "/dev/cdc-wdm0"; null: found from the modem's record
    const char *service = nullptr; ///< "fdd_lte", "umts" ...
    const char *apn = nullptr;
    const char *pincode = nullptr;
    const char *dialnumber = nullptr;
    const char *username = nullptr;
    const char *password = nullptr;
    const char *auth = nullptr; ///< "NONE", "PAP", "CHAP", "PAP or CHAP"
    const char *mtu = nullptr;
    const char *operator_name = nullptr; ///< one that begins with "Visible" keeps the modem out of multi-WAN
};

// A connect has one UCI context for all of its steps, so that the network package is read once.

/// Writes, in this order: the UCI network section of rec's interface; the APN and authentication into the modem, if
/// settings give them; the LED's device; the operator; the multi-WAN member; the forced TTL. Failures are not reported:
/// a value that cannot be written is left out.
/// @param ifname  network device, null to leave the option out
/// @param proto   "3g", "directip", "callip", "ncm", "qcm", "qmi", "mbim" or "dhcp"
void write_interface(const Uci &uci, const ModemDriver &rec, const char *ifname, const char *proto,
                     const ConnectSettings &settings);

/// Removes the interface's UCI network section.
void delete_interface(const Uci &uci, const char *iface);

/// On a board with places for several modems: gives the interface the metric of its place, instead of the metric that
/// write_interface wrote.
void write_metric_of_place(const Uci &uci, const char *iface, const char *bus);

// The decisions of write_interface.

/// Device whose traffic the 3G/LTE LED follows; nothing for "directip" without ifname.
Text<20> pick_led_device(const char *iface, const char *ifname, const char *proto, const char *device);
/// MTU to write, null for none: without a given one, Verizon's network needs 1428.
const char *pick_mtu(const char *mtu, std::string_view sim_type);

/// How the multi-WAN member's "enabled" changes.
enum class MultiWanChange { none, enable, disable };
MultiWanChange pick_multi_wan_change(std::string_view enabled, const char *operator_name);
