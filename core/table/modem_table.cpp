#include "core/table/modem_table.h"

#include <iterator>

#include "connection/interface_control.h"
#include "core/model/modem.h"
#include "core/table/models_file.h"
#include "drivers/common.h"
#include "drivers/fibocom.h"
#include "drivers/mode.h"
#include "drivers/quectel_cells.h"
#include "drivers/quectel_config.h"
#include "drivers/quectel_signal.h"
#include "drivers/sierra.h"
#include "platform/interface_state.h"
#include "sms/spool.h"

// The one file that sees every driver: which functions a family of models has, and the models.

namespace {

// clang-format off
constexpr ModemOps generic_ops = {
    .get_model      = get_model,
    .get_mode       = get_mode,
    .get_csq        = get_csq,
    .get_signal     = nullptr,
    .get_imsi       = get_imsi,
    .set_scan_mode  = set_scan_mode,
    .sms_remove     = sms_remove,
    .sms_remove_all = sms_remove_all,
    .iface_up       = iface_up,
    .iface_down     = iface_down,
    .get_carrier    = get_carrier,
    .get_creg       = get_creg,
    .get_imei       = get_imei,
    .get_cells      = nullptr,
    .set_thermal    = nullptr,
    .get_ca_info    = nullptr,
    .check_register = nullptr,
    .get_sim_status = nullptr,
    .set_apn        = nullptr,
    .set_auth       = nullptr,
    .get_iccid      = nullptr,
    .get_bands      = nullptr,
    .get_scan_mode  = nullptr,
};
// clang-format on

constexpr ModemOps quectel_ops = [] {
    ModemOps ops = generic_ops;
    ops.get_signal = quectel_get_signal;
    ops.get_cells = quectel_get_cells;
    ops.set_thermal = quectel_set_thermal;
    ops.check_register = quectel_check_register;
    ops.get_sim_status = get_sim_status;
    ops.set_apn = quectel_set_apn;
    ops.set_auth = quectel_set_auth;
    return ops;
}();

constexpr ModemOps ep06_ops = [] {
    ModemOps ops = quectel_ops;
    ops.get_signal = ep06_get_signal;
    ops.get_ca_info = ep06_get_ca_info;
    return ops;
}();

constexpr ModemOps quectel_3g_ops = [] {
    ModemOps ops = quectel_ops;
    ops.get_cells = nullptr;
    ops.set_thermal = nullptr;
    return ops;
}();

constexpr ModemOps quectel_newer_ops = [] {
    ModemOps ops = quectel_ops;
    ops.set_auth = nullptr;
    ops.get_iccid = quectel_get_iccid;
    ops.get_bands = quectel_get_bands;
    ops.get_scan_mode = quectel_get_scan_mode;
    return ops;
}();

constexpr ModemOps sierra_ops = [] {
    ModemOps ops = generic_ops;
    ops.get_csq = sierra_get_signal;
    ops.get_cells = sierra_get_cells;
    ops.check_register = sierra_check_register;
    ops.get_sim_status = sierra_get_sim_status;
    return ops;
}();

constexpr ModemOps simcom_ops = [] {
    ModemOps ops = generic_ops;
    ops.get_mode = simcom_get_mode;
    ops.check_register = check_register_by_creg;
    ops.get_sim_status = get_sim_status;
    return ops;
}();

constexpr ModemOps zte_ops = [] {
    ModemOps ops = simcom_ops;
    ops.get_mode = zte_get_mode;
    return ops;
}();

constexpr ModemOps fibocom_ops = [] {
    ModemOps ops = generic_ops;
    ops.get_mode = fibocom_get_mode;
    ops.get_signal = fibocom_get_signal;
    ops.set_scan_mode = nullptr;
    ops.get_cells = fibocom_get_cells;
    ops.check_register = fibocom_check_register;
    ops.get_sim_status = get_sim_status;
    ops.set_apn = fibocom_set_apn;
    return ops;
}();

constexpr int disconnect_polls = 5;

constexpr char none[] = "xxx"; // no such network device; settings and reports show this word

// clang-format off
// A new model is a new row, anywhere above the last one. UC20 and EC200T restart differently from their relatives on
// purpose: web pages depend on it.
constexpr ModemDriver rows[] = {
    {.name = "EC20", .vid = 0x05c6, .pid = 0x9215, .modem_id = 0,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial | proto_qmi | proto_quectel_4g,
     .ops = quectel_ops, .traits = {.restart_command = "AT+QPOWD", .restart_is_off = true, .restarts_for_sim = true}},
    {.name = "EC25", .vid = 0x2c7c, .pid = 0x0125, .modem_id = 3,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial | proto_qmi | proto_quectel_4g,
     .ops = quectel_ops, .traits = {.restart_command = "AT+QPOWD", .restart_is_off = true, .restarts_for_sim = true}},
    {.name = "EP06", .vid = 0x2c7c, .pid = 0x0306, .modem_id = 1,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial | proto_qmi | proto_quectel_4g,
     .ops = ep06_ops, .traits = {.restart_command = "AT+QPOWD", .restart_is_off = true, .restarts_for_sim = true}},
    {.name = "UC20", .vid = 0x05c6, .pid = 0x9003, .modem_id = 4,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial,
     .ops = quectel_3g_ops},
    {.name = "MC7430", .vid = 0x1199, .pid = 0x9071, .modem_id = 5,
     .control_port = 3, .data_port = 3, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = none, .ncm_netdev = none,
     .proto_flags = proto_directip, .flags2 = at_port_carries_data,
     .ops = sierra_ops, .traits = {.restart_command = "AT!RESET", .restarts_for_sim = true}},
    {.name = "SIMCOM7600", .vid = 0x1e0e, .pid = 0x9001, .modem_id = 20,
     .control_port = 2, .data_port = 3, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = none, .ncm_netdev = none,
     .proto_flags = proto_serial | proto_ncm,
     .ops = simcom_ops, .traits = {.restart_command = "AT+CRESET", .restarts_for_sim = true}},
    {.name = "ME3630", .vid = 0x19d2, .pid = 0x1476, .modem_id = 30,
     .control_port = 1, .data_port = 2, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = "3g-modem", .ncm_netdev = "usb0",
     .proto_flags = proto_serial | proto_ncm,
     .ops = zte_ops, .traits = {.restart_command = "AT+ZRST", .restarts_for_sim = true}},
    {.name = "EC200T", .vid = 0x2c7c, .pid = 0x6026, .modem_id = 6,
     .control_port = 3, .data_port = 4, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = "3g-modem", .ncm_netdev = "usb0",
     .proto_flags = proto_serial | proto_ncm | proto_quectel_4g,
     .ops = quectel_ops, .traits = {.restart_command = "AT+QPOWD", .restart_is_off = true}},
    {.name = "BG95", .vid = 0x2c7c, .pid = 0x0700, .modem_id = 7,
     .control_port = 2, .data_port = 2, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial, .flags2 = at_port_carries_data,
     .ops = quectel_newer_ops, .traits = {.drops_when_asked = true}},
    {.name = "EG91", .vid = 0x2c7c, .pid = 0x0191, .modem_id = 8,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial | proto_qmi, .flags2 = at_port_carries_data,
     .ops = quectel_newer_ops},
    {.name = "EC100Y", .vid = 0x2c7c, .pid = 0x6001, .modem_id = 9,
     .control_port = 1, .data_port = 1, .qmi_port = -1,
     .qmi_netdev = none, .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial, .flags2 = at_port_carries_data,
     .ops = quectel_newer_ops, .traits = {.drops_when_asked = true}},
    {.name = "NL678E", .vid = 0x2cb7, .pid = 0x0104, .modem_id = 40,
     .control_port = 2, .data_port = 3, .qmi_port = 4,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial | proto_qmi, .raw_ip = 1,
     .ops = fibocom_ops},
    // Misspelt on purpose: scripts and web pages know the device by this name.
    {.name = "UknowDevice", .vid = 0x0000, .pid = 0x0000, .modem_id = unknown_modem_id,
     .control_port = 0, .data_port = 0, .qmi_port = -1,
     .qmi_netdev = "wwan0", .ppp_netdev = "3g-modem", .ncm_netdev = none,
     .proto_flags = proto_serial, .flags2 = at_port_carries_data,
     .ops = generic_ops},
};
// clang-format on

// An array of the language: before it is there, no function of std::array gives the address of a row.
struct Models {
    ModemDriver row[std::size(rows)];
};
extern Models models;

// The rows with what they have in common, each linked to the next.
constexpr Models link_rows()
{
    Models linked{};
    for (size_t i = 0; i < std::size(rows); i++) {
        linked.row[i] = rows[i];
        linked.row[i].iface = "modem";
        linked.row[i].next = i + 1 < std::size(rows) ? &models.row[i + 1] : nullptr;
    }
    return linked;
}

constinit Models models = link_rows();

} // namespace

