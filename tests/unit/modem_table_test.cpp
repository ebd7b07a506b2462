#include <array>
#include <bit>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "connection/interface_control.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "drivers/common.h"
#include "drivers/fibocom.h"
#include "drivers/mode.h"
#include "drivers/quectel_cells.h"
#include "drivers/quectel_config.h"
#include "drivers/quectel_signal.h"
#include "drivers/sierra.h"
#include "sms/spool.h"

namespace {

struct ModelRow {
    const char *name;
    uint32_t vid, pid;
    int32_t modem_id;
    int32_t control, data, qmi;
    const char *qmi_netdev, *ppp_netdev, *ncm_netdev;
    uint32_t proto_flags, flags2, raw_ip;
};
// clang-format off
const ModelRow model_rows[] = {
    {"EC20",        0x05c6, 0x9215, 0,   2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x43, 0, 0},
    {"EC25",        0x2c7c, 0x0125, 3,   2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x43, 0, 0},
    {"EP06",        0x2c7c, 0x0306, 1,   2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x43, 0, 0},
    {"UC20",        0x05c6, 0x9003, 4,   2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x01, 0, 0},
    {"MC7430",      0x1199, 0x9071, 5,   3, 3, -1, "xxx",   "xxx",      "xxx",  0x04, 1, 0},
    {"SIMCOM7600",  0x1e0e, 0x9001, 20,  2, 3, -1, "xxx",   "xxx",      "xxx",  0x21, 0, 0},
    {"ME3630",      0x19d2, 0x1476, 30,  1, 2, -1, "xxx",   "3g-modem", "usb0", 0x21, 0, 0},
    {"EC200T",      0x2c7c, 0x6026, 6,   3, 4, -1, "xxx",   "3g-modem", "usb0", 0x61, 0, 0},
    {"BG95",        0x2c7c, 0x0700, 7,   2, 2, -1, "xxx",   "3g-modem", "xxx",  0x01, 1, 0},
    {"EG91",        0x2c7c, 0x0191, 8,   2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x03, 1, 0},
    {"EC100Y",      0x2c7c, 0x6001, 9,   1, 1, -1, "xxx",   "3g-modem", "xxx",  0x01, 1, 0},
    {"NL678E",      0x2cb7, 0x0104, 40,  2, 3, 4,  "wwan0", "3g-modem", "xxx",  0x03, 0, 1},
    {"UknowDevice", 0x0000, 0x0000, 255, 0, 0, -1, "wwan0", "3g-modem", "xxx",  0x01, 1, 0},
};
// clang-format on

TEST(ModemTable, ListsThirteenModelsInTheirOrder)
{
    const ModemDriver *entry = modem_drivers();
    for (const auto &row : model_rows) {
        ASSERT_NE(entry, nullptr) << row.name;
        EXPECT_STREQ(entry->name, row.name);
        EXPECT_EQ(entry->vid, row.vid) << row.name;
        EXPECT_EQ(entry->pid, row.pid) << row.name;
        EXPECT_EQ(entry->modem_id, row.modem_id) << row.name;
        EXPECT_EQ(entry->iface.view(), "modem") << row.name;
        EXPECT_EQ(entry->control_port, row.control) << row.name;
        EXPECT_EQ(entry->data_port, row.data) << row.name;
        EXPECT_EQ(entry->qmi_port, row.qmi) << row.name;
        EXPECT_EQ(entry->qmi_netdev.view(), row.qmi_netdev) << row.name;
        EXPECT_EQ(entry->ppp_netdev.view(), row.ppp_netdev) << row.name;
        EXPECT_EQ(entry->ncm_netdev.view(), row.ncm_netdev) << row.name;
        EXPECT_EQ(entry->bus.view(), "") << row.name;
        EXPECT_EQ(entry->ttl, 0) << row.name;
        EXPECT_EQ(entry->proto_flags, row.proto_flags) << row.name;
        EXPECT_EQ(entry->flags2, row.flags2) << row.name;
        EXPECT_EQ(entry->raw_ip, row.raw_ip) << row.name;
        entry = entry->next;
    }
    EXPECT_EQ(entry, nullptr);
}

TEST(ModemTable, GivesEveryModelANumberOfItsOwn)
{
    std::set<int32_t> ids;
    for (const ModemDriver *entry = modem_drivers(); entry != nullptr; entry = entry->next)
        EXPECT_TRUE(ids.insert(entry->modem_id).second) << entry->name;
}

// All 23 slots of every family, each with its function or empty, in the order of ModemOps.
struct Family {
    std::vector<std::string> models;
    ModemOps ops;
};
// clang-format off
const Family families[] = {
    {{"EC20", "EC25", "EC200T"},
     {get_model, get_mode, get_csq, quectel_get_signal, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, quectel_get_cells, quectel_set_thermal, nullptr,
      quectel_check_register, get_sim_status, quectel_set_apn, quectel_set_auth, nullptr, nullptr, nullptr}},
    {{"EP06"},
     {get_model, get_mode, get_csq, ep06_get_signal, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, quectel_get_cells, quectel_set_thermal,
      ep06_get_ca_info, quectel_check_register, get_sim_status, quectel_set_apn, quectel_set_auth, nullptr,
      nullptr, nullptr}},
    {{"UC20"},
     {get_model, get_mode, get_csq, quectel_get_signal, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, nullptr, nullptr, nullptr, quectel_check_register,
      get_sim_status, quectel_set_apn, quectel_set_auth, nullptr, nullptr, nullptr}},
    {{"BG95", "EG91", "EC100Y"},
     {get_model, get_mode, get_csq, quectel_get_signal, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, quectel_get_cells, quectel_set_thermal, nullptr,
      quectel_check_register, get_sim_status, quectel_set_apn, nullptr, quectel_get_iccid, quectel_get_bands,
      quectel_get_scan_mode}},
    {{"MC7430"},
     {get_model, get_mode, sierra_get_signal, nullptr, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, sierra_get_cells, nullptr, nullptr,
      sierra_check_register, sierra_get_sim_status, nullptr, nullptr, nullptr, nullptr, nullptr}},
    {{"SIMCOM7600"},
     {get_model, simcom_get_mode, get_csq, nullptr, get_imsi, set_scan_mode, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, nullptr, nullptr, nullptr, check_register_by_creg,
      get_sim_status, nullptr, nullptr, nullptr, nullptr, nullptr}},
    {{"ME3630"},
     {get_model, zte_get_mode, get_csq, nullptr, get_imsi, set_scan_mode, sms_remove, sms_remove_all, iface_up,
      iface_down, get_carrier, get_creg, get_imei, nullptr, nullptr, nullptr, check_register_by_creg,
      get_sim_status, nullptr, nullptr, nullptr, nullptr, nullptr}},
    {{"NL678E"},
     {get_model, fibocom_get_mode, get_csq, fibocom_get_signal, get_imsi, nullptr, sms_remove, sms_remove_all,
      iface_up, iface_down, get_carrier, get_creg, get_imei, fibocom_get_cells, nullptr, nullptr,
      fibocom_check_register, get_sim_status, fibocom_set_apn, nullptr, nullptr, nullptr, nullptr}},
    {{"UknowDevice"},
     {get_model, get_mode, get_csq, nullptr, get_imsi, set_scan_mode, sms_remove, sms_remove_all, iface_up,
      iface_down, get_carrier, get_creg, get_imei, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
      nullptr, nullptr, nullptr}},
};
// clang-format on

const ModemDriver *find_model(const std::string &name)
{
    const ModemDriver *entry = modem_drivers();
    while (entry != nullptr && name != entry->name)
        entry = entry->next;
    return entry;
}

TEST(ModemTable, GivesEveryModelTheFunctionsOfItsFamily)
{
    using Slots = std::array<void *, 23>;
    size_t models = 0;
    for (const Family &family : families) {
        for (const std::string &name : family.models) {
            const ModemDriver *model = find_model(name);
            ASSERT_NE(model, nullptr) << name;
            EXPECT_EQ(std::bit_cast<Slots>(model->ops), std::bit_cast<Slots>(family.ops)) << name;
            models++;
        }
    }
    EXPECT_EQ(models, 13u);
}

TEST(FindDriver, ByNumberNeverMatchesANegativeOne)
{
    ModemDriver entry{};
    entry.modem_id = -1;
    EXPECT_EQ(find_driver_by_id(&entry, -1), nullptr);
    EXPECT_EQ(find_driver_by_id(modem_drivers(), -1), nullptr);
    EXPECT_EQ(find_driver_by_id(modem_drivers(), 2), nullptr);
    EXPECT_STREQ(find_driver_by_id(modem_drivers(), 255)->name, "UknowDevice");
    EXPECT_EQ(find_driver_by_id(nullptr, 0), nullptr);
}

TEST(FindDriver, ByUsbIdsNeedsBoth)
{
    EXPECT_STREQ(find_driver_by_usb(modem_drivers(), 0x2c7c, 0x0125)->name, "EC25");
    EXPECT_EQ(find_driver_by_usb(modem_drivers(), 0x2c7c, 0x0126), nullptr);
    EXPECT_EQ(find_driver_by_usb(modem_drivers(), 0x05c6, 0x0125), nullptr);
    EXPECT_STREQ(find_driver_by_usb(modem_drivers(), 0, 0)->name, "UknowDevice");
}

TEST(BusToIdent, ReplacesDashAndPointOnly)
{
    Text<16> ident;
    bus_to_ident("1-1.2", ident);
    EXPECT_EQ(ident.view(), "1_1_2");
    bus_to_ident("usb1:a/b", ident);
    EXPECT_EQ(ident.view(), "usb1:a/b");
    bus_to_ident("1-1.2.3.4.5.6.7.8", ident);
    EXPECT_EQ(ident.view(), "1_1_2_3_4_5_6_7");
    bus_to_ident("", ident);
    EXPECT_EQ(ident.view(), "");
}

TEST(BindBus, NamesTheInterfaceAfterTheBus)
{
    ModemDriver rec = *modem_drivers();
    EXPECT_EQ(driver_bind_bus(rec, "2-1.2"), 0);
    EXPECT_EQ(rec.iface.view(), "modem_2_1_2");
    EXPECT_EQ(rec.bus.view(), "2-1.2");
    driver_bind_bus(rec, "1-1");
    EXPECT_EQ(rec.iface.view(), "modem_1_1");
    driver_bind_bus(rec, "1-1.2.3.4.5.6");
    EXPECT_EQ(rec.bus.view(), "1-1.2.3.4");
    EXPECT_EQ(rec.iface.view(), "modem_1_1_2_3_4");
}

// SIM state, with operations that answer as told.

int sim_result = 0;
int register_result = 0;
int register_calls = 0;

ModemDriver modem_that_answers(int sim, int registration)
{
    sim_result = sim;
    register_result = registration;
    register_calls = 0;
    ModemDriver rec{};
    rec.ops.get_sim_status = [](const ModemDriver &, TextOut) { return sim_result; };
    rec.ops.check_register = [](const ModemDriver &) {
        register_calls++;
        return register_result;
    };
    return rec;
}

struct SimRow {
    int sim;
    int registration;
    int result;
    const char *text;
    int register_calls;
};
const SimRow sim_rows[] = {
    {-1, 0, -1, "NO_SIM", 0},  {-2, -1, -2, "PIN_SIM", 0}, {-4, 0, -4, "PUK_SIM", 0}, {0, -1, -3, "NO_REG", 1},
    {-3, -1, -3, "NO_REG", 1}, {0, 0, 0, "before", 1},     {-3, 1, 0, "before", 1},   {0, -7, -3, "NO_REG", 1},
};

TEST(SimState, AsksForTheRegistrationOnlyWhereTheSimIsGood)
{
    for (const auto &row : sim_rows) {
        Text<64> text = "before";
        EXPECT_EQ(sim_state_text(modem_that_answers(row.sim, row.registration), text), row.result) << row.sim;
        EXPECT_EQ(text.view(), row.text) << row.sim;
        EXPECT_EQ(register_calls, row.register_calls) << row.sim;
    }
}

TEST(SimState, IsGoodWhereNothingCanBeAsked)
{
    Text<8> text = "before";
    EXPECT_EQ(sim_state_text(ModemDriver{}, text), 0);
    EXPECT_EQ(text.view(), "before");
}

TEST(Disconnect, FailsWithoutACurrentModem)
{
    set_current_modem_id(-1);
    EXPECT_EQ(modem_disconnect(), -1);
    set_current_modem_id(2);
    EXPECT_EQ(modem_disconnect(), -1);
    EXPECT_EQ(current_modem_id(), 2);
    set_current_modem_id(-1);
}

std::string taken_down;
int down_result = 0;

TEST(Disconnect, ForgetsTheModemOnlyWhenItsInterfaceIsDown)
{
    ModemDriver &entry = *find_driver_by_id(modem_drivers(), 3);
    const ModemDriver saved = entry;
    entry.ops.iface_down = [](int polls, const char *iface) {
        taken_down = std::to_string(polls) + " " + iface;
        return down_result;
    };
    set_current_modem_id(3);
    for (const int still_there : {0, 1, -1}) {
        down_result = still_there;
        EXPECT_EQ(modem_disconnect(), -1);
        EXPECT_EQ(current_modem_id(), 3);
    }
    down_result = 2;
    EXPECT_EQ(modem_disconnect(), 0);
    EXPECT_EQ(current_modem_id(), -1);
    EXPECT_EQ(taken_down, "5 modem");
    entry = saved;
}

TEST(SmsRemoval, GoesThroughTheTable)
{
    ModemDriver &unknown = *find_driver_by_id(modem_drivers(), 255);
    ModemDriver &known = *find_driver_by_id(modem_drivers(), 3);
    const ModemDriver saved_unknown = unknown;
    const ModemDriver saved_known = known;
    unknown.ops.sms_remove = [](const char *name) { return std::string{name} == "GMS99.a" ? 0 : -1; };
    known.ops.sms_remove_all = [](const ModemDriver &rec) { return rec.modem_id; };
    EXPECT_EQ(remove_sms("GMS99.a"), 0);
    EXPECT_EQ(remove_sms("GMS99.b"), -1);
    EXPECT_EQ(remove_all_sms(3), 3);
    EXPECT_EQ(remove_all_sms(2), -1);
    EXPECT_EQ(remove_all_sms(-1), -1);
    unknown = saved_unknown;
    known = saved_known;
}

} // namespace
