#pragma once

#include <cstdint>

#include "platform/json.h"
#include "platform/text.h"

struct ModemDriver;

/// What can be asked of a modem. A slot may be empty: then the model does not have the operation, and the caller tests
/// for it. Unless said otherwise an operation returns 0 on success and a negative value on failure, and text results go
/// into a text that the caller has zeroed. An operation that takes a record looks up the modem's AT port again, by the
/// record's bus and control_port. An operation that takes a path or a tty number uses that port. Operations on messages
/// and on the interface use no port.
struct ModemOps {
    /// Model name (200 bytes), kept per bus in the state directory.
    int (*get_model)(const char *bus, const char *port_path, TextOut out);
    /// Access technology in use: "4G", "3G" or "2G".
    int (*get_mode)(const ModemDriver &rec, TextOut out);
    /// Signal bars 0 to 4. @return 1 (or another value from 0 up) on success, -1 on failure
    int (*get_csq)(const ModemDriver &rec, int32_t &bars);
    /// Appends signal values to array and writes the level, 1 to 4. @return generation of the serving cell: 2, 3 or 4;
    /// 0 when unknown; -1 when nothing was usable, level is then untouched
    int (*get_signal)(const ModemDriver &rec, json_object *array, int32_t &level);
    /// IMSI (16 bytes).
    int (*get_imsi)(const ModemDriver &rec, TextOut out);
    /// Network scan mode on "/dev/ttyUSB<tty>": 2 GSM only, 3 WCDMA only, 4 LTE only, anything else automatic.
    int (*set_scan_mode)(int tty, int mode);
    /// Removes one message of the SMS spool by its file name.
    int (*sms_remove)(const char *name);
    /// Removes all messages of the SMS spool.
    int (*sms_remove_all)(const ModemDriver &rec);
    /// Brings the interface up and waits up to budget_s seconds. @return 0 up, 1 pending, 2 down or unknown
    int (*iface_up)(int budget_s, const char *iface);
    /// Takes the interface down and asks up to polls times. @return 2 down, 0 still up, 1 pending
    int (*iface_down)(int polls, const char *iface);
    /// Operator name (64 bytes).
    int (*get_carrier)(const ModemDriver &rec, TextOut out);
    /// @return registration status digit of "/dev/ttyUSB<tty>" (AT+CREG?, 3GPP TS 27.007), -1 on failure
    int (*get_creg)(int tty);
    /// IMEI (16 bytes), kept per bus in the state directory.
    int (*get_imei)(const char *port_path, const char *bus, TextOut out);
    /// Appends serving and neighbour cells to array.
    int (*get_cells)(const ModemDriver &rec, json_object *array);
    /// Writes the configured thermal limits into the modem.
    int (*set_thermal)(const ModemDriver &rec);
    /// @return 1 when carrier aggregation is active, else 0
    int (*get_ca_info)(const ModemDriver &rec);
    /// @return a negative value when the modem is not registered
    int (*check_register)(const ModemDriver &rec);
    /// State of the SIM as text (20 bytes), which "/modem/modem_info/get" shows as "sim_status"; a Sierra modem leaves
    /// it empty. @return 0 SIM ready, -1 no SIM, -2 PIN required, -4 PUK required
    int (*get_sim_status)(const ModemDriver &rec, TextOut state);
    /// Writes the APN into the modem's PDP context.
    int (*set_apn)(const ModemDriver &rec, const char *apn);
    /// Writes the PDP context's authentication ("NONE", "PAP", "CHAP", "PAP or CHAP").
    int (*set_auth)(const ModemDriver &rec, const char *apn, const char *username, const char *password,
                    const char *auth);
    /// ICCID (21 bytes).
    int (*get_iccid)(const ModemDriver &rec, TextOut out);
    /// Adds the configured bands to object.
    int (*get_bands)(const ModemDriver &rec, json_object *object);
    /// Scan mode as text ("AUTO", "LTE only" ...).
    int (*get_scan_mode)(const ModemDriver &rec, TextOut out);
};

/// Bits of proto_flags. The serial connect flow tests MBIM, DHCP, DirectIP, wwan and NCM in this order, and dials by
/// PPP without any of them. Nothing reads the other three; their values are part of the table, so they stay.
enum ProtoFlag : uint32_t {
    proto_serial = 0x01,     ///< in every model except the DirectIP model
    proto_qmi = 0x02,        ///< in the models with a QMI control device, except the UC20
    proto_directip = 0x04,   ///< connects by DirectIP, on an "eth" network device
    proto_wwan = 0x10,       ///< connects over a "wwan" network device; in no model so far
    proto_ncm = 0x20,        ///< connects over an NCM network device
    proto_quectel_4g = 0x40, ///< in Quectel's older LTE models
    proto_mbim = 0x80,       ///< connects by MBIM; data_port is the control device
    proto_dhcp = 0x100,      ///< connects by DHCP over an ECM or RNDIS device, after the session's start on the AT port
};

/// Bits of flags2.
enum SecondFlag : uint32_t {
    at_port_carries_data = 0x01, ///< the AT port may be the data device as well
};

/// Facts about a model beside its operations and its record.
struct ModemTraits {
    Text<10> restart_command{};          ///< AT command that restarts it; empty: a reset sends nothing
    bool restart_is_off = false;         ///< that command switches it off; the power line must follow
    bool restarts_for_sim = false;       ///< a change of SIM sends the command too, else it switches the power
    bool drops_when_asked = false;       ///< asking it for its SIM ends its connection
    const char *start_session = nullptr; ///< AT command that starts the session of a proto_dhcp modem
};

/// A modem model, and, once bound to a bus, a modem. A plain value: copying it copies its texts and operations.
struct ModemDriver {
    const char *name;            ///< as printed and reported
    uint32_t vid;                ///< USB vendor id
    uint32_t pid;                ///< USB product id
    int32_t modem_id;            ///< model number of the web API; 255 the unknown device, -1 no usable modem
    Text<16> iface{};            ///< UCI network interface: "modem" in the table, "modem_1_1_2" when bound to 1-1.2
    int32_t control_port;        ///< USB interface number of the AT port
    int32_t data_port;           ///< USB interface number of the dial (PPP) port
    int32_t qmi_port;            ///< USB interface number of the QMI control device, -1 for none
    Text<16> qmi_netdev;         ///< network device in QMI mode, "xxx" for none
    Text<16> ppp_netdev;         ///< network device in serial mode, "xxx" for none
    Text<16> ncm_netdev;         ///< network device in NCM mode, "xxx" for none
    Text<10> bus{};              ///< sysfs name of the USB device ("1-1.2"), empty in the table
    uint8_t ttl = 0;             ///< forced TTL of the modem's traffic, 0 for none
    uint32_t proto_flags;        ///< of ProtoFlag
    uint32_t flags2 = 0;         ///< of SecondFlag
    uint32_t raw_ip = 0;         ///< non-zero: the QMI network device carries raw IP
    ModemDriver *next = nullptr; ///< null in the last entry
    ModemOps ops;
    ModemTraits traits{};
};