ModemDriver *modem_drivers()
{
    return models.row;
}

ModemDriver *find_driver_by_id(ModemDriver *head, int32_t id)
{
    if (id < 0)
        return nullptr;
    for (ModemDriver *entry = head; entry != nullptr; entry = entry->next)
        if (entry->modem_id == id)
            return entry;
    return nullptr;
}

ModemDriver *find_driver_by_usb(ModemDriver *head, uint32_t vid, uint32_t pid)
{
    for (ModemDriver *entry = head; entry != nullptr; entry = entry->next)
        if (entry->vid == vid && entry->pid == pid)
            return entry;
    return nullptr;
}

ModemDriver *find_model_by_usb(uint32_t vid, uint32_t pid)
{
    ModemDriver *entry = find_driver_by_usb(modem_drivers(), vid, pid);
    return entry != nullptr ? entry : find_file_model_by_usb(vid, pid);
}

ModemDriver *find_model_by_id(int32_t id)
{
    ModemDriver *entry = find_driver_by_id(modem_drivers(), id);
    return entry != nullptr ? entry : find_file_model_by_id(id);
}

const ModemOps &family_operations(std::string_view dialect)
{
    struct Family {
        std::string_view dialect;
        int32_t member; // one model of the family; all have the same operations
    };
    static constexpr Family families[] = {{"quectel", 3}, {"sierra", 5}, {"simcom", 20}, {"fibocom", 40}, {"zte", 30}};
    int32_t member = unknown_modem_id;
    for (const Family &family : families)
        if (family.dialect == dialect)
            member = family.member;
    return find_driver_by_id(modem_drivers(), member)->ops;
}

int modem_disconnect()
{
    const ModemDriver *entry = find_model_by_id(current_modem_id());
    if (entry == nullptr || entry->ops.iface_down == nullptr)
        return -1;
    if (entry->ops.iface_down(disconnect_polls, entry->iface.c_str()) != interface_is_down)
        return -1;
    set_current_modem_id(-1);
    return 0;
}

int remove_sms(const char *name)
{
    const ModemDriver *entry = find_driver_by_id(modem_drivers(), unknown_modem_id);
    if (entry == nullptr || entry->ops.sms_remove == nullptr)
        return -1;
    return entry->ops.sms_remove(name);
}

int remove_all_sms(int32_t modem_id)
{
    const ModemDriver *entry = find_model_by_id(modem_id);
    if (entry == nullptr || entry->ops.sms_remove_all == nullptr)
        return -1;
    return entry->ops.sms_remove_all(*entry);
}
