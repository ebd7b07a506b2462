#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "apn/candidates.h"
#include "apn/database.h"
#include "apn/entries.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "tests/paths.h"

// The APN database and the operator list that the package ships, made from the list of providers.

namespace router_data_test {

using Lines = std::vector<std::string>;

struct Network {
    std::string mcc;
    std::string mnc;
    auto operator<=>(const Network &) const = default;
};

struct ListedApn {
    std::string name;
    std::string usage = "internet";
};

struct Provider {
    std::string country;
    std::string name;
    std::vector<Network> networks;
    std::vector<ListedApn> apns;
};

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Reads the list of providers line by line, in another way than the generator: the list has one element per line.
std::vector<Provider> read_providers()
{
    const std::regex comment("<!--[\\s\\S]*?-->");
    std::istringstream text(std::regex_replace(read_file(SERVICE_PROVIDERS), comment, ""));
    const std::regex country("<country code=\"(\\w+)\"");
    const std::regex name("<name>(.*)</name>");
    const std::regex network("<network-id mcc=\"(\\d+)\" mnc=\"(\\d+)\"");
    const std::regex apn("<apn value=\"([^\"]*?) *\"");
    const std::regex usage("<usage type=\"([^\"]*)\"");
    std::vector<Provider> providers;
    std::string code;
    std::string line;
    std::smatch found;
    while (std::getline(text, line)) {
        if (std::regex_search(line, found, country))
            code = found[1];
        else if (line.find("<provider") != std::string::npos)
            providers.push_back({code, {}, {}, {}});
        else if (std::regex_search(line, found, network))
            providers.back().networks.push_back({found[1], found[2]});
        else if (std::regex_search(line, found, apn))
            providers.back().apns.push_back({found[1]});
        else if (std::regex_search(line, found, usage))
            providers.back().apns.back().usage = found[1];
        else if (std::regex_search(line, found, name) && !providers.empty() && providers.back().name.empty())
            providers.back().name = found[1];
    }
    return providers;
}

struct Database {
    Database()
    {
        EXPECT_EQ(read_apn_database(BUILD_ROOT "/packaging/apn-config.js", text), 0);
        root.reset(json_tokener_parse(text.get()));
    }
    json_object *entries() const { return kjson_get_object(kjson_get_object(root.get(), "apns"), "apn"); }
    HeapText text;
    Json root;
};

std::string text_of(json_object *entry, const char *key)
{
    const char *text = kjson_get_string(entry, key);
    return text == nullptr ? "" : text;
}

struct PickedApns {
    std::set<std::string> internet;
    std::set<std::string> others;
};

/// What a card gets tried, and is kept from, as the program picks it: by the three digits behind the country's code,
/// whatever the length of the network's is.
PickedApns pick_apns(const Database &database, const std::string &mcc, const std::string &three_digits)
{
    const Json candidates{json_object_new_array()};
    pick_apn_entries(database.text.get(), mcc, three_digits, candidates.get());
    PickedApns picked;
    for (size_t i = 0; i < json_object_array_length(candidates.get()); i++) {
        json_object *entry = json_object_array_get_idx(candidates.get(), i);
        (is_internet_apn(entry) ? picked.internet : picked.others).insert(text_of(entry, "-apn"));
    }
    return picked;
}

/// The digits that may follow a network's code in a card's number: of a code with two digits, each that makes another
/// network's code, and one of those that do not; all of the latter are alike.
std::string next_digits(const Network &network, const std::set<Network> &networks)
{
    std::string taken;
    std::string free;
    for (const char digit : std::string{"0123456789"})
        (networks.count({network.mcc, network.mnc + digit}) > 0 ? taken : free) += digit;
    return taken + free.substr(0, 1);
}

bool is_internet(const ListedApn &apn)
{
    return apn.usage == "internet" || apn.usage.starts_with("mms-internet-hipri");
}

std::vector<std::string> operator_lines()
{
    std::istringstream text(read_file(BUILD_ROOT "/packaging/operator.dat"));
    Lines lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/// What the program reads of the list: field 2 of every line that holds the code.
Lines names_of(const Lines &list, const std::string &code)
{
    Lines names;
    for (const std::string &line : list)
        if (line.find(code) != std::string::npos)
            names.push_back(line.substr(line.find(',') + 1));
    return names;
}

TEST(ShippedApnDatabase, BeginsWithTheScriptThatTheWebInterfaceReads)
{
    const std::string text = read_file(BUILD_ROOT "/packaging/apn-config.js");
    EXPECT_EQ(text.substr(0, 40), "var apn_config_default ={\"apns\":{\"apn\":[");
    const Json parsed{json_tokener_parse(text.c_str() + 24)};
    EXPECT_TRUE(json_object_is_type(parsed.get(), json_type_object));
}

TEST(ShippedApnDatabase, HasEveryApnOfEveryProviderForEveryCardOfItsNetworks)
{
    const Database database;
    const std::vector<Provider> providers = read_providers();
    std::set<Network> networks;
    for (const Provider &provider : providers)
        networks.insert(provider.networks.begin(), provider.networks.end());
    int with_apns = 0;
    for (const Provider &provider : providers) {
        with_apns += !provider.networks.empty() && !provider.apns.empty();
        for (const Network &network : provider.networks) {
            const bool is_short = network.mnc.size() == 2;
            for (const char digit : is_short ? next_digits(network, networks) : std::string(1, '\0')) {
                const std::string mnc = is_short ? network.mnc + digit : network.mnc;
                const PickedApns picked = pick_apns(database, network.mcc, mnc);
                for (const ListedApn &apn : provider.apns)
                    EXPECT_EQ((is_internet(apn) ? picked.internet : picked.others).count(apn.name), 1u)
                        << provider.name << " " << network.mcc << mnc << " " << apn.name;
            }
        }
    }
    EXPECT_GT(with_apns, 600);
}

TEST(ShippedApnDatabase, HasNothingThatNoProviderLists)
{
    std::map<Network, std::set<std::string>> listed;
    for (const Provider &provider : read_providers())
        for (const Network &network : provider.networks)
            for (const ListedApn &apn : provider.apns)
                listed[network].insert(apn.name);
    const Database database;
    const size_t length = json_object_array_length(database.entries());
    ASSERT_GT(length, 2000u);
    for (size_t i = 0; i < length; i++) {
        json_object *entry = json_object_array_get_idx(database.entries(), i);
        const Network network{text_of(entry, "-mcc"), text_of(entry, "-mnc")};
        // A code of three digits also has the APNs of the network whose two digits it begins with.
        const Network shorter{network.mcc, network.mnc.substr(0, 2)};
        const std::string apn = text_of(entry, "-apn");
        EXPECT_EQ(listed[network].count(apn) + listed[shorter].count(apn) > 0, true)
            << network.mcc << network.mnc << " " << apn;
    }
}

TEST(ShippedApnDatabase, TriesTheNetworksOwnerFirstAndKeepsUserAndPassword)
{
    const Database database;
    const Json candidates{json_object_new_array()};
    EXPECT_EQ(pick_apn_entries(database.text.get(), "424", "021", candidates.get()), 3);
    EXPECT_STREQ(json_object_to_json_string_ext(candidates.get(), JSON_C_TO_STRING_PLAIN),
                 R"([{"-mcc":"424","-mnc":"02","-apn":"mnet","-user":"mnet","-password":"mnet"},)"
                 R"({"-mcc":"424","-mnc":"02","-apn":"etisalat.ae","-user":"etisalat.ae","-password":"etisalat.ae"},)"
                 R"({"-mcc":"424","-mnc":"02","-apn":"etisalat","-type":"mms"}])");
}

TEST(ShippedApnDatabase, FitsTheTextsThatASavedConnectionIsReadInto)
{
    const Database database;
    for (size_t i = 0; i < json_object_array_length(database.entries()); i++) {
        json_object *entry = json_object_array_get_idx(database.entries(), i);
        EXPECT_LT(text_of(entry, "-apn").size(), 32u) << text_of(entry, "-apn");
        EXPECT_LT(text_of(entry, "-user").size(), 64u) << text_of(entry, "-user");
        EXPECT_LT(text_of(entry, "-password").size(), 64u) << text_of(entry, "-password");
    }
}

TEST(OperatorList, NamesEveryNetworkByOneLine)
{
    const Lines list = operator_lines();
    for (const Provider &provider : read_providers()) {
        for (const Network &network : provider.networks) {
            const bool is_short = network.mnc.size() == 2;
            for (const char digit : is_short ? std::string{"0123456789"} : std::string{}) {
                // As the program does it: six digits, and five where they find nothing.
                Lines names = names_of(list, network.mcc + network.mnc + digit);
                if (names.empty())
                    names = names_of(list, network.mcc + network.mnc);
                EXPECT_EQ(names.size(), 1u) << provider.name << " " << network.mcc << network.mnc << digit;
            }
            if (!is_short) {
                EXPECT_EQ(names_of(list, network.mcc + network.mnc).size(), 1u) << network.mcc << network.mnc;
            }
        }
    }
}

TEST(OperatorList, NamesTheOwnerOfANetworkThatOthersRent)
{
    const Lines list = operator_lines();
    EXPECT_EQ(names_of(list, "26203"), (Lines{"E-Plus"}));
    EXPECT_EQ(names_of(list, "310260"), (Lines{"T-Mobile"}));
    EXPECT_EQ(names_of(list, "50501"), (Lines{"Telstra"}));
}

TEST(OperatorList, CutsNamesBetweenCharacters)
{
    for (const std::string &line : operator_lines()) {
        const std::string name = line.substr(line.find(',') + 1);
        EXPECT_LE(name.size(), 16u) << line;
        EXPECT_EQ(name.find(','), std::string::npos) << line;
        const Json text{json_object_new_string(name.c_str())};
        EXPECT_EQ(std::string{"\"" + name + "\""},
                  json_object_to_json_string_ext(text.get(), JSON_C_TO_STRING_NOSLASHESCAPE))
            << line;
    }
}

} // namespace router_data_test
