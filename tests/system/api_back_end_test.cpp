#include <gtest/gtest.h>

#include "tests/system/web_requests.h"

// The library in a back end: what every endpoint refuses, and a process that lives long.

namespace api_back_end_test {

using Lines = std::vector<std::string>;

constexpr bool is_sanitized = SANITIZED;

TEST(BackEndInC, ListsTheRoutesAndServesARequest)
{
    const RouterRun run = run_program({built("c_back_end")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "get /modem/info\n"
                       "get /modem/brief_info\n"
                       "get /modem/app/brief_info\n"
                       "post /modem/auto\n"
                       "get /modem/get\n"
                       "post /modem/set\n"
                       "post /modem/enable\n"
                       "post /modem/reset\n"
                       "post /modem/at\n"
                       "get /modem/sms/list\n"
                       "post /modem/sms/delete\n"
                       "post /modem/sms/delete_all\n"
                       "post /modem/sms/send\n"
                       "post /modem/sms/status\n"
                       "post /modem/sms/code\n"
                       "post /modem/cells/get\n"
                       "post /modem/sim/switch\n"
                       "post /modem/modem_info/get\n"
                       "post /modem/sms/forward\n"
                       "get /modem/sms/flist\n"
                       "post /modem/sms/account\n"
                       "post /modem/upgrade\n"
                       "post /modem/upgrade_status\n"
                       "no such modem { }\n");
}

// Required members

struct RequiredRow {
    const char *route;
    struct Member {
        const char *member; ///< with a good value
        int missing;        ///< the status without it
    };
    std::vector<Member> members; ///< in the order in which they are looked for
    int unknown_model;           ///< the status of a complete request with a "modem_id" that no model has; 0: none
};
const RequiredRow required_rows[] = {
    {"post /modem/auto", {{"\"modem_id\":2", -251}}, 0}, // the model is not looked up
    {"post /modem/set", {{"\"modem_id\":3", -251}, {"\"device\":\"/dev/ttyUSB3\"", -5}}, 0},
    {"post /modem/reset", {{"\"modem_id\":2", -251}}, -250},
    {"post /modem/at", {{"\"at-command\":\"ATI\"", -255}, {"\"at-port\":\"/dev/none\"", -255}}, 0},
    {"post /modem/cells/get", {{"\"bus\":\"1-1.2\"", -251}, {"\"modem_id\":2", -251}}, -250},
    {"post /modem/sim/switch", {{"\"bus\":\"1-1.2\"", -22}, {"\"sim_num\":\"1\"", -22}, {"\"modem_id\":2", -251}}, 0},
    {"post /modem/modem_info/get", {{"\"bus\":\"1-1.2\"", -251}, {"\"modem_id\":2", -251}}, -250},
    {"get /modem/sms/list", {{"\"modem_id\":2", -251}}, -250},
    {"post /modem/sms/delete", {{"\"modem_id\":2", -251}, {"\"msg_id\":\"GMS99.a\"", -258}}, -250},
    {"post /modem/sms/delete_all", {{"\"modem_id\":2", -251}}, -250},
    {"post /modem/sms/send", {{"\"modem_id\":2", -251}, {"\"number\":\"1\"", -260}, {"\"message\":\"m\"", -261}}, -250},
    {"post /modem/sms/status", {{"\"modem_id\":2", -251}, {"\"msg_id\":\"GMS99.a\"", -258}}, -250},
    {"post /modem/upgrade",
     {{"\"modem_url\":\"u\"", -5},
      {"\"target_version\":\"t\"", -5},
      {"\"current_version\":\"c\"", -5},
      {"\"firmware_upload\":\"0\"", -5},
      {"\"hash_type\":\"m\"", -5},
      {"\"hash_value\":\"h\"", -5}},
     0},
};

// The request with those of row's members whose index keep tells.
template <typename Keep> std::string request_with(const RequiredRow &row, Keep keep)
{
    std::string members;
    for (size_t i = 0; i < row.members.size(); i++)
        if (keep(i))
            members += std::string{members.empty() ? "" : ","} + row.members[i].member;
    return std::string{row.route} + " {" + members + "}\n";
}

int status_of(const std::string &answer)
{
    return atoi(answer.c_str());
}

TEST(RequiredMembers, AreLookedForInTheirOrderBeforeAnythingElse)
{
    for (const auto &row : required_rows) {
        std::string requests;
        for (size_t missing = 0; missing < row.members.size(); missing++) {
            requests += request_with(row, [missing](size_t i) { return i != missing; });
            requests += request_with(row, [missing](size_t i) { return i < missing; });
        }
        if (row.unknown_model != 0)
            requests += request_with(row, [](size_t) { return true; });
        const RouterRun run = serve({"--modem", "EC25"}, requests);
        const Lines answers = lines_of(run.out);
        ASSERT_EQ(answers.size(), row.members.size() * 2 + (row.unknown_model != 0 ? 1 : 0)) << row.route << run.err;
        for (size_t i = 0; i < row.members.size(); i++) {
            EXPECT_EQ(status_of(answers[2 * i]), row.members[i].missing) << row.route << row.members[i].member;
            EXPECT_EQ(status_of(answers[2 * i + 1]), row.members[i].missing)
                << row.route << row.members[i].member << " and all behind it";
        }
        if (row.unknown_model != 0) {
            EXPECT_EQ(answers.back(), std::to_string(row.unknown_model) + " {}") << row.route;
        }
        EXPECT_EQ(run.journal_of("run"), Lines{}) << row.route;
    }
}

// Requests that nobody should send

TEST(OddRequests, GetTheDocumentedStatus)
{
    const std::string longest(100000, 'x');
    const struct {
        std::string request;
        const char *answer;
    } rows[] = {
        {"get /modem/sms/list {\"modem_id\":null}", "0 {\"messages\":[]}"}, // json-c reads null as 0, the EC20
        {"get /modem/sms/list {\"modem_id\":\"3\"}", "0 {\"messages\":[]}"},
        {"get /modem/sms/list {\"modem_id\":3.9}", "0 {\"messages\":[]}"},
        {"get /modem/sms/list {\"modem_id\":true}", "0 {\"messages\":[]}"},
        {"get /modem/sms/list {\"modem_id\":-1}", "-250 {}"},
        {"get /modem/sms/list {\"modem_id\":-2147483648}", "-250 {}"},
        {"get /modem/sms/list {\"modem_id\":99999999999999999999}", "-250 {}"},
        {"get /modem/sms/list {\"modem_id\":\"" + longest + "\"}", "0 {\"messages\":[]}"},
        {"get /modem/sms/list {\"Modem_id\":3}", "-251 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":null}", "-258 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":[\"GMS99.a\"]}", "-258 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":{}}", "-258 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":1e999}", "-259 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":\"" + longest + "\"}", "-259 {}"},
        {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":\"\xFF\xFE\\n'\\\"\"}", "-259 {}"},
        {"post /modem/sms/status {\"modem_id\":3,\"msg_id\":false}", "0 {}"},
        {"post /modem/sms/status {\"modem_id\":3,\"msg_id\":\"" + longest + "\"}", "0 {}"},
        {"post /modem/sms/send {\"modem_id\":3,\"number\":null,\"message\":\"m\"}", "-260 {}"},
        {"post /modem/sms/send {\"modem_id\":3,\"number\":\"1\",\"message\":{}}", "-261 {}"},
        {"post /modem/sms/code {\"action\":{\"set\":1}}", "0 {\"country\":\"\",\"country_code\":\"\"}"},
        {"post /modem/sms/code {\"action\":\"" + longest + "\"}", "0 {}"},
        {"post /modem/sms/code {\"action\":\"set\",\"country\":\"\xFF\"}", "0 {}"},
        {"post /modem/sms/code", "0 {\"country\":\"\xEF\xBF\xBD\",\"country_code\":\"\"}"},
        {"post /modem/sms/forward {\"tel\":[]}", "0 {}"},
        {"post /modem/sms/forward {\"tel\":\"" + longest + "\"}", "-5 {}"},
        {"post /modem/sms/account {\"account\":\"\xFF\"}", "-17 {\"msg\":\"ssmtp don't exist\"}"},
        {"post /modem/upgrade_status []", nullptr},
    };
    std::string requests;
    std::string answers;
    for (const auto &row : rows) {
        requests += row.request + "\n";
        if (row.answer != nullptr)
            answers += std::string{row.answer} + "\n";
    }
    EXPECT_EQ(serve({"--put-text", "/etc/forward="}, requests).out, answers);
}

