#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <random>

#include <libubus.h>
extern "C" {
#include <libubox/blobmsg_json.h>
}

#include "platform/shell.h"
#include "platform/ubus.h"
#include "tests/unit/ubus_fixture.h"

namespace libubus_test {

struct ContextFree {
    void operator()(ubus_context *context) const { ubus_free(context); }
};
using Context = std::unique_ptr<ubus_context, ContextFree>;

/// Connecting takes over signals, which the other tests want as they were.
class Libubus : public testing::Test {
  protected:
    Libubus()
    {
        ubus_.with([](auto &server) {
            add_test_object(server, "probe");
            add_test_object(server, "stopped");
            server.set_silent("stopped", true);
        });
    }
    ~Libubus() override { uloop_done(); }

    Context connect() { return Context{ubus_connect(ubus_.path().c_str())}; }
    static uint32_t id_of(const Context &context, const char *path)
    {
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(context.get(), path, &id), 0);
        return id;
    }
    ServedUbus ubus_;
};

void collect_json(ubus_request *request, int type, blob_attr *message)
{
    const HeapText text{blobmsg_format_json(message, true)};
    *static_cast<std::string *>(request->priv) += std::to_string(type) + " " + text.get() + "\n";
}

TEST_F(Libubus, HandsEachDataMessageToTheCallback)
{
    const Context context = connect();
    const uint32_t id = id_of(context, "probe");
    std::string seen;
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, collect_json, &seen, 20000), 0);
    EXPECT_EQ(ubus_invoke(context.get(), id, "quiet", nullptr, collect_json, &seen, 20000), 0);
    EXPECT_EQ(ubus_invoke(context.get(), id, "empty", nullptr, collect_json, &seen, 20000), 0);
    EXPECT_EQ(seen, "2 {\"up\":true,\"mask\":24,\"list\":[1,\"two\"]}\n2 {}\n");
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, nullptr, nullptr, 20000), 0);
}

TEST_F(Libubus, SendsTheArguments)
{
    const Context context = connect();
    blob_buf arguments{};
    blob_buf_init(&arguments, 0);
    blobmsg_add_string(&arguments, "text", "a\tb");
    blobmsg_add_u32(&arguments, "number", 5);
    std::string seen;
    EXPECT_EQ(ubus_invoke(context.get(), id_of(context, "probe"), "echo", arguments.head, collect_json, &seen, 20000),
              0);
    EXPECT_EQ(seen, "2 {\"text\":\"a\\tb\",\"number\":5}\n");
    blob_buf_free(&arguments);
}

TEST_F(Libubus, GivesTheCodesOfUbusd)
{
    const Context context = connect();
    uint32_t id = 77;
    EXPECT_EQ(ubus_lookup_id(context.get(), "nope", &id), 4);
    EXPECT_EQ(ubus_lookup_id(context.get(), "nope.*", &id), 4);
    EXPECT_EQ(ubus_lookup_id(context.get(), "", &id), 2);
    EXPECT_EQ(id, 77U);
    EXPECT_EQ(ubus_lookup_id(context.get(), "pro*", &id), 0);
    EXPECT_EQ(id, id_of(context, "probe"));
    for (const uint32_t unknown : {0U, 1U, id + 1000U})
        EXPECT_EQ(ubus_invoke(context.get(), unknown, "status", nullptr, nullptr, nullptr, 20000), 4);
    for (const char *method : {"frob", ""})
        EXPECT_EQ(ubus_invoke(context.get(), id, method, nullptr, nullptr, nullptr, 20000), 3);
    EXPECT_EQ(ubus_invoke(context.get(), id, "refuse", nullptr, nullptr, nullptr, 20000), 6);
}

TEST_F(Libubus, TellsObjectsWithTheirMethods)
{
    const Context context = connect();
    std::string seen;
    const auto note = [](ubus_context *, ubus_object_data *object, void *priv) {
        const HeapText text{blobmsg_format_json(object->signature, true)};
        *static_cast<std::string *>(priv) += std::string(object->path) + " " + text.get() + "\n";
    };
    const std::string methods = R"({"status":{},"quiet":{},"empty":{},"refuse":{},"echo":{"text":3,"number":5}})";
    EXPECT_EQ(ubus_lookup(context.get(), nullptr, note, &seen), 0);
    EXPECT_EQ(seen, "probe " + methods + "\nstopped " + methods + "\n");
}

TEST_F(Libubus, AStaleIdIsNotFound)
{
    const Context context = connect();
    const uint32_t id = id_of(context, "probe");
    ubus_.with([](auto &server) { add_test_object(server, "probe"); });
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, nullptr, nullptr, 20000), 4);
    EXPECT_NE(id_of(context, "probe"), id);
}

