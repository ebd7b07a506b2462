#include <set>
#include <string>

#include <gtest/gtest.h>

#include "core/modem_table.h"
#include "drivers/fibocom.h"
#include "drivers/generic.h"
#include "drivers/quectel.h"
#include "drivers/sierra.h"
#include "drivers/simcom.h"
#include "drivers/zte.h"

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

const ModemOps &ops_of(int32_t id)
{
    return find_driver_by_id(modem_drivers(), id)->ops;
}

// Which slots a model has: '+' filled, '-' empty for good. Slots 6 to 9, the SMS spool and the interface, are the same
// in every entry and tested where they are written.
struct SlotRow {
    const char *name;
    // clang-format off
    bool get_model, get_mode, get_csq, get_signal, get_imsi, set_scan_mode, get_carrier, get_creg, get_imei, get_cells, set_thermal,
        get_ca_info, check_register, get_sim_status, set_apn, set_auth, get_iccid, get_bands, get_scan_mode;
    // clang-format on
};
// clang-format off
const SlotRow slot_rows[] = {
    //              0  1  2  3  4  5  10 11 12 13 14 15 16 17 18 19 20 21 22
    {"EC20",        1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0},
    {"EC25",        1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0},
    {"EP06",        1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0},
    {"UC20",        1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0},
    {"MC7430",      1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0},
    {"SIMCOM7600",  1, 1, 1, 0, 1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0},
    {"ME3630",      1, 1, 1, 0, 1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0},
    {"EC200T",      1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 0},
    {"BG95",        1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1},
    {"EG91",        1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1},
    {"EC100Y",      1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1},
    {"NL678E",      1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 0, 0, 1, 1, 1, 0, 0, 0, 0},
    {"UknowDevice", 1, 1, 1, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
};
// clang-format on

TEST(ModemTable, FillsTheSlotsOfWhatAModelCanDo)
{
    const ModemDriver *entry = modem_drivers();
    for (const auto &row : slot_rows) {
        const ModemOps &ops = entry->ops;
        ASSERT_STREQ(entry->name, row.name);
        EXPECT_EQ(ops.get_model != nullptr, row.get_model) << row.name;
        EXPECT_EQ(ops.get_mode != nullptr, row.get_mode) << row.name;
        EXPECT_EQ(ops.get_csq != nullptr, row.get_csq) << row.name;
        EXPECT_EQ(ops.get_signal != nullptr, row.get_signal) << row.name;
        EXPECT_EQ(ops.get_imsi != nullptr, row.get_imsi) << row.name;
        EXPECT_EQ(ops.set_scan_mode != nullptr, row.set_scan_mode) << row.name;
        EXPECT_EQ(ops.get_carrier != nullptr, row.get_carrier) << row.name;
        EXPECT_EQ(ops.get_creg != nullptr, row.get_creg) << row.name;
        EXPECT_EQ(ops.get_imei != nullptr, row.get_imei) << row.name;
        EXPECT_EQ(ops.get_cells != nullptr, row.get_cells) << row.name;
        EXPECT_EQ(ops.set_thermal != nullptr, row.set_thermal) << row.name;
        EXPECT_EQ(ops.get_ca_info != nullptr, row.get_ca_info) << row.name;
        EXPECT_EQ(ops.check_register != nullptr, row.check_register) << row.name;
        EXPECT_EQ(ops.get_sim_status != nullptr, row.get_sim_status) << row.name;
        EXPECT_EQ(ops.set_apn != nullptr, row.set_apn) << row.name;
        EXPECT_EQ(ops.set_auth != nullptr, row.set_auth) << row.name;
        EXPECT_EQ(ops.get_iccid != nullptr, row.get_iccid) << row.name;
        EXPECT_EQ(ops.get_bands != nullptr, row.get_bands) << row.name;
        EXPECT_EQ(ops.get_scan_mode != nullptr, row.get_scan_mode) << row.name;
        entry = entry->next;
    }
}

TEST(ModemTable, SharesTheGenericOperations)
{
    for (const ModemDriver *entry = modem_drivers(); entry != nullptr; entry = entry->next) {
        EXPECT_EQ(entry->ops.get_model, get_model) << entry->name;
        EXPECT_EQ(entry->ops.get_imsi, get_imsi) << entry->name;
        EXPECT_EQ(entry->ops.get_carrier, get_carrier) << entry->name;
        EXPECT_EQ(entry->ops.get_creg, get_creg) << entry->name;
        EXPECT_EQ(entry->ops.get_imei, get_imei) << entry->name;
    }
}

TEST(ModemTable, GivesEachFamilyItsOwnOperations)
{
    for (const int32_t id : {0, 3, 4, 6, 7, 8, 9}) {
        EXPECT_EQ(ops_of(id).get_signal, quectel_get_signal) << id;
        EXPECT_EQ(ops_of(id).check_register, quectel_check_register) << id;
        EXPECT_EQ(ops_of(id).get_mode, get_mode) << id;
    }
    EXPECT_EQ(ops_of(1).get_signal, ep06_get_signal);
    EXPECT_EQ(ops_of(1).get_ca_info, ep06_get_ca_info);
    EXPECT_EQ(ops_of(5).get_csq, sierra_get_signal);
    EXPECT_EQ(ops_of(5).check_register, sierra_check_register);
    EXPECT_EQ(ops_of(5).get_sim_status, sierra_get_sim_status);
    EXPECT_EQ(ops_of(20).get_mode, simcom_get_mode);
    EXPECT_EQ(ops_of(30).get_mode, zte_get_mode);
    EXPECT_EQ(ops_of(20).check_register, check_register_by_creg);
    EXPECT_EQ(ops_of(30).check_register, check_register_by_creg);
    EXPECT_EQ(ops_of(40).get_mode, fibocom_get_mode);
    EXPECT_EQ(ops_of(40).check_register, fibocom_check_register);
    EXPECT_EQ(ops_of(40).get_signal, fibocom_get_signal);
    EXPECT_EQ(ops_of(40).set_apn, fibocom_set_apn);
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