// A process that lives long

struct MixedRow {
    std::string request;
    const char *status;
    int every; ///< served in every such round, and in the first one
};
const MixedRow mixed_rows[] = {
    {"get /modem/info", "0", 100},
    {"get /modem/brief_info", "0", 100},
    {"get /modem/app/brief_info", "0", 100},
    {"post /modem/auto", "-251", 1},
    {"get /modem/get", "0", 4},
    {"get /modem/get {\"bus\":\"1;1\"}", "0", 1},
    {"post /modem/set {\"modem_id\":3}", "-5", 1},
    {"post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB2\"}", "-265", 10},
    {"post /modem/reset {\"modem_id\":2}", "-250", 1},
    {"post /modem/at {\"at-command\":\"AT+CSQ\",\"at-port\":\"/dev/ttyUSB2\"}", "0", 100},
    {"post /modem/at {\"at-command\":\"AT+CSQ\",\"at-port\":\"/dev/none\"}", "-255", 100},
    {"post /modem/cells/get {\"bus\":\"1-1.2\",\"modem_id\":3}", "0", 100},
    {"post /modem/cells/get {\"bus\":\"1-1.2\",\"modem_id\":5}", "0", 100},
    {"post /modem/sim/switch {\"bus\":\"1-1.2\"}", "-22", 1},
    {"post /modem/modem_info/get {\"bus\":\"1-1.2\",\"modem_id\":3}", "0", 100},
    {"get /modem/sms/list {\"modem_id\":3}", "0", 4},
    {"get /modem/sms/list", "-251", 1},
    {"get /modem/sms/list {\"modem_id\":2}", "-250", 1},
    {"post /modem/sms/delete {\"modem_id\":3}", "-258", 1},
    {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":\"GMS99.none\"}", "-259", 1},
    {"post /modem/sms/delete {\"modem_id\":3,\"msg_id\":\"a/b\"}", "-259", 1},
    {"post /modem/sms/delete_all {}", "-251", 1},
    {"post /modem/sms/delete_all {\"modem_id\":3}", "0", 20},
    {"post /modem/sms/status {\"modem_id\":3,\"msg_id\":\"GMS99.none\"}", "0", 1},
    {"post /modem/sms/status {\"modem_id\":3,\"msg_id\":[1,{\"a\":null}]}", "-258", 1},
    {"post /modem/sms/send {\"modem_id\":3,\"number\":\"1\",\"message\":\"Hello\"}", "0", 10},
    {"post /modem/sms/send {\"modem_id\":3,\"number\":\"1\",\"message\":\"" + std::string(1000, 'm') + "\"}", "0", 20},
    {"post /modem/sms/send {\"modem_id\":3,\"message\":\"Hello\"}", "-260", 1},
    {"post /modem/sms/send {\"modem_id\":3,\"number\":\"1\"}", "-261", 1},
    {"post /modem/sms/code", "0", 1},
    {"post /modem/sms/code {\"action\":\"set\",\"country\":\"Germany\",\"country_code\":\"49\"}", "0", 10},
    {"post /modem/sms/code {\"action\":\"none\"}", "0", 1},
    {"post /modem/sms/forward", "0", 1},
    {"post /modem/sms/forward {\"tel\":\"110\"}", "0", 10},
    {"get /modem/sms/flist", "0", 4},
    {"post /modem/sms/account {\"account\":\"me@example.org\",\"password\":\"p\",\"smtp\":\"s\"}", "0", 50},
    {"post /modem/upgrade {\"modem_url\":\"u\"}", "-5", 50},
    {"post /modem/upgrade_status", "-1", 100},
};

