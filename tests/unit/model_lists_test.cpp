#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "simulator/modem/profile.h"
#include "tests/paths.h"

// A model is a row of core/table/modem_table.cpp. What else a new row needs is asked for here, file by file.

namespace model_lists_test {

const std::filesystem::path source_root = SOURCE_ROOT;

std::string content_of(const std::string &file)
{
    std::ifstream in{source_root / file};
    return {std::istreambuf_iterator<char>{in}, {}};
}

std::vector<const ModemDriver *> listed_models()
{
    std::vector<const ModemDriver *> models;
    for (const ModemDriver *rec = modem_drivers(); rec != nullptr; rec = rec->next)
        if (!is_unknown_device(*rec))
            models.push_back(rec);
    return models;
}

std::string usb_ids(const ModemDriver &rec)
{
    return Text<16>::format("%04x:%04x", rec.vid, rec.pid).c_str();
}

// The paragraph of a document that begins with these words. A paragraph ends at an empty line or a macro.
std::string paragraph(const std::string &document, const std::string &beginning)
{
    const size_t start = document.find("\n" + beginning);
    if (start == std::string::npos)
        return "";
    return document.substr(start,
                           std::min(document.find("\n\n", start + 1), document.find("\n.PP", start + 1)) - start);
}

// A document may write the name with a space before its number ("SIMCom 7600"), and in small letters.
bool names_model(const std::string &text, const std::string &name)
{
    const std::string spaced = std::regex_replace(name, std::regex{"([A-Z])([0-9])"}, "$1 ?$2");
    return std::regex_search(text, std::regex{"\\b" + spaced + "\\b", std::regex::icase});
}

// How a model connects, as README.md says it.
const char *connection_of(const ModemDriver &rec)
{
    if ((rec.proto_flags & proto_directip) != 0)
        return "DirectIP";
    if ((rec.proto_flags & proto_ncm) != 0)
        return "NCM";
    return rec.qmi_port >= 0 ? "QMI, or PPP" : "PPP";
}

// The cells of the table's row that begins with the word.
std::string table_row(const std::string &document, const std::string &first_cell)
{
    const size_t start = document.find("\n| " + first_cell + " |");
    return start == std::string::npos ? "" : document.substr(start + 1, document.find('\n', start + 1) - start - 1);
}

TEST(Model, HasASimulatedModemWithItsUsbIdsAndItsAtPort)
{
    for (const ModemDriver *rec : listed_models()) {
        const std::string file = std::string{"simulator/profiles/"} + rec->name + ".modem";
        if (!std::filesystem::exists(source_root / file)) {
            ADD_FAILURE() << "Write " << file << ": what a " << rec->name
                          << " answers, by docs/simulated-modems.md. \"include quectel\" brings what a family shares.";
            continue;
        }
        const auto profile = simulator::load_profile(source_root / "simulator/profiles", rec->name);
        EXPECT_EQ(profile.vendor_id, rec->vid) << "Correct \"usb\" in " << file << ", or the row.";
        EXPECT_EQ(profile.product_id, rec->pid) << "Correct \"usb\" in " << file << ", or the row.";
        const auto *at_port = profile.interface(rec->control_port);
        EXPECT_TRUE(at_port != nullptr && at_port->role == simulator::Interface::Role::at)
            << "Interface " << rec->control_port << " (.control_port) is no AT port in " << file << ".";
        const auto *qmi_port = rec->qmi_port < 0 ? nullptr : profile.interface(rec->qmi_port);
        if (rec->qmi_port >= 0) {
            EXPECT_NE(qmi_port, nullptr) << "Interface " << rec->qmi_port << " (.qmi_port) is missing in " << file;
        }
    }
}

TEST(Model, HasItsGoldenSession)
{
    for (const ModemDriver *rec : listed_models())
        EXPECT_TRUE(std::filesystem::exists(source_root / "tests/data/golden" / (std::string{rec->name} + ".txt")))
            << "Make tests/data/golden/" << rec->name << ".txt, then read whether it says what a user should see:\n"
            << "    UPDATE_GOLDEN=1 DELIVERY=whole build/system_tests --gtest_filter='All/Model.*/" << rec->name << "'";
}

TEST(Model, IsInTheReadmeByItsConnection)
{
    const std::string readme = content_of("README.md");
    for (const ModemDriver *rec : listed_models())
        EXPECT_TRUE(names_model(table_row(readme, connection_of(*rec)), rec->name))
            << "Add " << rec->name << " to README.md, section \"Models\", row \"" << connection_of(*rec) << "\".";
}

TEST(Model, IsInTheManualPage)
{
    const std::string list = paragraph(content_of("packaging/modemctl.1"), "Known models are");
    for (const ModemDriver *rec : listed_models())
        EXPECT_TRUE(names_model(list, rec->name))
            << "Add " << rec->name << " to packaging/modemctl.1, \"Known models are\".";
}

TEST(Model, IsKnownToTheReconnectScriptByItsUsbIds)
{
    const std::string file = "packaging/openwrt/files/usr/libexec/modemctl-reconnect";
    const std::string script = content_of(file);
    const std::regex list("\nmodels=\"([^\"]*)\"");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(script, found, list));
    std::istringstream words(found[1]);
    std::set<std::string> in_script;
    for (std::string word; words >> word;)
        in_script.insert(word);
    for (const ModemDriver *rec : listed_models())
        EXPECT_EQ(in_script.erase(usb_ids(*rec)), 1u)
            << "Add " << usb_ids(*rec) << " (" << rec->name << ") to models= in " << file << ".";
    for (const std::string &left : in_script)
        ADD_FAILURE() << "Take " << left << " out of models= in " << file << ": the table has no such model.";
}

TEST(Model, HasANumberAndUsbIdsOfItsOwn)
{
    std::set<int32_t> numbers;
    std::set<std::string> ids;
    for (const ModemDriver *rec = modem_drivers(); rec != nullptr; rec = rec->next) {
        EXPECT_TRUE(numbers.insert(rec->modem_id).second)
            << rec->name << ": give it a .modem_id that no other row has.";
        EXPECT_TRUE(ids.insert(usb_ids(*rec)).second) << rec->name << ": another row has " << usb_ids(*rec) << ".";
    }
}

} // namespace model_lists_test
