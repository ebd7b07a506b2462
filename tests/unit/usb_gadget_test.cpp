#include <algorithm>
#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <set>
#include <sys/socket.h>

#include "simulator/kernel/archive.h"
#include "simulator/modem/profiles_folder.h"
#include "simulator/usb/modem_gadget.h"
#include "simulator/usb/usb_server.h"

namespace usb_gadget_test {

using namespace simulator;
using Texts = std::vector<std::string>;

/// The descriptors of that kind in a configuration, without their two head bytes.
Texts descriptors_of(const std::string &configuration, uint8_t kind)
{
    Texts found;
    for (size_t at = 0; at + 1 < configuration.size();) {
        const auto length = static_cast<uint8_t>(configuration[at]);
        if (length < 2)
            break;
        if (static_cast<uint8_t>(configuration[at + 1]) == kind)
            found.push_back(configuration.substr(at + 2, length - 2U));
        at += length;
    }
    return found;
}

TEST(ModemLayout, SaysWhatTheKernelsDriversLookAt)
{
    const ModemLayout layout = modem_layout(load_profile(find_profiles({}), "EC25"));
    EXPECT_EQ(layout.descriptors.device,
              std::string({18, 1, 0, 2, '\xef', 2, 1, 64, '\x7c', 0x2c, 0x25, 1, 0x18, 3, 1, 2, 0, 1}));
    // number, alternate, endpoints, class: the diagnostics, three serial ports, QMI
    EXPECT_EQ(descriptors_of(layout.descriptors.configuration, 4), (Texts{{0, 0, 2, '\xff', '\xff', '\xff', 0},
                                                                          {1, 0, 3, '\xff', 0, 0, 0},
                                                                          {2, 0, 3, '\xff', 0, 0, 0},
                                                                          {3, 0, 3, '\xff', 0, 0, 0},
                                                                          {4, 0, 3, '\xff', '\xff', '\xff', 0}}));
}

// ECM: the pair of interfaces, the version, which belong together, the address; then the data interface off and on.
TEST(ModemLayout, DescribesAnEthernetFunction)
{
    const ModemLayout layout = modem_layout(load_profile(find_profiles({}), "EC200T"));
    const std::string &configuration = layout.descriptors.configuration;
    EXPECT_EQ(descriptors_of(configuration, 11), Texts{std::string({0, 2, 2, 6, 0, 0})});
    EXPECT_EQ(descriptors_of(configuration, 0x24),
              (Texts{{0, 0x10, 1}, {6, 0, 1}, {15, 3, 0, 0, 0, 0, '\xea', 5, 0, 0, 0}}));
    EXPECT_EQ(layout.descriptors.texts.at(3), "02000000000A");
    EXPECT_EQ(descriptors_of(configuration, 4), (Texts{{0, 0, 1, 2, 6, 0, 0},
                                                       {1, 0, 0, 10, 0, 0, 0},
                                                       {1, 1, 2, 10, 0, 0, 0},
                                                       {2, 0, 3, '\xff', 0, 0, 0},
                                                       {3, 0, 3, '\xff', 0, 0, 0},
                                                       {4, 0, 3, '\xff', 0, 0, 0}}));
}

// The maker's driver makes Ethernet devices of both of these, the kernel's one of QMI a control channel of the first.
TEST(ModemLayout, GivesQmiItsChannelWhereAMakersDriverHidesIt)
{
    const ModemLayout layout = modem_layout(load_profile(find_profiles({}), "MC7430"));
    const Texts interfaces = descriptors_of(layout.descriptors.configuration, 4);
    ASSERT_EQ(interfaces.size(), 5u);
    EXPECT_EQ(interfaces[3], std::string({8, 0, 3, '\xff', '\xff', '\xff', 0}));
    EXPECT_EQ(interfaces[4], std::string({10, 0, 0, '\xff', '\xff', '\xff', 0}));
    EXPECT_TRUE(layout.endpoints[3].has_messages);
    EXPECT_FALSE(layout.endpoints[4].has_messages);
}

// The kernel refuses a configuration whose lengths are wrong, and a second endpoint of the same number.
TEST(ModemLayout, IsWholeForEveryProfile)
{
    for (const Profile &profile : list_profiles(find_profiles({}))) {
        const ModemLayout layout = modem_layout(profile);
        const std::string &configuration = layout.descriptors.configuration;
        EXPECT_EQ(little_endian(static_cast<uint32_t>(configuration.size()), 2), configuration.substr(2, 2))
            << profile.name;
        std::set<char> numbers;
        for (const std::string &interface : descriptors_of(configuration, 4))
            numbers.insert(interface[0]);
        EXPECT_EQ(static_cast<size_t>(configuration[4]), numbers.size()) << profile.name;
        for (const Interface &interface : profile.interfaces)
            EXPECT_TRUE(numbers.contains(static_cast<char>(interface.number))) << profile.name;
        std::set<char> addresses;
        const Texts endpoints = descriptors_of(configuration, 5);
        for (const std::string &endpoint : endpoints) {
            EXPECT_TRUE(addresses.insert(endpoint[0]).second) << profile.name;
            EXPECT_NE(endpoint[0] & 0x0f, 0) << profile.name;
        }
        size_t counted = 0;
        for (const std::string &interface : descriptors_of(configuration, 4))
            counted += static_cast<size_t>(interface[2]);
        EXPECT_EQ(counted, endpoints.size()) << profile.name;
    }
}

TEST(UsbBuses, AreThoseThatTheControllerCanTellApart)
{
    EXPECT_EQ(check_usb_buses({"1-1.2", "1-1.7", "1-3", "1-15"}), "");
    for (const char *bus : {"2-1.2", "1-1", "1-1.1", "1-1.8", "1-16", "1-1.2.3", "1-2.2", "3-1", ""})
        EXPECT_EQ(check_usb_buses({bus}),
                  std::string("--kernel: its controller has the buses 1-1.2 to 1-1.7 and 1-2 to 1-15, not ") + bus);
    EXPECT_EQ(check_usb_buses({"1-1.3", "1-3"}),
              "--kernel: its controller cannot tell 1-3 from the other bus that ends in 3");
}

// The kernel's side of the connection

std::string big_endian(uint32_t number)
{
    const std::string reversed = little_endian(number, 4);
    return {reversed.rbegin(), reversed.rend()};
}

/// A transfer as the kernel submits it.
std::string transfer(uint32_t number, bool to_host, uint32_t endpoint, uint32_t length, const std::string &setup,
                     const std::string &bytes = {})
{
    return big_endian(1) + big_endian(number) + big_endian(0) + big_endian(to_host ? 1 : 0) + big_endian(endpoint) +
           big_endian(0) + big_endian(length) + std::string(12, '\0') + setup + bytes;
}

std::string reply_to(uint32_t number, int status, const std::string &bytes, size_t taken = 0)
{
    return big_endian(3) + big_endian(number) + std::string(12, '\0') + big_endian(static_cast<uint32_t>(status)) +
           big_endian(static_cast<uint32_t>(bytes.size() + taken)) + std::string(20, '\0') + bytes;
}

/// An EC25 whose host writes to a socket.
class GadgetOnASocket : public testing::Test {
  protected:
    GadgetOnASocket()
    {
        std::array<int, 2> ends;
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
        kernel_ = Fd(ends[0]);
        gadget_.serve(Fd(ends[1]));
    }
    std::string say(const std::string &bytes)
    {
        EXPECT_EQ(send(kernel_.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        loop_.run_once(0);
        std::array<char, 4096> buffer;
        const ssize_t count = recv(kernel_.get(), buffer.data(), buffer.size(), 0);
        return {buffer.data(), static_cast<size_t>(std::max<ssize_t>(count, 0))};
    }

    EventLoop loop_;
    Fd kernel_;
    std::string received_;
    ModemLayout layout_ = modem_layout(load_profile(find_profiles({}), "EC25"));
    ModemGadget gadget_{loop_,
                        0,
                        layout_,
                        {.received = [this](int, std::string_view bytes) { received_ += bytes; },
                         .frame = [](int, std::string_view) {},
                         .room = [](int) {},
                         .dtr_lost = [](int) {}}};
};

const std::string device_request = {'\x80', 6, 0, 1, 0, 0, 18, 0};
const std::string unknown_request = {'\x80', 99, 0, 0, 0, 0, 18, 0};

TEST_F(GadgetOnASocket, AnswersTransfersWhereverTheirBytesAreParted)
{
    const std::string &device = layout_.descriptors.device;
    const std::string asked = transfer(7, true, 0, 18, device_request);
    EXPECT_EQ(say(asked), reply_to(7, 0, device));
    EXPECT_EQ(say(transfer(8, true, 0, 4, device_request)), reply_to(8, 0, device.substr(0, 4)));
    EXPECT_EQ(say(transfer(9, true, 0, 18, unknown_request)), reply_to(9, -EPIPE, ""));
    const std::string written = transfer(10, false, 1, 3, std::string(8, '\0'), "AT\r");
    for (const size_t size : {1, 11, 47, 48, 49}) {
        EXPECT_EQ(say(written.substr(0, size)), "");
        EXPECT_EQ(say(written.substr(size)), reply_to(10, 0, "", 3));
    }
    EXPECT_EQ(say(asked + asked), reply_to(7, 0, device) + reply_to(7, 0, device));
    EXPECT_EQ(received_, "AT\rAT\rAT\rAT\rAT\r");
}

// As when the driver hears of a message, and its channel is closed before it has fetched that.
TEST_F(GadgetOnASocket, TellsAgainOfAMessageThatNobodyFetches)
{
    constexpr int channel = 4;
    const auto found = std::ranges::find(layout_.endpoints, channel, &InterfaceEndpoints::interface);
    ASSERT_NE(found, layout_.endpoints.end());
    const std::string notice = {'\xa1', 1, 0, 0, channel, 0, 0, 0};
    const std::string fetch = {'\xa1', 1, 0, 0, channel, 0, 64, 0};
    const auto listen = [&](uint32_t number) {
        return say(transfer(number, true, static_cast<uint32_t>(found->notify & 0x0f), 16, std::string(8, '\0')));
    };
    gadget_.send_to_host(channel, "missed");
    EXPECT_EQ(listen(1), reply_to(1, 0, notice));
    gadget_.send_to_host(channel, "answer");
    EXPECT_EQ(listen(2), reply_to(2, 0, notice));
    EXPECT_EQ(say(transfer(3, true, 0, 64, fetch)), reply_to(3, 0, "missed"));
    EXPECT_EQ(listen(4), reply_to(4, 0, notice));
    EXPECT_EQ(say(transfer(5, true, 0, 64, fetch)), reply_to(5, 0, "answer"));
    EXPECT_EQ(listen(6), "");
    EXPECT_EQ(say(transfer(7, true, 0, 64, fetch)), reply_to(7, 0, ""));
}

TEST_F(GadgetOnASocket, EndsTheConnectionAtAMessageThatItDoesNotKnow)
{
    EXPECT_EQ(say(big_endian(9) + transfer(7, true, 0, 18, device_request).substr(4)), "");
    char byte = 0;
    EXPECT_EQ(recv(kernel_.get(), &byte, 1, 0), 0);
}

TEST(UsbMessages, ArriveWholeAndEndWithTheOtherSide)
{
    std::array<int, 2> ends;
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);
    Fd one(ends[0]);
    const Fd other(ends[1]);
    EXPECT_FALSE(take_message(other));
    ASSERT_TRUE(send_message(one, {UsbMessage::Kind::bytes, 3, 200, std::string("AT\r\0\xff", 5)}));
    ASSERT_TRUE(send_message(one, {UsbMessage::Kind::unplug, 1}));
    const auto first = take_message(other);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->kind, UsbMessage::Kind::bytes);
    EXPECT_EQ(first->modem, 3);
    EXPECT_EQ(first->interface, 200);
    EXPECT_EQ(first->bytes, std::string("AT\r\0\xff", 5));
    const auto second = take_message(other);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->kind, UsbMessage::Kind::unplug);
    EXPECT_EQ(second->bytes, "");
    one = Fd();
    EXPECT_FALSE(take_message(other));
    EXPECT_FALSE(send_message(other, {UsbMessage::Kind::plug}));
}

TEST(Archive, IsWhatAKernelUnpacks)
{
    Archive archive;
    archive.add_folder("modules");
    archive.add_file("job", "abc", 0644);
    const std::string zeros(4, '\0');
    EXPECT_EQ(archive.text(),
              "07070100000001000041ed000000000000000000000001000000000000000000000000000000000000000000000000"
              "0000000800000000modules" +
                  zeros.substr(0, 3) +
                  "07070100000002000081a40000000000000000000000010000000000000003000000000000000000000000000000"
                  "000000000400000000job" +
                  zeros.substr(0, 3) + "abc" + zeros.substr(0, 1) +
                  "070701000000000000000000000000000000000000000100000000000000000000000000000000000000000000"
                  "00000000000b00000000TRAILER!!!" +
                  zeros);
}

} // namespace usb_gadget_test
