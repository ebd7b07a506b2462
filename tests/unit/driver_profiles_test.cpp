#include <string>

#include <gtest/gtest.h>

#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "drivers/common_replies.h"
#include "drivers/fibocom.h"
#include "drivers/mode.h"
#include "drivers/quectel_config.h"
#include "drivers/sierra.h"
#include "drivers/sierra_report.h"
#include "tests/paths.h"
#include "tests/unit/modem_under_test.h"

// The drivers' parsers over what the simulated modems print, echo included.

namespace driver_profiles_test {

using namespace simulator;

constexpr char profiles[] = SOURCE_ROOT "/simulator/profiles";

std::string reply_of(const std::string &name, const std::string &setting, const std::string &command)
{
    ModemOptions options;
    if (const size_t equals = setting.find('='); equals != std::string::npos)
        options.variables[setting.substr(0, equals)] = setting.substr(equals + 1);
    return ModemUnderTest(load_profile(profiles, name), options).say(command + "\r\n", 500);
}

std::string text_of(const std::optional<Generation> &generation)
{
    return generation ? name_of(*generation) : "nothing";
}

std::string generation_and_level(std::string_view report)
{
    const auto signal = parse_gstatus_signal(report);
    return signal ? std::to_string(static_cast<int>(signal->generation)) + " " + std::to_string(signal->level) : "-1 0";
}

std::string kinds_of_cells(std::string_view report)
{
    const Json array{json_object_new_array()};
    add_gstatus_cells(report, array.get());
    std::string kinds;
    for (size_t i = 0; i < json_object_array_length(array.get()); i++)
        kinds += std::string(kjson_get_string(json_object_array_get_idx(array.get(), i), "type")) + " ";
    return kinds;
}

bool is_tty(const Profile &profile, int number)
{
    const Interface *interface = profile.interface(number);
    return interface != nullptr &&
           (interface->kind == Interface::Kind::ttyUSB || interface->kind == Interface::Kind::ttyACM);
}

bool has_network_device(const Profile &profile, const std::string &name)
{
    for (int number = 0; number < 32; number++)
        if (const Interface *interface = profile.interface(number); interface != nullptr && interface->netdev == name)
            return true;
    return false;
}

TEST(DriverProfiles, HaveIdsPortsAndDevicesOfTheModelTable)
{
    int compared = 0;
    for (const ModemDriver *model = modem_drivers(); model != nullptr; model = model->next) {
        if (model->modem_id == unknown_modem_id)
            continue;
        const Profile profile = load_profile(profiles, model->name);
        EXPECT_EQ(profile.vendor_id, model->vid) << model->name;
        EXPECT_EQ(profile.product_id, model->pid) << model->name;
        EXPECT_EQ(profile.at_interface(), model->control_port) << model->name;
        EXPECT_TRUE(is_tty(profile, model->data_port)) << model->name;
        if (model->qmi_port >= 0) {
            const Interface *qmi = profile.interface(model->qmi_port);
            ASSERT_NE(qmi, nullptr) << model->name;
            EXPECT_EQ(qmi->kind, Interface::Kind::cdc_wdm) << model->name;
            EXPECT_EQ(qmi->netdev, model->qmi_netdev.c_str()) << model->name;
        }
        if (const std::string ncm = model->ncm_netdev.c_str(); ncm != "xxx") {
            EXPECT_TRUE(has_network_device(profile, ncm)) << model->name;
        }
        compared++;
    }
    EXPECT_GE(compared, 12);
}

TEST(DriverProfiles, GiveZteTheModeOfEachTechnology)
{
    EXPECT_EQ(text_of(parse_zpas(reply_of("ME3630", "rat=LTE", "AT+ZPAS?"))), "4G");
    EXPECT_EQ(text_of(parse_zpas(reply_of("ME3630", "rat=WCDMA", "AT+ZPAS?"))), "3G");
    EXPECT_EQ(text_of(parse_zpas(reply_of("ME3630", "rat=GSM", "AT+ZPAS?"))), "2G");
    EXPECT_EQ(text_of(parse_zpas(reply_of("ME3630", "rat=NOSERVICE", "AT+ZPAS?"))), "nothing");
}

TEST(DriverProfiles, GiveSimcomTheModeOfEachTechnology)
{
    EXPECT_EQ(text_of(parse_cnsmod(reply_of("SIMCOM7600", "rat=LTE", "AT+CNSMOD?"))), "4G");
    EXPECT_EQ(text_of(parse_cnsmod(reply_of("SIMCOM7600", "rat=WCDMA", "AT+CNSMOD?"))), "3G");
    EXPECT_EQ(text_of(parse_cnsmod(reply_of("SIMCOM7600", "rat=GSM", "AT+CNSMOD?"))), "2G");
    EXPECT_EQ(text_of(parse_cnsmod(reply_of("SIMCOM7600", "rat=NOSERVICE", "AT+CNSMOD?"))), "nothing");
}

TEST(DriverProfiles, GiveFibocomModeRegistrationAndCells)
{
    EXPECT_EQ(text_of(parse_gtccinfo_mode(reply_of("NL678E", "rat=LTE", "AT+GTCCINFO?"))), "4G");
    EXPECT_EQ(text_of(parse_gtccinfo_mode(reply_of("NL678E", "rat=NOSERVICE", "AT+GTCCINFO?"))), "nothing");
    // Another technology has another label, which tells nothing here.
    EXPECT_EQ(text_of(parse_gtccinfo_mode(reply_of("NL678E", "rat=WCDMA", "AT+GTCCINFO?"))), "nothing");

    EXPECT_TRUE(is_registered_at_home(reply_of("NL678E", "registration=1", "AT+CREG?")));
    EXPECT_FALSE(is_registered_at_home(reply_of("NL678E", "registration=5", "AT+CREG?")));

    const Signal quality = parse_cesq(reply_of("NL678E", "", "AT+CESQ"));
    const auto csq_index = parse_csq_index(reply_of("NL678E", "", "AT+CSQ?"));
    EXPECT_EQ(fibocom_level(quality, csq_index), 3);
    const Json signal{json_object_new_object()};
    add_fibocom_signal(signal.get(), quality, csq_index);
    EXPECT_STREQ(kjson_get_string(signal.get(), "rssi"), "-63");

    const Json cells{json_object_new_array()};
    add_fibocom_cells(reply_of("NL678E", "", "AT+GTCCINFO?"), std::nullopt, cells.get());
    // This firmware prints its neighbours without the label.
    ASSERT_EQ(json_object_array_length(cells.get()), 1u);
    EXPECT_STREQ(kjson_get_string(json_object_array_get_idx(cells.get(), 0), "band"), "3");
}

TEST(DriverProfiles, GiveSierraSignalAndCellsOfEachTechnology)
{
    const auto report = [](const std::string &setting) { return reply_of("MC7430", setting, "AT!GSTATUS?"); };
    EXPECT_EQ(generation_and_level(report("ca=0")), "4 3");
    EXPECT_EQ(generation_and_level(report("ca=1")), "4 3");
    EXPECT_EQ(generation_and_level(report("rat=WCDMA")), "3 3");
    EXPECT_EQ(generation_and_level(report("rat=NOSERVICE")), "-1 0");
    EXPECT_EQ(kinds_of_cells(report("ca=0")), "PSS ");
    EXPECT_EQ(kinds_of_cells(report("ca=1")), "PSS SSS ");
    EXPECT_EQ(kinds_of_cells(report("rat=WCDMA")), "servingcell ");
    EXPECT_EQ(kinds_of_cells(report("rat=NOSERVICE")), "");
    EXPECT_FALSE(is_aggregated(report("ca=0")));
    EXPECT_TRUE(is_aggregated(report("ca=1")));
}

TEST(DriverProfiles, GiveSierraReportsThatFitTheirReplies)
{
    EXPECT_LT(reply_of("MC7430", "ca=1", "AT!GSTATUS?").size(), 1024u);
    EXPECT_LT(reply_of("NL678E", "", "AT+GTCCINFO?").size(), 1024u);
}

TEST(DriverProfiles, GiveTheNewerQuectelModulesTheirConfiguration)
{
    const struct {
        const char *name;
        const char *iccid;
        const char *mask;
        int lte_band;
    } rows[] = {
        {"BG95", "89354020001234567890", "100002000000000f0e189f,", 0}, // its technology is eMTC, not LTE
        {"EG91", "89420110001234567890", "80800c5,", 20},
        {"EC100Y", "89860499102170308296", "1e200000095,", 41},
    };
    for (const auto &row : rows) {
        Text<21> iccid;
        EXPECT_EQ(copy_digits(reply_of(row.name, "", "AT+QCCID"), 20, iccid), 0) << row.name;
        EXPECT_EQ(iccid.view(), row.iccid) << row.name;
        EXPECT_LT(reply_of(row.name, "", "AT+QCCID").size(), 48u) << row.name;
        EXPECT_EQ(parse_lte_mask(reply_of(row.name, "", "AT+QCFG=\"band\"")).value_or(""), row.mask) << row.name;
        EXPECT_EQ(parse_scan_mode(reply_of(row.name, "", "AT+QCFG=\"nwscanmode\"")), "AUTO") << row.name;
        EXPECT_EQ(parse_lte_band(reply_of(row.name, "", "AT+QENG=\"servingcell\"")).value_or(0), row.lte_band)
            << row.name;
    }
}

TEST(DriverProfiles, TakeTheCommandsThatTheDriversCompose)
{
    const PdpContext &context = pick_pdp_context("");
    for (const char *name : {"EC20", "EC25", "EP06", "EC200T", "BG95", "EG91", "EC100Y"}) {
        for (const auto &command :
             {compose_thermal_limit("0"), compose_thermal_range("95", "90"), compose_apn(context, "internet"),
              compose_auth(context, "web", "me", "secret", "PAP")}) {
            ASSERT_TRUE(command.has_value());
            EXPECT_NE(reply_of(name, "", std::string(command->view())).find("\r\nOK\r\n"), std::string::npos)
                << name << " " << command->view();
        }
        const char *lock = pick_band_lock(parse_revision(reply_of(name, "", "ATI")).value_or(""));
        if (lock != nullptr) {
            EXPECT_NE(reply_of(name, "", lock).find("\r\nOK\r\n"), std::string::npos) << name << " " << lock;
        }
    }
}

TEST(DriverProfiles, HaveTheRevisionOfEachRowOfBandLocksThatAModelNeeds)
{
    EXPECT_STREQ(pick_band_lock(parse_revision(reply_of("EC20", "", "ATI")).value_or("")),
                 "AT+QCFG=\"band\",0,1e200000095,0");
    EXPECT_STREQ(pick_band_lock(parse_revision(reply_of("EC25", "", "ATI")).value_or("")),
                 "AT+QCFG=\"band\",0,1a0000800d5,0");
    EXPECT_STREQ(pick_band_lock(parse_revision(reply_of("EP06", "", "ATI")).value_or("")),
                 "AT+QCFG=\"band\",0,7e00000000000000000000000000000000000000000000ff000001a0880800d5,0");
    EXPECT_EQ(pick_band_lock(parse_revision(reply_of("UC20", "", "ATI")).value_or("")), nullptr);
}

} // namespace driver_profiles_test
