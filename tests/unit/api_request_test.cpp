#include "api/modem_api.h"
#include "api/request.h"

#include <span>
#include <string>

#include <gtest/gtest.h>

#include "core/table/modem_table.h"

namespace api_request_test {

Json parse(const char *text)
{
    return Json{json_tokener_parse(text)};
}

// What the handler of the last request got; each test's request goes through the dispatcher.
Request served;
bool is_served = false;

int32_t keep_request(Request &request, json_object *)
{
    served = request;
    is_served = true;
    return 7;
}

int32_t serve_with(const char *request, const Needs &needs)
{
    is_served = false;
    static Json kept; // the texts of served are borrowed from it
    static Needs kept_needs;
    kept = parse(request);
    kept_needs = needs;
    return serve(kept.get(), nullptr, keep_request, kept_needs);
}

TEST(Request, FailsWithTheStatusOfTheFirstMemberThatItLacks)
{
    using enum Need;
    const struct {
        const char *what;
        const char *request;
        Needs needs;
        int32_t status;
    } rows[] = {
        {"complete", R"({"bus":"1-1.2","sim_num":"1","modem_id":3})", {sim_bus, sim_num, modem_id}, 7},
        {"nothing", "{}", {sim_bus, sim_num, modem_id}, -22},
        {"no request at all", "", {sim_bus, sim_num, modem_id}, -22},
        {"no text", R"({"bus":"1-1.2","modem_id":3})", {sim_bus, sim_num, modem_id}, -22},
        {"no id", R"({"bus":"1-1.2","sim_num":"1"})", {sim_bus, sim_num, modem_id}, -251},
        {"empty texts", R"({"bus":"","sim_num":"","modem_id":""})", {sim_bus, sim_num, modem_id}, 7},
        {"a number for a text", R"({"number":2,"message":true})", {number, message}, 7},
        {"null for a text", R"({"number":null,"message":"x"})", {number, message}, -260},
        {"an array for a text", R"({"number":"1","message":["x"]})", {number, message}, -261},
        {"an object for a text", R"({"number":{},"message":"x"})", {number, message}, -260},
        {"two members are absent", "{}", {modem_id, number, message}, -251},
        {"two members in another order", "{}", {message, modem_id}, -261},
        {"null for a member that has to be there", R"({"modem_id":null})", {modem_id}, 7},
        {"a number that is absent", "{}", {modem_number}, -251},
        {"a number that counts as absent", R"({"modem_id":-1})", {modem_number}, -251},
        {"a number that is text", R"({"modem_id":"x"})", {modem_number}, 7},
        {"no such model", R"({"modem_id":2})", {modem_id, model}, -250},
        {"a model before a member", R"({"modem_id":2})", {modem_number, model, device}, -250},
        {"a member before the model", R"({"modem_id":2})", {modem_number, device, model}, -5},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(serve_with(row.request, row.needs), row.status) << row.what;
        EXPECT_EQ(is_served, row.status == 7) << row.what;
    }
}

TEST(Request, LeavesWhatComesAfterTheHandlerToIt)
{
    using enum Need;
    EXPECT_EQ(serve_with(R"({"sim_num":"1"})", {sim_num, handler, model, device}), 7);
    EXPECT_EQ(find_missing_later(served)->status, -250);
    EXPECT_EQ(serve_with(R"({"sim_num":"1","modem_id":3})", {sim_num, handler, model, device}), 7);
    EXPECT_STREQ(find_missing_later(served)->key, "device");
    EXPECT_EQ(served.model, find_driver_by_id(modem_drivers(), 3));
    EXPECT_EQ(serve_with(R"({"modem_url":"u","hash_type":"h"})", {handler, modem_url, hash_type}), 7);
    EXPECT_EQ(find_missing_later(served), nullptr);
}

// What the handler gets as the bus; "refused" when it is not called.
std::string bus_of(const char *request, Need need)
{
    serve_with(request, {need});
    return is_served ? std::string{served.bus.view()} : "refused";
}

TEST(RequestedBus, IsTheUsualOneWhereNoneIsNamed)
{
    using enum Need;
    for (const char *request : {"{}", R"({"bus":null})", R"({"bus":["2-1.2"]})", R"({"bus":""})"}) {
        EXPECT_EQ(bus_of(request, optional_bus), "1-1.2") << request;
        EXPECT_EQ(bus_of(request, bus_or_success), "1-1.2") << request;
        EXPECT_EQ(bus_of(request, bus), "refused") << request << ": an empty bus is as good as none";
    }
    EXPECT_EQ(bus_of(R"({"bus":""})", sim_bus), "") << "an empty one has a meaning there";
    EXPECT_EQ(bus_of("{}", sim_bus), "refused");
    for (const Need need : {optional_bus, bus_or_success, bus, sim_bus})
        EXPECT_EQ(bus_of(R"({"bus":"2-1.2"})", need), "2-1.2");
}

TEST(RequestedBus, IsRefusedWhereItCannotBeOne)
{
    using enum Need;
    for (const char *request :
         {R"({"bus":"1-1.2;reboot"})", R"({"bus":"../etc"})", R"({"bus":"1-1 2"})", R"({"bus":"1-1'2"})",
          R"({"bus":"1-1\n2"})", R"({"bus":"1-1|reboot"})", R"j({"bus":"$(reboot)"})j"})
        for (const Need need : {optional_bus, bus_or_success, bus, sim_bus})
            EXPECT_EQ(bus_of(request, need), "refused") << request;
}

// Its first characters would name another bus, whose modem would be reset instead.
TEST(RequestedBus, IsRefusedWhereItDoesNotFit)
{
    using enum Need;
    const std::string longest(BusName::capacity() - 1, '1');
    const auto asking_for = [](const std::string &name) { return "{\"bus\":\"" + name + "\"}"; };
    for (const Need need : {optional_bus, bus_or_success, bus, sim_bus}) {
        EXPECT_EQ(bus_of(asking_for(longest).c_str(), need), longest);
        EXPECT_EQ(bus_of(asking_for(longest + ".2").c_str(), need), "refused");
    }
}

TEST(RequestedModel, IsTheTablesOwnEntry)
{
    const auto model_of = [](const char *request) {
        served.model = nullptr;
        serve_with(request, {Need::model});
        return is_served ? served.model : nullptr;
    };
    EXPECT_EQ(model_of(R"({"modem_id":3})"), find_driver_by_id(modem_drivers(), 3));
    EXPECT_EQ(model_of(R"({"modem_id":"3"})"), find_driver_by_id(modem_drivers(), 3));
    EXPECT_EQ(model_of(R"({"modem_id":255})")->modem_id, 255);
    for (const char *request : {R"({"modem_id":-1})", R"({"modem_id":2})", R"({"modem_id":99999999999})", "{}"})
        EXPECT_EQ(model_of(request), nullptr) << request;
}

TEST(RequestedText, CountsAsAbsentWhereItIsTooLong)
{
    using enum Need;
    const std::string longest(longest_text, 'x');
    const auto with_text = [](const std::string &text) { return "{\"number\":\"" + text + "\"}"; };
    EXPECT_EQ(serve_with(with_text(longest).c_str(), {number}), 7);
    EXPECT_EQ(served.text("number"), longest);
    EXPECT_EQ(serve_with(with_text(longest + "x").c_str(), {number}), -260);
    EXPECT_EQ(serve_with(with_text(std::string(10'000'000, 'x')).c_str(), {number}), -260);
    EXPECT_EQ(serve_with(with_text(longest + "x").c_str(), {}), 7);
    EXPECT_STREQ(served.text_or("number", "none"), "none");
}

TEST(RequestedTexts, AreRefusedWhereOneIsTooLong)
{
    using enum Need;
    const std::string longest(longest_text, 'x');
    const auto with_text = [](const std::string &text) { return "{\"a\":[],\"b\":null,\"c\":\"" + text + "\"}"; };
    EXPECT_EQ(serve_with(with_text(longest).c_str(), {short_texts}), 7);
    EXPECT_EQ(serve_with(with_text(longest + "x").c_str(), {short_texts}), -5);
    EXPECT_EQ(serve_with(with_text(std::string(10'000'000, 'x')).c_str(), {short_texts}), -5);
    EXPECT_EQ(serve_with("", {short_texts}), 7) << "no request at all";
    EXPECT_EQ(serve_with("[]", {short_texts}), 7) << "no object";
}

TEST(RequestedText, FallsBackWhereTheMemberIsAbsent)
{
    serve_with(R"({"proto":"qcm","empty":""})", {});
    EXPECT_STREQ(served.text_or("proto", "auto"), "qcm");
    EXPECT_STREQ(served.text_or("empty", "auto"), "");
    EXPECT_STREQ(served.text_or("other", "auto"), "auto");
    EXPECT_EQ(served.text("other"), nullptr);
}

int32_t serve_endpoint(std::string_view path, json_object *request, json_object *response)
{
    int32_t count = 0;
    const ModemRoute *routes = modem_api_routes(&count);
    for (const ModemRoute &route : std::span{routes, static_cast<size_t>(count)})
        if (path == route.path)
            return route.handler(request, response);
    ADD_FAILURE() << "no endpoint " << path;
    return 1;
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
    EXPECT_EQ(serve_endpoint("/modem/modem_info/get", request.get(), response.get()), modem_api_not_supported);
    EXPECT_STREQ(json_object_to_json_string(response.get()), "{ }");

    ec25.ops().get_csq = [](const ModemDriver &, int32_t &bars) {
        bars = 3;
        return 1;
    };
    EXPECT_EQ(serve_endpoint("/modem/modem_info/get", request.get(), response.get()), modem_api_success);
    EXPECT_STREQ(json_object_to_json_string_ext(response.get(), JSON_C_TO_STRING_PLAIN),
                 R"({"modem_info":{"imsi":"262011234567890","signal":3}})");
}

TEST(Cells, AreNotSupportedByAModelThatTellsNone)
{
    const WithoutOperations ec25{3};
    const Json response{json_object_new_object()};
    EXPECT_EQ(serve_endpoint("/modem/cells/get", parse(R"({"bus":"9-9","modem_id":3})").get(), response.get()),
              modem_api_not_supported);
    EXPECT_STREQ(json_object_to_json_string(response.get()), "{ }");
}

} // namespace api_request_test