// Round after round of the rows that are due, that many requests with their statuses.
void mix_requests(int count, Lines &requests, Lines &statuses)
{
    for (int round = 0;; round++)
        for (const auto &row : mixed_rows) {
            if (round % row.every != 0)
                continue;
            if (count-- == 0)
                return;
            requests.push_back(row.request);
            statuses.emplace_back(row.status);
        }
}

// Asks for the usage after so many requests and at the end. @return both answers
Lines serve_long(const Lines &back_end, int count, int warm_up)
{
    Lines requests;
    Lines statuses;
    mix_requests(count, requests, statuses);
    std::string input;
    for (int i = 0; i < count; i++)
        input += (i == warm_up ? "usage\n" : "") + requests[i] + "\n";
    const RouterRun run =
        run_in_router({"--modem", "EC25", "--put-text", "/etc/forward=", "--put-text",
                       "/etc/spool/sms/storage/GMS99.a=From: 1\n\nHello", "--put-text",
                       "/etc/ssmtp/ssmtp.conf=AuthUser=me", "--answer", "opkg list-installed:0:ssmtp - 2"},
                      back_end, input + "usage\n");
    EXPECT_EQ(run.status, 0) << run.err;
    Lines usage;
    size_t served = 0;
    for (const std::string &answer : lines_of(run.out)) {
        if (answer.starts_with("descriptors"))
            usage.push_back(answer);
        else if (answer.find(" {") == std::string::npos)
            continue; // what a command printed
        else if (served < statuses.size()) {
            EXPECT_EQ(answer.substr(0, answer.find(' ')), statuses[served]) << requests[served];
            served++;
        }
    }
    EXPECT_EQ(served, requests.size()) << run.err;
    return usage;
}

TEST(LongLivedBackEnd, KeepsItsMemoryAndItsDescriptors)
{
    // The C library's cache of freed pieces counts as memory in use.
    const Lines usage = serve_long({"env", "GLIBC_TUNABLES=glibc.malloc.tcache_count=0", "modemapi"}, 10000, 100);
    ASSERT_EQ(usage.size(), 2U);
    EXPECT_EQ(usage[1], usage[0]);
}

TEST(LongLivedBackEnd, MakesNoMistakeThatValgrindSees)
{
    if (is_sanitized)
        GTEST_SKIP() << "valgrind cannot run a sanitized program";
    // At the end of a process, also of a forked one, valgrind would let the C library give up its own memory, and that
    // moves the position in the input that the process shares with its parent.
    const Lines usage =
        serve_long({"valgrind", "-q", "--error-exitcode=99", "--leak-check=full", "--errors-for-leak-kinds=definite",
                    "--show-leak-kinds=definite", "--run-libc-freeres=no", built("modemapi")},
                   200, 100);
    EXPECT_EQ(usage.size(), 2U);
}

} // namespace api_back_end_test
