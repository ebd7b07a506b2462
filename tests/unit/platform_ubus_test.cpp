#include "platform/ubus.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <libubus.h>

#include "tests/unit/ubus_fixture.h"

namespace platform_ubus_test {

std::string text_of(const Json &json)
{
    return json ? json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN) : "null";
}

/// What /proc/self/fd points at.
std::vector<std::string> open_descriptors()
{
    std::vector<std::string> open;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the directory's own descriptor is
        open.push_back(entry.path().filename().string() + " " + read_symlink(entry.path(), gone).string());
    }
    return open;
}

/// Numbers of the signals in a set.
std::vector<int> members_of(const sigset_t &set)
{
    std::vector<int> members;
    for (int number = 1; number < NSIG; number++)
        if (sigismember(&set, number) == 1)
            members.push_back(number);
    return members;
}

struct Disposition {
    int number;
    void (*handler)(int);
    int flags;
    std::vector<int> mask;
    bool operator==(const Disposition &) const = default;
};

std::vector<Disposition> dispositions()
{
    std::vector<Disposition> all;
    for (int number = 1; number < NSIG; number++) {
        struct sigaction action {};
        sigemptyset(&action.sa_mask);
        if (sigaction(number, nullptr, &action) == 0)
            all.push_back({number, action.sa_handler, action.sa_flags, members_of(action.sa_mask)});
    }
    return all;
}

std::vector<int> blocked_signals()
{
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return members_of(blocked);
}

// Also on a busy machine.
constexpr int long_enough_to_connect_ms = 1000;

class PlatformUbus : public testing::Test {
  protected:
    PlatformUbus()
    {
        ubus_.with([](auto &server) { add_test_object(server, "network.interface.lan"); });
    }
    UbusResult call(const char *object, const char *method, int timeout_ms = 20000)
    {
        return ubus_call(object, method, timeout_ms, ubus_.path().c_str());
    }
    ServedUbus ubus_;
};

TEST_F(PlatformUbus, GivesTheAnswerAsAnObject)
{
    const UbusResult result = call("network.interface.lan", "status");
    EXPECT_EQ(result.step, UbusStep::done);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(text_of(result.reply), R"({"up":true,"mask":24,"list":[1,"two"]})");
}

TEST_F(PlatformUbus, GivesNoObjectForAnAnswerWithoutData)
{
    for (const char *method : {"quiet", "empty"}) {
        const UbusResult result = call("network.interface.lan", method);
        EXPECT_EQ(result.step, UbusStep::done) << method;
        EXPECT_EQ(result.code, 0) << method;
        EXPECT_EQ(text_of(result.reply), "null") << method;
    }
}

TEST_F(PlatformUbus, TellsTheStepThatFailed)
{
    const UbusResult unknown_object = call("network.interface.nope", "status");
    EXPECT_EQ(unknown_object.step, UbusStep::lookup);
    EXPECT_EQ(unknown_object.code, 4);
    const UbusResult empty_object = call("", "status");
    EXPECT_EQ(empty_object.step, UbusStep::lookup);
    EXPECT_EQ(empty_object.code, 2);
    const UbusResult unknown_method = call("network.interface.lan", "frob");
    EXPECT_EQ(unknown_method.step, UbusStep::invoke);
    EXPECT_EQ(unknown_method.code, 3);
    const UbusResult refused = call("network.interface.lan", "refuse");
    EXPECT_EQ(refused.step, UbusStep::invoke);
    EXPECT_EQ(refused.code, 6);
}

TEST_F(PlatformUbus, GivesMinusOneWithoutUbusd)
{
    const TemporaryDirectory directory;
    for (const std::string &path : {directory.entry("missing.sock"), "/tmp/" + std::string(200, 'x')}) {
        const UbusResult result = ubus_call("network", "reload", 20000, path.c_str());
        EXPECT_EQ(result.step, UbusStep::connect) << path;
        EXPECT_EQ(result.code, -1) << path;
    }
}

TEST_F(PlatformUbus, GivesMinusOneForTheSocketOfADeadUbusd)
{
    const TemporaryDirectory directory;
    const std::string path = directory.entry("dead.sock");
    listen_on(path);
    const UbusResult result = ubus_call("network", "reload", 20000, path.c_str());
    EXPECT_EQ(result.step, UbusStep::connect);
    EXPECT_EQ(result.code, -1);
}

TEST_F(PlatformUbus, NamesTheStepAtWhichTheTimeWasOver)
{
    ubus_.with([](auto &server) { server.set_silent("network.interface.lan", true); });
    const UbusResult stopped_owner = call("network.interface.lan", "status", long_enough_to_connect_ms);
    EXPECT_EQ(stopped_owner.step, UbusStep::invoke);
    EXPECT_EQ(stopped_owner.code, 7);
    ubus_.with([](auto &server) { server.set_deaf(true); });
    const UbusResult stopped_ubusd = call("network.interface.lan", "status", 50);
    EXPECT_EQ(stopped_ubusd.step, UbusStep::connect);
    EXPECT_EQ(stopped_ubusd.code, 7);
}

