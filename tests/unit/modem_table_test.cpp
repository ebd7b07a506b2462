#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
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

namespace modem_table_test {

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

// A later model may be listed between these.
TEST(ModemTable, ListsTheFirstThirteenModelsInTheirOrder)
{
    const ModemDriver *entry = modem_drivers();
    for (const auto &row : model_rows) {
        while (entry != nullptr && strcmp(entry->name, row.name) != 0)
            entry = entry->next;
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
    EXPECT_EQ(entry, nullptr) << "the unknown device is the last entry";
}

struct RestartRow {
    const char *name;
    const char *restart_command;
    const char *sim_switch_command;
};
const RestartRow restart_rows[] = {
    {"EC20", "AT+QPOWD", "AT+QPOWD"},
    {"EP06", "AT+QPOWD", "AT+QPOWD"},
    {"EC25", "AT+QPOWD", "AT+QPOWD"},
    {"UC20", "", ""},
    {"MC7430", "AT!RESET", "AT!RESET"},
    {"EC200T", "AT+QPOWD", ""},
    {"BG95", "", ""},
    {"EG91", "", ""},
    {"EC100Y", "", ""},
    {"SIMCOM7600", "AT+CRESET", "AT+CRESET"},
    {"ME3630", "AT+ZRST", "AT+ZRST"},
    {"NL678E", "", ""},
    {"UknowDevice", "", ""},
};

TEST(ModemTable, HasTheCommandsThatRestartAModel)
{
    for (const auto &row : restart_rows) {
        const ModemDriver *entry = modem_drivers();
        while (entry != nullptr && strcmp(entry->name, row.name) != 0)
            entry = entry->next;
        ASSERT_NE(entry, nullptr) << row.name;
        EXPECT_EQ(entry->traits.restart_command.view(), row.restart_command) << row.name;
        EXPECT_EQ(entry->traits.restarts_for_sim ? entry->traits.restart_command.view() : "", row.sim_switch_command)
            << row.name;
        EXPECT_EQ(entry->traits.restart_is_off, entry->traits.restart_command == "AT+QPOWD") << row.name;
    }
}

TEST(ModemTable, KnowsTheTwoModelsThatDropTheirConnectionWhenAsked)
{
    std::string names;
    for (const ModemDriver *entry = modem_drivers(); entry != nullptr; entry = entry->next)
        if (entry->traits.drops_when_asked)
            names += std::string{entry->name} + " ";
    EXPECT_EQ(names, "BG95 EC100Y ");
}

using AnyFunction = void (*)();

template <auto Slot> AnyFunction function_in(const ModemOps &ops)
{
    return reinterpret_cast<AnyFunction>(ops.*Slot);
}

template <typename Function> AnyFunction any(Function *function)
{
    return reinterpret_cast<AnyFunction>(function);
}

// Who has what in each slot: a model that is not named has nothing there, and its callers answer "not supported".
struct Filling {
    AnyFunction function;
    std::string_view models;
};
struct SlotRow {
    const char *slot;
    AnyFunction (*function_in)(const ModemOps &ops);
    std::vector<Filling> fillings;
};
constexpr std::string_view everyone =
    "EC20 EC25 EP06 UC20 MC7430 SIMCOM7600 ME3630 EC200T BG95 EG91 EC100Y NL678E UknowDevice";
constexpr std::string_view quectel_but_ep06 = "EC20 EC25 UC20 EC200T BG95 EG91 EC100Y";
constexpr std::string_view quectel = "EC20 EC25 EP06 UC20 EC200T BG95 EG91 EC100Y";
constexpr std::string_view quectel_4g = "EC20 EC25 EP06 EC200T BG95 EG91 EC100Y";
constexpr std::string_view newer_quectel = "BG95 EG91 EC100Y";
// clang-format off
const SlotRow slot_rows[] = {
    {"get_model",      function_in<&ModemOps::get_model>,      {{any(get_model), everyone}}},
    {"get_mode",       function_in<&ModemOps::get_mode>,
     {{any(get_mode), "EC20 EC25 EP06 UC20 MC7430 EC200T BG95 EG91 EC100Y UknowDevice"},
      {any(simcom_get_mode), "SIMCOM7600"}, {any(zte_get_mode), "ME3630"}, {any(fibocom_get_mode), "NL678E"}}},
    {"get_csq",        function_in<&ModemOps::get_csq>,
     {{any(get_csq), "EC20 EC25 EP06 UC20 SIMCOM7600 ME3630 EC200T BG95 EG91 EC100Y NL678E UknowDevice"},
      {any(sierra_get_signal), "MC7430"}}},
    {"get_signal",     function_in<&ModemOps::get_signal>,
     {{any(quectel_get_signal), quectel_but_ep06}, {any(ep06_get_signal), "EP06"}, {any(fibocom_get_signal), "NL678E"}}},
    {"get_imsi",       function_in<&ModemOps::get_imsi>,       {{any(get_imsi), everyone}}},
    {"set_scan_mode",  function_in<&ModemOps::set_scan_mode>,
     {{any(set_scan_mode), "EC20 EC25 EP06 UC20 MC7430 SIMCOM7600 ME3630 EC200T BG95 EG91 EC100Y UknowDevice"}}},
    {"sms_remove",     function_in<&ModemOps::sms_remove>,     {{any(sms_remove), everyone}}},
    {"sms_remove_all", function_in<&ModemOps::sms_remove_all>, {{any(sms_remove_all), everyone}}},
    {"iface_up",       function_in<&ModemOps::iface_up>,       {{any(iface_up), everyone}}},
    {"iface_down",     function_in<&ModemOps::iface_down>,     {{any(iface_down), everyone}}},
    {"get_carrier",    function_in<&ModemOps::get_carrier>,    {{any(get_carrier), everyone}}},
    {"get_creg",       function_in<&ModemOps::get_creg>,       {{any(get_creg), everyone}}},
    {"get_imei",       function_in<&ModemOps::get_imei>,       {{any(get_imei), everyone}}},
    {"get_cells",      function_in<&ModemOps::get_cells>,
     {{any(quectel_get_cells), quectel_4g}, {any(sierra_get_cells), "MC7430"}, {any(fibocom_get_cells), "NL678E"}}},
    {"set_thermal",    function_in<&ModemOps::set_thermal>,    {{any(quectel_set_thermal), quectel_4g}}},
    {"get_ca_info",    function_in<&ModemOps::get_ca_info>,    {{any(ep06_get_ca_info), "EP06"}}},
    {"check_register", function_in<&ModemOps::check_register>,
     {{any(quectel_check_register), quectel}, {any(sierra_check_register), "MC7430"},
      {any(check_register_by_creg), "SIMCOM7600 ME3630"}, {any(fibocom_check_register), "NL678E"}}},
    {"get_sim_status", function_in<&ModemOps::get_sim_status>,
     {{any(get_sim_status), "EC20 EC25 EP06 UC20 SIMCOM7600 ME3630 EC200T BG95 EG91 EC100Y NL678E"},
      {any(sierra_get_sim_status), "MC7430"}}},
    {"set_apn",        function_in<&ModemOps::set_apn>,
     {{any(quectel_set_apn), quectel}, {any(fibocom_set_apn), "NL678E"}}},
    {"set_auth",       function_in<&ModemOps::set_auth>,       {{any(quectel_set_auth), "EC20 EC25 EP06 UC20 EC200T"}}},
    {"get_iccid",      function_in<&ModemOps::get_iccid>,      {{any(quectel_get_iccid), newer_quectel}}},
    {"get_bands",      function_in<&ModemOps::get_bands>,      {{any(quectel_get_bands), newer_quectel}}},
    {"get_scan_mode",  function_in<&ModemOps::get_scan_mode>,  {{any(quectel_get_scan_mode), newer_quectel}}},
};
// clang-format on

bool has_word(std::string_view words, std::string_view word)
{
    return (" " + std::string(words) + " ").find(" " + std::string(word) + " ") != std::string::npos;
}

TEST(ModemTable, HasInEachSlotTheFunctionOfTheModelsFamilyOrNone)
{
    EXPECT_EQ(std::size(slot_rows), sizeof(ModemOps) / sizeof(AnyFunction)) << "a slot has no row here";
    int models = 0;
    for (const ModemDriver *model = modem_drivers(); model != nullptr; model = model->next) {
        if (!has_word(everyone, model->name))
            continue;
        models++;
        for (const SlotRow &row : slot_rows) {
            AnyFunction expected = nullptr;
            for (const Filling &filling : row.fillings)
                if (has_word(filling.models, model->name))
                    expected = filling.function;
            EXPECT_EQ(row.function_in(model->ops), expected) << model->name << ": " << row.slot;
        }
    }
    EXPECT_EQ(models, static_cast<int>(std::size(model_rows)));
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

} // namespace modem_table_test