TEST_F(Libubus, TimesOutAndStaysUsable)
{
    const Context context = connect();
    std::string seen;
    EXPECT_EQ(ubus_invoke(context.get(), id_of(context, "stopped"), "status", nullptr, collect_json, &seen, 20), 7);
    EXPECT_EQ(ubus_invoke(context.get(), id_of(context, "probe"), "status", nullptr, nullptr, nullptr, -1), 7);
    EXPECT_EQ(seen, "");
    EXPECT_EQ(ubus_invoke(context.get(), id_of(context, "probe"), "status", nullptr, collect_json, &seen, 20000), 0);
    EXPECT_EQ(seen, "2 {\"up\":true,\"mask\":24,\"list\":[1,\"two\"]}\n");
}

TEST_F(Libubus, DropsAnAnswerThatComesLate)
{
    const Context context = connect();
    const uint32_t id = id_of(context, "probe");
    std::string seen;
    ubus_.with([](auto &server) { server.set_reply_delay(100); });
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, collect_json, &seen, 1), 7);
    EXPECT_EQ(ubus_invoke(context.get(), id, "empty", nullptr, collect_json, &seen, 20000), 0);
    EXPECT_EQ(seen, "2 {}\n");
}

TEST_F(Libubus, TellsALostConnection)
{
    const Context context = connect();
    const uint32_t id = id_of(context, "probe");
    ubus_.with([](auto &server) { server.set_dying(true); });
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, nullptr, nullptr, 20000), 10);
    EXPECT_EQ(ubus_invoke(context.get(), id, "status", nullptr, nullptr, nullptr, 20000), 2);
    uint32_t other = 0;
    EXPECT_EQ(ubus_lookup_id(context.get(), "probe", &other), 2);
}

