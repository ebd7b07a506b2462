#include "api/modem_api.h"
#include "api/modem_facts.h"
#include "api/request.h"

#include <gtest/gtest.h>

#include "core/table/modem_table.h"

namespace {

Json parse(const char *text)
{
    return Json{json_tokener_parse(text)};
}

constexpr RequiredMember members[] = {
    {"bus", RequiredMember::Kind::bus, -22},
    {"sim_num", RequiredMember::Kind::text, -23},
    {"modem_id", RequiredMember::Kind::present, -251},
};

TEST(Request, FailsWithTheStatusOfTheFirstMemberThatItLacks)
{
    const struct {
        const char *what;
        const char *request;
        int32_t status;
    } rows[] = {
        {"complete", R"({"bus":"1-1.2","sim_num":"1","modem_id":3})", 0},
        {"nothing", "{}", -22},
        {"no bus", R"({"sim_num":"1","modem_id":3})", -22},
        {"no text", R"({"bus":"1-1.2","modem_id":3})", -23},
        {"no id", R"({"bus":"1-1.2","sim_num":"1"})", -251},
        {"empty texts", R"({"bus":"","sim_num":"","modem_id":""})", 0},
        {"a number for a text", R"({"bus":"1-1.2","sim_num":2,"modem_id":3})", 0},
        {"null for a text", R"({"bus":"1-1.2","sim_num":null,"modem_id":3})", -23},
        {"an array for a text", R"({"bus":"1-1.2","sim_num":["1"],"modem_id":3})", -23},
        {"an object for a text", R"({"bus":"1-1.2","sim_num":{},"modem_id":3})", -23},
        {"null for a member that has to be there", R"({"bus":"1-1.2","sim_num":"1","modem_id":null})", 0},
        {"a bus with a command", R"({"bus":"1-1.2;reboot","sim_num":"1","modem_id":3})", -22},
        {"a bus with a path", R"({"bus":"../etc","sim_num":"1","modem_id":3})", -22},
        {"a bus with a blank", R"({"bus":"1-1 2","sim_num":"1","modem_id":3})", -22},
        {"a bus with a quote", R"({"bus":"1-1'2","sim_num":"1","modem_id":3})", -22},
        {"a bus with a line end", R"({"bus":"1-1\n2","sim_num":"1","modem_id":3})", -22},
    };
    for (const auto &row : rows)
        EXPECT_EQ(check_request(parse(row.request).get(), members), row.status) << row.what;
    EXPECT_EQ(check_request(nullptr, members), -22);
}

TEST(RequestedBus, IsTheUsualOneWhereNoneIsNamed)
{
    EXPECT_EQ(requested_bus(parse("{}").get())->view(), "1-1.2");
    EXPECT_EQ(requested_bus(parse(R"({"bus":null})").get())->view(), "1-1.2");
    EXPECT_EQ(requested_bus(parse(R"({"bus":"2-1.2"})").get())->view(), "2-1.2");
    EXPECT_EQ(requested_bus(parse(R"({"bus":""})").get())->view(), "1-1.2") << "no bus at all";
    EXPECT_EQ(requested_bus(parse(R"({"bus":"1-1.2.3.4.5.6"})").get())->view(), "1-1.2.3.4") << "cut like every text";
    EXPECT_FALSE(requested_bus(parse(R"({"bus":"1-1|reboot"})").get()).has_value());
}

TEST(RequestedModel, IsTheTablesOwnEntry)
{
    EXPECT_EQ(requested_model(parse(R"({"modem_id":3})").get()), find_driver_by_id(modem_drivers(), 3));
    EXPECT_EQ(requested_model(parse(R"({"modem_id":"3"})").get()), find_driver_by_id(modem_drivers(), 3));
    EXPECT_EQ(requested_model(parse(R"({"modem_id":255})").get())->modem_id, 255);
    EXPECT_EQ(requested_model(parse(R"({"modem_id":-1})").get()), nullptr);
    EXPECT_EQ(requested_model(parse(R"({"modem_id":2})").get()), nullptr);
    EXPECT_EQ(requested_model(parse(R"({"modem_id":99999999999})").get()), nullptr);
    EXPECT_EQ(requested_model(parse("{}").get()), nullptr);
}

TEST(RequestedText, FallsBackWhereTheMemberIsAbsent)
{
    EXPECT_STREQ(requested_text(parse(R"({"proto":"qcm"})").get(), "proto", "auto"), "qcm");
    EXPECT_STREQ(requested_text(parse(R"({"proto":""})").get(), "proto", "auto"), "");
    EXPECT_STREQ(requested_text(parse("{}").get(), "proto", "auto"), "auto");
    EXPECT_EQ(requested_text(parse("{}").get(), "proto", nullptr), nullptr);
}

/// Takes the operations of a model away, as a new model may lack them.
class WithoutOperations {
  public:
    explicit WithoutOperations(int32_t modem_id) : entry_(*find_driver_by_id(modem_drivers(), modem_id)), kept_(entry_)
    {
        entry_.ops = {};
    }
    WithoutOperations(const WithoutOperations &) = delete;
    WithoutOperations &operator=(const WithoutOperations &) = delete;
    ~WithoutOperations() { entry_ = kept_; }
    ModemOps &ops() { return entry_.ops; }

  private:
    ModemDriver &entry_;
    const ModemDriver kept_;
};

TEST(ModemFacts, AreNotSupportedWithoutBarsWhateverElseWasRead)
{
    WithoutOperations ec25{3};
    ec25.ops().get_imsi = [](const ModemDriver &, TextOut out) { return out.assign("262011234567890") ? 0 : -1; };
    const Json request = parse(R"({"bus":"9-9","modem_id":3})");
    const Json response{json_object_new_object()};
    EXPECT_EQ(report_modem_facts(request.get(), response.get()), modem_api_not_supported);
    EXPECT_STREQ(json_object_to_json_string(response.get()), "{ }");

    ec25.ops().get_csq = [](const ModemDriver &, int32_t &bars) {
        bars = 3;
        return 1;
    };
    EXPECT_EQ(report_modem_facts(request.get(), response.get()), modem_api_success);
    EXPECT_STREQ(json_object_to_json_string_ext(response.get(), JSON_C_TO_STRING_PLAIN),
                 R"({"modem_info":{"imsi":"262011234567890","signal":3}})");
}

TEST(Cells, AreNotSupportedByAModelThatTellsNone)
{
    const WithoutOperations ec25{3};
    const Json response{json_object_new_object()};
    EXPECT_EQ(report_cells(parse(R"({"bus":"9-9","modem_id":3})").get(), response.get()), modem_api_not_supported);
    EXPECT_STREQ(json_object_to_json_string(response.get()), "{ }");
}

} // namespace