TEST_F(PlatformUbus, BoundsALookupThatIsNotAnswered)
{
    ScriptedUbusd ubusd({hello_message});
    const UbusResult result = ubus_call("network", "reload", long_enough_to_connect_ms, ubusd.path().c_str());
    EXPECT_EQ(result.step, UbusStep::lookup);
    EXPECT_EQ(result.code, 7);
}

TEST_F(PlatformUbus, TakesATimeoutThatIsNotAboveZeroAsOver)
{
    for (const int timeout_ms : {0, -1}) {
        const UbusResult result = call("network.interface.lan", "status", timeout_ms);
        EXPECT_EQ(result.step, UbusStep::connect);
        EXPECT_EQ(result.code, 7);
    }
}

TEST_F(PlatformUbus, GivesTenWhenUbusdDiesDuringTheCall)
{
    ubus_.with([](auto &server) { server.set_dying(true); });
    const UbusResult result = call("network.interface.lan", "status");
    EXPECT_EQ(result.step, UbusStep::invoke);
    EXPECT_EQ(result.code, 10);
}

TEST_F(PlatformUbus, LeavesSignalHandlersAndDescriptorsAsTheyWere)
{
    const auto descriptors = open_descriptors();
    const auto handlers = dispositions();
    const auto blocked = blocked_signals();

    call("network.interface.lan", "status");
    call("network.interface.nope", "status");
    ubus_call("network", "reload", 20000, "/nowhere");
    ubus_.with([](auto &server) { server.set_deaf(true); });
    call("network.interface.lan", "status", 20);

    EXPECT_TRUE(dispositions() == handlers);
    EXPECT_EQ(blocked_signals(), blocked);
    // The server lives in this process too: it has to drop its ends of the connections.
    ubus_.with([](auto &server) {
        server.set_deaf(false);
        for (int round = 0; round < 4; round++)
            server.on_ready();
    });
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(PlatformUbus, LeavesNoChildBehind)
{
    call("network.interface.lan", "status");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

void collect_every_child(int)
{
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        continue;
}

TEST_F(PlatformUbus, WorksBesideAnyHandlerForChildren)
{
    struct sigaction before;
    for (void (*handler)(int) : {SIG_IGN, SIG_DFL, +collect_every_child}) {
        struct sigaction action {};
        action.sa_handler = handler;
        sigaction(SIGCHLD, &action, &before);
        for (int i = 0; i < 20; i++) {
            const UbusResult result = call("network.interface.lan", "status");
            EXPECT_EQ(result.code, 0);
            EXPECT_EQ(text_of(result.reply), R"({"up":true,"mask":24,"list":[1,"two"]})");
        }
        sigaction(SIGCHLD, &before, nullptr);
    }
}

// The C library's heap survives a fork beside other threads; AddressSanitizer's does not, and the child would hang in
// it.
#ifndef __SANITIZE_ADDRESS__
TEST_F(PlatformUbus, WorksInSeveralThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&] {
            for (int call_number = 0; call_number < 10; call_number++)
                answered += call("network.interface.lan", "status").code == 0 ? 1 : 0;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(answered, 40);
}
#endif

TEST_F(PlatformUbus, GivesALongAnswerWhole)
{
    const std::string text(300000, 'x');
    ubus_.with([&](auto &server) {
        server.add_object("long", {{"get"}}, [text](const std::string &, json_object *) -> simulator::UbusReply {
            Json data{json_object_new_object()};
            json_object_object_add(data.get(), "text", json_object_new_string(text.c_str()));
            return {0, std::move(data)};
        });
    });
    const UbusResult result = call("long", "get");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(json_object_get_string(json_object_object_get(result.reply.get(), "text")), text);
}

/// What receive_call_result_data makes of a message.
Json received(const std::string &hex)
{
    std::string message = bytes_of_hex(hex);
    Json result;
    ubus_request request{};
    request.priv = &result;
    receive_call_result_data(&request, UBUS_MSG_DATA,
                             message.empty() ? nullptr : reinterpret_cast<blob_attr *>(message.data()));
    return result;
}

TEST(ReceiveCallResultData, StoresAnObject)
{
    EXPECT_EQ(text_of(received("07000014"
                               "8700000d"
                               "00027570"
                               "00000000"
                               "01000000")),
              R"({"up":true})");
}

TEST(ReceiveCallResultData, LeavesNullForAnEmptyOrUnreadableMessage)
{
    const char *const messages[] = {
        "",                                 // none at all
        "07000004",                         // empty
        "070000108300000a0000000078000000", // a member without a name
        "8100000800000000",                 // an array
    };
    for (const char *message : messages)
        EXPECT_EQ(text_of(received(message)), "null") << message;
}

} // namespace platform_ubus_test