TEST_F(Libubus, DoesNotConnectWithoutUbusd)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(ubus_connect(directory.entry("missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    listen_on(directory.entry("dead"));
    EXPECT_EQ(ubus_connect(directory.entry("dead").c_str()), nullptr);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(ubus_connect(std::string(200, 'x').c_str()), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(Libubus, KeepsItsConnectionFromStartedCommandsAndNeverBlocksOnIt)
{
    const Context context = connect();
    EXPECT_TRUE(fcntl(context->sock.fd, F_GETFD) & FD_CLOEXEC);
    EXPECT_TRUE(fcntl(context->sock.fd, F_GETFL) & O_NONBLOCK);
}

void (*handler_of(int number))(int)
{
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

TEST_F(Libubus, TakesOverSignalsAsTheRealOneDoes)
{
    signal(SIGINT, SIG_DFL); // a shell's background job ignores it
    ubus_connect("/nowhere");
    for (const int number : {SIGINT, SIGTERM, SIGCHLD})
        EXPECT_NE(handler_of(number), SIG_DFL) << number;
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
    uloop_done();
    for (const int number : {SIGINT, SIGTERM, SIGCHLD})
        EXPECT_EQ(handler_of(number), SIG_DFL) << number;
    signal(SIGPIPE, SIG_DFL);
}

TEST_F(Libubus, LeavesAHandlerAloneThatSomebodySet)
{
    void (*const mine)(int) = [](int) {};
    signal(SIGTERM, mine);
    ubus_connect("/nowhere");
    EXPECT_EQ(handler_of(SIGTERM), mine);
    uloop_done();
    EXPECT_EQ(handler_of(SIGTERM), mine);
    signal(SIGTERM, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
}

std::string message_of(uint8_t type, uint16_t sequence, uint32_t peer, const std::string &body)
{
    const ubus_msghdr header{.version = 0, .type = type, .seq = htobe16(sequence), .peer = htobe32(peer)};
    return std::string(reinterpret_cast<const char *>(&header), sizeof(header)) + body;
}

TEST_F(Libubus, RefusesAHelloThatIsNone)
{
    const std::string bad[] = {
        std::string("\0\1\0\0\x12\x34\x56\x78\0\0\0\4", 12), // a status
        std::string("\1\0\0\0\x12\x34\x56\x78\0\0\0\4", 12), // another version
        std::string("\0\0\0\0\0\0\0\0\0\0\0\4", 12),         // no number for us
        std::string("\0\0\0\0\x12\x34\x56\x78\0\0\0\3", 12), // shorter than its own header
        std::string("\0\0\0\0\x12\x34\x56\x78\0\xff\xff\xff", 12),
        std::string("\0\0\0", 3),
    };
    for (const std::string &hello : bad) {
        ScriptedUbusd ubusd({hello}, false);
        EXPECT_EQ(ubus_connect(ubusd.path().c_str()), nullptr);
    }
}

TEST_F(Libubus, TakesAnswersThatComeInPieces)
{
    // The client asks only once: the second text goes out when the first is heard of.
    const std::string status = message_of(UBUS_MSG_STATUS, 1, 0, bytes_of_hex("0000000c0100000800000004"));
    for (size_t cut = 1; cut < status.size(); cut++) {
        ScriptedUbusd ubusd({hello_message, status.substr(0, cut)}, false);
        const Context context{ubus_connect(ubusd.path().c_str())};
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 10) << cut; // the rest never comes
    }
    ScriptedUbusd ubusd({hello_message, status});
    const Context context{ubus_connect(ubusd.path().c_str())};
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 4);
}

TEST_F(Libubus, WaitsForItsOwnAnswer)
{
    const std::string answers = message_of(UBUS_MSG_STATUS, 9, 0, bytes_of_hex("0000000c0100000800000004")) +
                                message_of(UBUS_MSG_STATUS, 1, 5, bytes_of_hex("0000000c0100000800000006")) +
                                message_of(UBUS_MSG_INVOKE, 1, 0, bytes_of_hex("00000004")) +
                                message_of(99, 1, 0, bytes_of_hex("00000004")) +
                                message_of(UBUS_MSG_DATA, 1, 0, bytes_of_hex("0000000c03000008aabbccdd")) +
                                message_of(UBUS_MSG_STATUS, 1, 0, bytes_of_hex("0000000c0100000800000000"));
    ScriptedUbusd ubusd({hello_message, answers});
    const Context context{ubus_connect(ubusd.path().c_str())};
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 0);
    EXPECT_EQ(id, 0xaabbccddU);
}

TEST_F(Libubus, TakesAStatusMessageWithoutAStatusAsAnInvalidArgument)
{
    for (const char *body :
         {"00000004", "0000000a010000060000", "0000000c0100000900000000", "0000000c01ffffff00000000"}) {
        ScriptedUbusd ubusd({hello_message, message_of(UBUS_MSG_STATUS, 1, 0, bytes_of_hex(body))});
        const Context context{ubus_connect(ubusd.path().c_str())};
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 2) << body;
    }
}

TEST_F(Libubus, GivesUpOnAMessageThatNoUbusdSends)
{
    const std::string bodies[] = {bytes_of_hex("00ffffff"), bytes_of_hex("00000003"), bytes_of_hex("00000000")};
    for (const std::string &body : bodies) {
        ScriptedUbusd ubusd({hello_message, message_of(UBUS_MSG_STATUS, 1, 0, body)});
        const Context context{ubus_connect(ubusd.path().c_str())};
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 10);
        EXPECT_EQ(ubus_lookup_id(context.get(), "x", &id), 2);
    }
}

TEST_F(Libubus, SurvivesRandomAnswers)
{
    std::mt19937 random(2);
    for (int round = 0; round < 300; round++) {
        std::string body(4 + random() % 80, '\0');
        for (char &byte : body)
            byte = static_cast<char>(random() % 2 == 0 ? random() : random() % 8);
        body.replace(0, 4, std::string("\0\0\0", 3) + static_cast<char>(body.size()));
        const uint8_t type = random() % 2 == 0 ? UBUS_MSG_DATA : UBUS_MSG_STATUS;
        ScriptedUbusd ubusd({hello_message, message_of(type, 1, 0x11, body)}, false);
        const Context context{ubus_connect(ubusd.path().c_str())};
        Json reply;
        ubus_invoke(context.get(), 0x11, "m", nullptr, receive_call_result_data, &reply, 20000);
        EXPECT_TRUE(!reply || json_object_is_type(reply.get(), json_type_object));
    }
}

TEST(UbusStrerror, HasATextForEveryCode)
{
    const char *const texts[] = {"Success",
                                 "Invalid command",
                                 "Invalid argument",
                                 "Method not found",
                                 "Not found",
                                 "No response",
                                 "Permission denied",
                                 "Request timed out",
                                 "Operation not supported",
                                 "Unknown error",
                                 "Connection failed",
                                 "Out of memory",
                                 "Parsing message data failed",
                                 "System error",
                                 "Unknown error: 14"};
    for (int code = 0; code < 15; code++)
        EXPECT_STREQ(ubus_strerror(code), texts[code]);
    EXPECT_STREQ(ubus_strerror(-1), "Unknown error: -1");
}

} // namespace libubus_test
