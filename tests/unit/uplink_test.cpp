#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "simulator/usb/ethernet_port.h"
#include "simulator/usb/operator_server.h"
#include "simulator/usb/uplink.h"

namespace uplink_test {

using namespace simulator;

std::string address(const std::string &text)
{
    const int family = text.find(':') == std::string::npos ? AF_INET : AF_INET6;
    std::string bytes(family == AF_INET ? 4 : 16, '\0');
    EXPECT_EQ(inet_pton(family, text.c_str(), bytes.data()), 1) << text;
    return bytes;
}

std::string number(uint32_t value, size_t bytes)
{
    std::string text;
    for (size_t i = bytes; i > 0; i--)
        text += static_cast<char>(value >> 8 * (i - 1));
    return text;
}

std::string packet(const std::string &from, const std::string &to, uint8_t protocol, const std::string &content)
{
    return number(0x4500, 2) + number(static_cast<uint32_t>(20 + content.size()), 2) + number(0, 4) +
           number(64U << 8 | protocol, 2) + number(0, 2) + address(from) + address(to) + content;
}

/// 0 for a whole one with its sum in it.
uint16_t sum_of(std::string bytes)
{
    bytes.resize((bytes.size() + 1) / 2 * 2);
    uint32_t sum = 0;
    for (size_t i = 0; i < bytes.size(); i += 2)
        sum += static_cast<uint32_t>(static_cast<uint8_t>(bytes[i]) << 8 | static_cast<uint8_t>(bytes[i + 1]));
    while (sum > 0xffff)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

const std::string host = std::string("\x0a\1\2\3\4\5", 6);
const std::string modem = std::string(EthernetPort::hardware_address);
const std::string everybody(6, '\xff');

EthernetPort open_port()
{
    EthernetPort port;
    port.set_session(session_of(1));
    return port;
}

// Who is let in

struct EntryRow {
    const char *what;
    LinkDemand demand;
    Credentials credentials;
    bool expected;
};

const EntryRow entry_rows[] = {
    {"nothing is demanded", {}, {}, true},
    {"the APN", {.apn = "internet"}, {.apn = "internet"}, true},
    {"another APN", {.apn = "internet"}, {.apn = "wrong"}, false},
    {"no APN", {.apn = "internet"}, {}, false},
    {"the APN of the context", {.apn = "internet"}, {.context_apn = "internet"}, true},
    {"another APN than the context's", {.apn = "internet"}, {.apn = "wrong", .context_apn = "internet"}, false},
    {"user and password", {.username = "u", .password = "p"}, {.user = "u", .password = "p"}, true},
    {"a wrong password", {.username = "u", .password = "p"}, {.user = "u", .password = "q"}, false},
    {"only over QMI", {.path = LinkDemand::Path::qmi}, {.path = LinkDemand::Path::qmi}, true},
    {"not by a call", {.path = LinkDemand::Path::qmi}, {.path = LinkDemand::Path::serial}, false},
};

TEST(Uplink, LetsInWhoHasWhatTheOperatorDemands)
{
    for (const auto &row : entry_rows)
        EXPECT_EQ(lets_in(row.demand, row.credentials), row.expected) << row.what;
}

// The line itself

class UplinkLine : public testing::Test {
  protected:
    UplinkLine()
    {
        std::array<int, 2> ends;
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
        network_ = Fd(ends[0]);
        uplink_.emplace(loop_, Fd(ends[1]), 1, LinkDemand{.apn = "internet"});
    }
    std::optional<Session> open(const std::string &apn)
    {
        return uplink_->open({.apn = apn}, [this](std::string_view bytes) { taken_ += std::string(bytes) + '|'; });
    }
    std::string in_network() const
    {
        std::array<char, 2048> buffer;
        const ssize_t count = read(network_.get(), buffer.data(), buffer.size());
        return count < 0 ? "nothing" : std::string(buffer.data(), static_cast<size_t>(count));
    }
    void from_network(const std::string &bytes)
    {
        EXPECT_EQ(write(network_.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        loop_.run_once(0);
    }

    EventLoop loop_;
    Fd network_;
    std::optional<Uplink> uplink_;
    std::string taken_;
};

TEST_F(UplinkLine, CarriesPacketsBothWaysWhileItIsOpen)
{
    const std::string own = packet("10.64.1.2", "10.99.0.1", 17, "hello");
    uplink_->send(own);
    EXPECT_EQ(in_network(), "nothing");
    EXPECT_EQ(open("internet"), session_of(1));
    uplink_->send(own);
    EXPECT_EQ(in_network(), own);
    from_network("one");
    from_network("two");
    EXPECT_EQ(taken_, "one|two|");
    uplink_->close();
    uplink_->send(own);
    EXPECT_EQ(in_network(), "nothing");
    from_network("three");
    EXPECT_EQ(taken_, "one|two|");
}

TEST_F(UplinkLine, StaysClosedForAWrongApn)
{
    EXPECT_EQ(open("wrong"), std::nullopt);
    EXPECT_FALSE(uplink_->is_open());
    from_network("one");
    EXPECT_EQ(taken_, "");
    open("internet");
    EXPECT_EQ(open("wrong"), std::nullopt);
    EXPECT_FALSE(uplink_->is_open());
}

TEST_F(UplinkLine, CarriesNothingThatOthersHaveSent)
{
    open("internet");
    const std::string six = std::string("\x60\0\0\0\0\0\x3b\x40", 8);
    for (const std::string &wrong :
         {packet("10.64.1.3", "10.99.0.1", 17, "hello"), six + address("fe80::1") + address("fd99::1"), six,
          packet("10.64.1.2", "10.99.0.1", 17, "").substr(0, 19), std::string(60, '\0'), std::string()}) {
        uplink_->send(wrong);
        EXPECT_EQ(in_network(), "nothing");
    }
    const std::string right = six + address("fd64:1::2") + address("fd99::1");
    uplink_->send(right);
    EXPECT_EQ(in_network(), right);
}

TEST_F(UplinkLine, LeavesPacketsInTheNetworkWhileItIsHeld)
{
    open("internet");
    uplink_->hold(true);
    from_network("one");
    EXPECT_EQ(taken_, "");
    uplink_->hold(false);
    loop_.run_once(0);
    EXPECT_EQ(taken_, "one|");
}

// The modem's Ethernet

std::string search(const std::string &wanted)
{
    return everybody + host + number(0x0806, 2) + number(1, 2) + number(0x0800, 2) + number(0x06040001, 4) + host +
           address("10.64.1.2") + std::string(6, '\0') + address(wanted);
}

TEST(EthernetPort, AnswersForEveryAddressButTheHosts)
{
    EthernetPort port = open_port();
    EXPECT_EQ(port.take(search("10.99.0.1")).answer, host + modem + number(0x0806, 2) + number(1, 2) +
                                                         number(0x0800, 2) + number(0x06040002, 4) + modem +
                                                         address("10.99.0.1") + host + address("10.64.1.2"));
    EXPECT_EQ(port.take(search("10.64.1.2")).answer, "");
    port.set_session(std::nullopt);
    EXPECT_EQ(port.take(search("10.99.0.1")).answer, "");
}

TEST(EthernetPort, TakesPacketsOutOfFramesAndPutsThemIn)
{
    EthernetPort port = open_port();
    const std::string own = packet("10.64.1.2", "10.99.0.1", 17, std::string(8, '\1'));
    EXPECT_EQ(port.frame_of(own).substr(0, 6), everybody);
    EXPECT_EQ(port.take(modem + host + number(0x0800, 2) + own).packet, own);
    EXPECT_EQ(port.frame_of(own), host + modem + number(0x0800, 2) + own);
    const std::string six = "\x60" + std::string(47, '\1');
    EXPECT_EQ(port.take(modem + host + number(0x86dd, 2) + six).packet, six);
    EXPECT_EQ(port.frame_of(six), host + modem + number(0x86dd, 2) + six);
}

// The kernel's driver for QMI would take the frame for a packet.
TEST(EthernetPort, BeginsNoFrameAsAPacketBegins)
{
    for (const char first : {'\x42', '\x4e', '\x62', '\x6e'}) {
        EthernetPort port = open_port();
        const std::string own = first + host.substr(1);
        const std::string content = packet("10.64.1.2", "10.99.0.1", 17, "question");
        EXPECT_EQ(port.take(modem + own + number(0x0800, 2) + content).packet, content);
        EXPECT_EQ(port.frame_of(content).substr(0, 6), static_cast<char>(first & 0x0f) + host.substr(1));
    }
}

std::string dhcp(uint8_t kind, const std::string &options, const std::string &own = "0.0.0.0")
{
    std::string message = number(0x01010600, 4) + "1234" + number(0x00008000, 4) + address(own);
    message.resize(28);
    message += host;
    message.resize(236);
    message += "\x63\x82\x53\x63" + std::string{53, 1, static_cast<char>(kind)} + options + '\xff';
    return everybody + host + number(0x0800, 2) +
           packet("0.0.0.0", "255.255.255.255", 17,
                  number(68, 2) + number(67, 2) + number(static_cast<uint32_t>(8 + message.size()), 2) + number(0, 2) +
                      message);
}

constexpr size_t dhcp_start = 14 + 20 + 8;
constexpr size_t dhcp_options = dhcp_start + 240;

TEST(EthernetPort, GivesTheHostItsAddress)
{
    EthernetPort port = open_port();
    const std::string wants_own = std::string{50, 4} + address("10.64.1.2");
    const std::string offer = port.take(dhcp(1, "")).answer;
    ASSERT_GT(offer.size(), dhcp_options);
    EXPECT_EQ(sum_of(offer.substr(14, 20)), 0);
    EXPECT_EQ(offer.substr(dhcp_start + 4, 4), "1234");
    EXPECT_EQ(offer.substr(dhcp_start + 16, 4), address("10.64.1.2"));
    EXPECT_EQ(offer.substr(dhcp_options),
              std::string({53, 1, 2, 54, 4}) + address("10.64.1.1") + std::string({51, 4, 0, 0, 0x1c, 0x20, 1, 4}) +
                  address("255.255.255.252") + std::string({3, 4}) + address("10.64.1.1") + std::string({6, 8}) +
                  address("10.99.0.53") + address("10.99.0.54") + '\xff');
    const auto kind_of = [&](const std::string &request) {
        const std::string answer = port.take(request).answer;
        return answer.size() > dhcp_options + 2 ? static_cast<int>(answer[dhcp_options + 2]) : 0;
    };
    EXPECT_EQ(kind_of(dhcp(3, wants_own)), 5);
    EXPECT_EQ(kind_of(dhcp(3, "", "10.64.1.2")), 5);
    EXPECT_EQ(kind_of(dhcp(3, std::string{50, 4} + address("10.64.1.6"))), 6);
    EXPECT_EQ(kind_of(dhcp(7, wants_own)), 0); // it gives the address back
    port.set_session(std::nullopt);
    EXPECT_EQ(kind_of(dhcp(1, "")), 0);
}

std::string ipv6_frame(const std::string &from, const std::string &message)
{
    return everybody + host + number(0x86dd, 2) + number(0x60000000, 4) +
           number(static_cast<uint32_t>(message.size()), 2) + number(58U << 8 | 255, 2) + address(from) +
           address("ff02::2") + message;
}

void expect_right_sum(const std::string &frame)
{
    const std::string message = frame.substr(14 + 40);
    EXPECT_EQ(
        sum_of(frame.substr(14 + 8, 32) + number(static_cast<uint32_t>(message.size()), 4) + number(58, 4) + message),
        0);
}

TEST(EthernetPort, AnswersSearchesOfIpv6)
{
    EthernetPort port = open_port();
    const auto ask = [&](const std::string &from, const std::string &wanted) {
        return port.take(ipv6_frame(from, number(135U << 24, 4) + number(0, 4) + address(wanted))).answer;
    };
    const std::string answer = ask("fd64:1::2", "fd64:1::1");
    ASSERT_EQ(answer.size(), 14U + 40 + 32);
    EXPECT_EQ(answer.substr(14 + 40 + 8), address("fd64:1::1") + "\2\1" + modem);
    expect_right_sum(answer);
    EXPECT_EQ(ask("::", "fd64:1::2"), "");
    EXPECT_EQ(ask("fe80::5", "fd64:1::2"), "");
    const std::string router = port.take(ipv6_frame("fe80::5", number(133U << 24, 4) + number(0, 4))).answer;
    ASSERT_EQ(router.size(), 14U + 40 + 56);
    EXPECT_EQ(router.substr(14 + 40 + 32, 16), address("fd64:1::"));
    expect_right_sum(router);
}

// A host may send anything.
TEST(EthernetPort, ReadsFramesThatAreCutAnywhere)
{
    for (const std::string &whole :
         {search("10.99.0.1"), dhcp(1, std::string{50, 4} + address("10.64.1.2")), dhcp(3, std::string{50, '\xff'}),
          ipv6_frame("fe80::5", number(135U << 24, 4) + number(0, 4) + address("fd64:1::1"))})
        for (size_t size = 0; size < whole.size(); size++) {
            EthernetPort port = open_port();
            port.take(std::string(whole, 0, size));
        }
}

// The name server

TEST(OperatorServer, KnowsOneAddressForEveryName)
{
    const std::string name = std::string{1, 'a', 2, 'b', 'c', 0};
    const std::string head = "id" + number(0x0100, 2) + number(0x0001, 2) + std::string(6, '\0');
    const std::string asked = name + number(1, 2) + number(1, 2);
    EXPECT_EQ(answer_name_question(head + asked), "id" + number(0x8180, 2) + number(0x00010001, 4) + number(0, 4) +
                                                      asked + number(0xc00c0001, 4) + number(1, 2) + number(60, 4) +
                                                      number(4, 2) + address("10.99.0.1"));
    const std::string other = name + number(16, 2) + number(1, 2);
    EXPECT_EQ(answer_name_question(head + other),
              "id" + number(0x8180, 2) + number(0x00010000, 4) + number(0, 4) + other);
    for (size_t size = 0; size < head.size() + asked.size(); size++)
        EXPECT_EQ(answer_name_question((head + asked).substr(0, size)), "") << size;
}

} // namespace uplink_test
