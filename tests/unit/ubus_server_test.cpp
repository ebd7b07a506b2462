#include <gtest/gtest.h>

#include <random>

extern "C" {
#include <libubox/blobmsg.h>
}
#include <ubusmsg.h>

#include "tests/paths.h"
#include "tests/unit/ubus_fixture.h"

namespace ubus_server_test {

/// A client that sends what it is told, right or wrong.
class RawClient {
  public:
    explicit RawClient(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (connect(socket_.get(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0)
            throw std::runtime_error("no ubus");
    }

    void send(const std::string &bytes) { (void)!::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); }

    /// The next message, empty when the server has closed the connection.
    std::string receive()
    {
        std::string message = take(12);
        if (message.size() == 12)
            message += take(size_t{static_cast<uint8_t>(message[10])} * 256 + static_cast<uint8_t>(message[11]) - 4);
        return message;
    }
    bool has_input()
    {
        pollfd entry{socket_.get(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }
    void stop_sending() { shutdown(socket_.get(), SHUT_WR); }

  private:
    std::string take(size_t size)
    {
        std::string bytes(size, '\0');
        const ssize_t length = size == 0 ? 0 : recv(socket_.get(), bytes.data(), size, MSG_WAITALL);
        bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
        return bytes;
    }
    Fd socket_;
};

std::string frame(uint8_t type, const std::string &body)
{
    return std::string("\0", 1) + static_cast<char>(type) + std::string("\0\1\0\0\0\7", 6) + body;
}

const std::string lookup_all = frame(UBUS_MSG_LOOKUP, std::string("\0\0\0\4", 4));

std::string status_message(char code)
{
    return std::string("\0\1\0\1\0\0\0\7\0\0\0\14\1\0\0\10\0\0\0", 19) + code;
}

std::string replace_all(std::string text, const std::string &from, const std::string &to)
{
    for (size_t place = 0; (place = text.find(from, place)) != std::string::npos; place += to.size())
        text.replace(place, from.size(), to);
    return text;
}

/// The object that the recordings were made with.
void add_recorded_object(simulator::UbusServer &server)
{
    server.add_object("probe",
                      {{"status"},
                       {"quiet"},
                       {"empty"},
                       {"refuse"},
                       {"echo", {{"text", 3}, {"number", 5}}},
                       {"big"},
                       {"types"},
                       {"die"}},
                      [](const std::string &method, json_object *arguments) -> simulator::UbusReply {
                          if (method == "echo")
                              return {0, Json{json_object_get(arguments)}};
                          return {};
                      });
}

/// The numbers that ubusd gave itself lie at these places of its hello and of its answer to a lookup of "probe".
struct Numbers {
    explicit Numbers(const std::string &hello) : client(hello.substr(4, 4)) {}
    void take_from(const std::string &lookup_answer)
    {
        object = lookup_answer.substr(28, 4);
        type = lookup_answer.substr(36, 4);
    }
    std::string client, object, type;
};

TEST(UbusServer, AnswersWhatTheRealOneAnswersTheRealClient)
{
    for (const char *name :
         {"call_echo", "call_quiet", "call_unknown_method", "call_unknown_object", "list_verbose", "list_pattern"}) {
        ServedUbus ubus;
        ubus.with(add_recorded_object);
        RawClient client(ubus.path());
        const auto lines = read_recording(std::string(TEST_DATA "/ubus/") + name + ".txt");
        ASSERT_GE(lines.size(), 4U) << name;
        Numbers theirs(lines[0].bytes);
        Numbers ours(client.receive());
        EXPECT_EQ(lines[0].bytes, replace_all(hello_message, hello_message.substr(4, 4), theirs.client));
        for (size_t i = 1; i < lines.size(); i++) {
            if (lines[i].who == "client") {
                client.send(theirs.object.empty() ? lines[i].bytes
                                                  : replace_all(lines[i].bytes, theirs.object, ours.object));
            } else if (lines[i].who == "server") {
                const std::string answer = client.receive();
                if (answer.size() > 40 && theirs.object.empty()) {
                    theirs.take_from(lines[i].bytes);
                    ours.take_from(answer);
                }
                std::string expected = lines[i].bytes;
                if (!theirs.object.empty())
                    expected = replace_all(replace_all(expected, theirs.type, ours.type), theirs.object, ours.object);
                EXPECT_EQ(answer, expected) << name << " line " << i;
            }
        }
    }
}

TEST(UbusServer, ListsObjectsByName)
{
    ServedUbus ubus;
    for (const char *name : {"b", "a", "network.interface.x"})
        ubus.with([&](auto &server) { server.add_object(name, {}, nullptr); });
    ubus.with([](auto &server) { server.remove_object("b"); });
    RawClient client(ubus.path());
    client.receive();
    client.send(lookup_all);
    EXPECT_EQ(client.receive().substr(16, 2), std::string("a\0", 2));
    EXPECT_EQ(client.receive().substr(16, 20), std::string("network.interface.x\0", 20));
    EXPECT_EQ(client.receive(), status_message(0));
}

TEST(UbusServer, AnswersInvalidCommandToWhatItDoesNotDo)
{
    ServedUbus ubus;
    RawClient client(ubus.path());
    client.receive();
    for (const int type : {int{UBUS_MSG_SUBSCRIBE}, int{UBUS_MSG_UNSUBSCRIBE}, int{UBUS_MSG_NOTIFY}, 99, 255}) {
        client.send(frame(static_cast<uint8_t>(type), std::string("\0\0\0\4", 4)));
        EXPECT_EQ(client.receive(), status_message(1)) << type;
    }
}

/// A message with some of the attributes that a client sends.
struct Sent {
    std::string path{};
    std::string method{};
    std::string object{}; ///< four bytes
    std::string data{};
};

std::string message(uint8_t type, const std::string &peer, const Sent &sent)
{
    blob_buf buffer{};
    blob_buf_init(&buffer, 0);
    if (!sent.path.empty()) {
        blob_put_string(&buffer, UBUS_ATTR_OBJPATH, sent.path.c_str());
        void *signature = blob_nest_start(&buffer, UBUS_ATTR_SIGNATURE);
        void *table = blobmsg_open_table(&buffer, "status");
        blobmsg_add_u32(&buffer, "bus", BLOBMSG_TYPE_STRING);
        blobmsg_close_table(&buffer, table);
        blob_nest_end(&buffer, signature);
    }
    if (!sent.object.empty())
        blob_put(&buffer, UBUS_ATTR_OBJID, sent.object.data(), 4);
    if (!sent.method.empty())
        blob_put_string(&buffer, UBUS_ATTR_METHOD, sent.method.c_str());
    if (!sent.data.empty())
        blob_put(&buffer, UBUS_ATTR_DATA, sent.data.data(), static_cast<unsigned>(sent.data.size()));
    std::string bytes = std::string("\0", 1) + static_cast<char>(type) + std::string("\0\1", 2) + peer;
    bytes.append(reinterpret_cast<const char *>(buffer.head), blob_raw_len(buffer.head));
    blob_buf_free(&buffer);
    return bytes;
}

const std::string nobody(4, '\0');

/// Adds an object of the client's. @return its id, four bytes
std::string add_object(RawClient &client, const std::string &path)
{
    client.send(message(UBUS_MSG_ADD_OBJECT, nobody, {.path = path}));
    const std::string answer = client.receive();
    EXPECT_EQ(answer[1], UBUS_MSG_DATA);
    EXPECT_EQ(client.receive().back(), UBUS_STATUS_OK);
    return answer.substr(16, 4);
}

TEST(UbusServer, PassesCallsOnToTheClientWhoseObjectItIs)
{
    ServedUbus ubus;
    RawClient owner(ubus.path());
    RawClient caller(ubus.path());
    RawClient stranger(ubus.path());
    owner.receive();
    const std::string caller_id = caller.receive().substr(4, 4);
    stranger.receive();
    const std::string object = add_object(owner, "modemctl");
    stranger.send(message(UBUS_MSG_ADD_OBJECT, nobody, {.path = "modemctl"}));
    EXPECT_EQ(stranger.receive().back(), UBUS_STATUS_INVALID_ARGUMENT);
    stranger.send(message(UBUS_MSG_REMOVE_OBJECT, nobody, {.object = object}));
    EXPECT_EQ(stranger.receive().back(), UBUS_STATUS_PERMISSION_DENIED);

    caller.send(message(UBUS_MSG_INVOKE, object, {.method = "status", .object = object, .data = "abcd"}));
    const std::string call = owner.receive();
    EXPECT_EQ(call[1], UBUS_MSG_INVOKE);
    EXPECT_EQ(call.substr(2, 6), std::string("\0\1", 2) + caller_id);
    EXPECT_NE(call.find("status"), std::string::npos);
    EXPECT_NE(call.find("abcd"), std::string::npos);
    stranger.send(message(UBUS_MSG_DATA, caller_id, {.object = object, .data = "evil"}));
    owner.send(message(UBUS_MSG_DATA, caller_id, {.object = object, .data = "good"}));
    const std::string answer = caller.receive();
    EXPECT_EQ(answer.substr(4, 4), object);
    EXPECT_NE(answer.find("good"), std::string::npos);
}

TEST(UbusServer, ForgetsTheObjectsOfAClientThatLeaves)
{
    ServedUbus ubus;
    RawClient caller(ubus.path());
    caller.receive();
    const std::string look_up = frame(UBUS_MSG_LOOKUP, bytes_of_hex("00000014"
                                                                    "02000010"
                                                                    "6d6f64656d63746c00000000"));
    {
        RawClient owner(ubus.path());
        owner.receive();
        const std::string object = add_object(owner, "modemctl");
        caller.send(look_up);
        EXPECT_NE(caller.receive().find("modemctl"), std::string::npos);
        EXPECT_EQ(caller.receive(), status_message(UBUS_STATUS_OK));
        owner.send(message(UBUS_MSG_REMOVE_OBJECT, nobody, {.object = object}));
        EXPECT_EQ(owner.receive()[1], UBUS_MSG_DATA);
        EXPECT_EQ(owner.receive().back(), UBUS_STATUS_OK);
        caller.send(look_up);
        EXPECT_EQ(caller.receive(), status_message(UBUS_STATUS_NOT_FOUND));
        add_object(owner, "modemctl");
    }
    for (std::string answer = "found"; answer != status_message(UBUS_STATUS_NOT_FOUND);) {
        caller.send(look_up);
        answer = caller.receive();
        ASSERT_FALSE(answer.empty());
        if (answer[1] == UBUS_MSG_DATA)
            caller.receive();
    }
}

TEST(UbusServer, AnswersInvalidArgumentToACallWithoutObjectOrMethod)
{
    ServedUbus ubus;
    RawClient client(ubus.path());
    client.receive();
    for (const char *body : {"00000004", "0000000c0300000800000001", "0000000c0400000661000000",
                             "000000140300000700000000040000066100000000"}) {
        client.send(frame(UBUS_MSG_INVOKE, bytes_of_hex(body)));
        EXPECT_EQ(client.receive(), status_message(2)) << body;
    }
}

TEST(UbusServer, ClosesAConnectionWhoseMessagesHaveNoEnd)
{
    for (const char *word : {"00ffffff", "00000003", "00000000", "7f100001"}) {
        ServedUbus ubus;
        RawClient client(ubus.path());
        client.receive();
        client.send(frame(UBUS_MSG_LOOKUP, bytes_of_hex(word)));
        EXPECT_EQ(client.receive(), "") << word;
        RawClient next(ubus.path());
        EXPECT_EQ(next.receive().size(), 12U);
    }
}

TEST(UbusServer, TakesAMessageByteByByte)
{
    ServedUbus ubus;
    RawClient client(ubus.path());
    client.receive();
    for (const char byte : lookup_all)
        client.send(std::string(1, byte));
    EXPECT_EQ(client.receive(), status_message(0));
}

TEST(UbusServer, ForgetsAClientThatLeavesInsideAMessage)
{
    ServedUbus ubus;
    RawClient client(ubus.path());
    client.receive();
    client.send(lookup_all.substr(0, 9));
    client.stop_sending();
    EXPECT_EQ(client.receive(), "");
}

TEST(UbusServer, SurvivesRandomMessages)
{
    ServedUbus ubus;
    ubus.with([](auto &server) { add_test_object(server, "probe"); });
    std::mt19937 random(3);
    for (int round = 0; round < 500; round++) {
        RawClient client(ubus.path());
        client.receive();
        std::string body(4 + random() % 60, '\0');
        for (char &byte : body)
            byte = static_cast<char>(random() % 2 == 0 ? random() : random() % 12);
        if (random() % 4 != 0)
            body.replace(0, 4, std::string("\0\0\0", 3) + static_cast<char>(body.size()));
        client.send(frame(static_cast<uint8_t>(random() % 12), body));
        client.stop_sending();
    }
    RawClient client(ubus.path());
    EXPECT_EQ(client.receive().size(), 12U);
}

TEST(UbusServer, HearsWhatWasSaidWhileItWasDeaf)
{
    ServedUbus ubus;
    RawClient early(ubus.path());
    early.receive();
    ubus.with([](auto &server) { server.set_deaf(true); });
    RawClient late(ubus.path());
    early.send(lookup_all);
    ubus.with([](auto &server) { server.on_ready(); });
    EXPECT_FALSE(early.has_input());
    EXPECT_FALSE(late.has_input());
    ubus.with([](auto &server) { server.set_deaf(false); });
    EXPECT_EQ(early.receive(), status_message(0));
    EXPECT_EQ(late.receive().size(), 12U);
}

TEST(UbusServer, TakesThePlaceOfADeadSocketAndLeavesNoneBehind)
{
    const TemporaryDirectory directory;
    const std::string path = directory.entry("run") + "/ubus/ubus.sock";
    {
        simulator::UbusServer first(path);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    listen_on(directory.entry("dead"));
    simulator::UbusServer second(directory.entry("dead"));
    EXPECT_EQ(RawClient(directory.entry("dead")).has_input(), false);
}

TEST(UbusServer, SaysWhereItCannotListen)
{
    EXPECT_THROW(simulator::UbusServer("/proc/ubus.sock"), std::system_error);
    EXPECT_THROW(simulator::UbusServer("/tmp/" + std::string(200, 'x')), std::system_error);
}

} // namespace ubus_server_test
