#include "api/routes.h"
#include "connection/setting_options.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/unit/documents.h"

// docs/web-api.md and docs/security.md say of every endpoint what the route table says of it.

namespace api_documents_test {

bool is_optional(Need need)
{
    return check_of(need).kind == Check::Kind::optional_bus;
}

// "`modem_id` (-251)"
std::string words_of(Need need)
{
    const Check &check = check_of(need);
    const bool is_model = check.kind == Check::Kind::model || check.kind == Check::Kind::bound_model;
    const std::string name = is_model                                 ? "model"
                             : check.kind == Check::Kind::short_texts ? "short texts"
                                                                      : "`" + std::string{check.key} + "`";
    return name + " (" + std::to_string(check.status) + ")";
}

// The cell "required (code)" of an endpoint, as its row of the route table has it.
std::string required_by(const Endpoint &endpoint)
{
    std::string required;
    std::string later;
    for (const Need need : endpoint.needs) {
        if (need == Need::handler)
            later = required.empty() ? "all later: " : ", the rest later: ";
        if (need == Need::nothing || need == Need::handler || is_optional(need))
            continue;
        required += !later.empty() ? later : required.empty() ? "" : ", ";
        required += words_of(need);
        later.clear();
    }
    return required;
}

std::string name_of(const Endpoint &endpoint)
{
    return std::string{endpoint.method} + " `" + endpoint.path + "`";
}

TEST(WebApiDocument, HasTheEndpointsOfTheRouteTableAndNoOther)
{
    std::multiset<std::string> documented;
    for (const Row &row : rows_under("web-api.md", "endpoint"))
        documented.insert(row.at("endpoint"));
    std::multiset<std::string> served;
    for (const Endpoint &endpoint : endpoints)
        served.insert(name_of(endpoint));
    for (const std::string &name : served)
        EXPECT_EQ(documented.count(name), 1u) << "Give " << name << " a row in docs/web-api.md.";
    for (const std::string &name : documented)
        EXPECT_EQ(served.count(name), 1u)
            << "Take " << name << " out of docs/web-api.md: api/routes.h has no such row.";
}

TEST(WebApiDocument, SaysWhatEachEndpointRequiresInItsOrder)
{
    for (Row row : rows_under("web-api.md", "endpoint"))
        for (const Endpoint &endpoint : endpoints)
            if (row.at("endpoint") == name_of(endpoint)) {
                ASSERT_TRUE(row.contains("required (code)") || required_by(endpoint).empty()) << name_of(endpoint);
                EXPECT_EQ(row["required (code)"], required_by(endpoint)) << name_of(endpoint);
            }
}

TEST(WebApiDocument, SaysWhichEndpointsTakeABus)
{
    for (Row row : rows_under("web-api.md", "endpoint"))
        for (const Endpoint &endpoint : endpoints)
            if (row.at("endpoint") == name_of(endpoint)) {
                // It reads the settings of any bus, so its row needs none.
                bool takes_bus = std::string_view{endpoint.path} == "/modem/get";
                for (const Need need : endpoint.needs)
                    takes_bus = takes_bus || (need != Need::nothing && need != Need::handler && is_optional(need));
                EXPECT_EQ(row["optional"].find("`bus`") != std::string::npos, takes_bus) << name_of(endpoint);
            }
}

Row row_of(const std::string &endpoint)
{
    for (Row row : rows_under("web-api.md", "endpoint"))
        if (row.at("endpoint") == endpoint)
            return row;
    ADD_FAILURE() << endpoint;
    return {};
}

TEST(WebApiDocument, NamesTheSettingsThatAreReported)
{
    Lines reported = {"config"};
    for (const SettingOption &setting : setting_options)
        reported.push_back(setting.report);
    reported.insert(reported.end(), {"proto", "qcm", "ttl"});
    EXPECT_EQ(found_in(row_of("get `/modem/get`")["response"], "`([^`]+)`"), reported);
}

TEST(WebApiDocument, NamesTheSettingsThatCanBeChanged)
{
    const Row row = row_of("post `/modem/set`");
    const Lines named = found_in(row.at("required (code)") + row.at("optional"), "`([^`]+)`");
    std::multiset<std::string> settable = {"modem_id", "bus", "proto", "ttl"};
    for (const SettingOption &setting : setting_options)
        settable.insert(setting.request);
    EXPECT_EQ((std::multiset<std::string>{named.begin(), named.end()}), settable);
}

TEST(WebApiDocument, NamesTheLongestText)
{
    std::ifstream in{SOURCE_ROOT "/docs/web-api.md"};
    const std::string document{std::istreambuf_iterator<char>{in}, {}};
    EXPECT_NE(document.find("A text of a request has " + std::to_string(longest_text) + " bytes at most"),
              std::string::npos);
    std::map<std::string, std::string> limits;
    for (const Row &row : rows_under("web-api.md", "limit in bytes"))
        limits[row.at("text")] = row.at("limit in bytes");
    EXPECT_EQ(limits["`bus`"], std::to_string(BusName::capacity() - 1));
}

// A rule for a text that no endpoint has would keep nothing away.
TEST(SecurityDocument, HasRulesForTextsOfTheEndpointsOnly)
{
    std::map<std::string, std::string> texts; // of each path, as docs/web-api.md has them
    for (Row row : rows_under("web-api.md", "endpoint"))
        texts[found_in(row.at("endpoint"), "`([^`]+)`").at(0)] = row["required (code)"] + row["optional"];
    size_t rules = 0;
    for (const Row &row : rows_under("security.md", "endpoint")) {
        const std::string path = found_in(row.at("endpoint"), "`([^`]+)`").at(0);
        ASSERT_TRUE(texts.contains(path)) << path;
        for (const std::string &key : found_in(row.at("key"), "`([^`]+)`")) {
            EXPECT_NE(texts[path].find("`" + key + "`"), std::string::npos) << path << " has no " << key;
            rules++;
        }
    }
    EXPECT_GE(rules, 14U) << "the tables have another form";
}

TEST(Handlers, AreNamedAsTheirPaths)
{
    std::ifstream in{SOURCE_ROOT "/api/routes.h"};
    const std::string source{std::istreambuf_iterator<char>{in}, {}};
    for (const Endpoint &endpoint : endpoints) {
        const std::string path = endpoint.path;
        std::string name = path.substr(1);
        std::replace(name.begin(), name.end(), '/', '_');
        EXPECT_TRUE(std::regex_search(source, std::regex{"\"" + path + "\", +\"[a-z]+\", +" + name + ","})) << path;
    }
}

TEST(RouteTable, IsServedInItsOrder)
{
    int32_t count = 0;
    const ModemRoute *routes = modem_api_routes(&count);
    ASSERT_EQ(count, static_cast<int32_t>(endpoints.size()));
    for (size_t i = 0; i < endpoints.size(); i++) {
        EXPECT_STREQ(routes[i].path, endpoints[i].path);
        EXPECT_STREQ(routes[i].method, endpoints[i].method);
    }
}

} // namespace api_documents_test
