#include "simulator/network/name_servers.h"

#include <gtest/gtest.h>

namespace name_servers_test {

using simulator::answer_frame;
using simulator::NameServers;
using Way = NameServers::Way;

std::string text(std::initializer_list<int> bytes)
{
    return {bytes.begin(), bytes.end()};
}

const std::string router_mac = text({0x0a, 1, 2, 3, 4, 5});
const std::string far_mac = text({2, 0, 0, 0, 0, 1});
const std::string router_ip = text({10, 64, 1, 2});
const std::string own_ip = text({10, 64, 1, 1});
const std::string other_ip = text({9, 9, 9, 9});

std::string packet(char protocol, const std::string &from, const std::string &to, const std::string &content)
{
    const auto length = static_cast<char>(20 + content.size());
    return text({0x45, 0, 0, length, 0, 0, 0, 0, 64, protocol, 0x12, 0x34}) + from + to + content;
}

// A question to port 53: its id, the flags, one question ...
std::string question(const std::string &server)
{
    const std::string dns = text({0x12, 0x34, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 'a', 0, 0, 1, 0, 1});
    return far_mac + router_mac + text({8, 0}) +
           packet(17, router_ip, server, text({0x80, 1, 0, 53, 0, 27, 0x55, 0x66}) + dns);
}

std::string answer(const std::string &server, int failure)
{
    const std::string dns = text({0x12, 0x34, 0x81, failure, 0, 1, 0, 0, 0, 0, 0, 0, 1, 'a', 0, 0, 1, 0, 1});
    return router_mac + far_mac + text({8, 0}) +
           packet(17, server, router_ip, text({0, 53, 0x80, 1, 0, 27, 0, 0}) + dns);
}

NameServers servers(NameServers::Behaviour own, NameServers::Behaviour others = {Way::answer})
{
    return {.own = own, .others = others, .own_address = "10.64.1.1"};
}

TEST(NameServers, AnswerFailOrStaySilent)
{
    NameServers all = servers({Way::answer}, {Way::failure});
    EXPECT_EQ(answer_frame(question(own_ip), all), answer(own_ip, 0));
    EXPECT_EQ(answer_frame(question(other_ip), all), answer(other_ip, 2));
    NameServers silent = servers({Way::silent});
    EXPECT_EQ(answer_frame(question(own_ip), silent), "");
    EXPECT_EQ(answer_frame(question(other_ip), silent), answer(other_ip, 0));
    NameServers none;
    EXPECT_EQ(answer_frame(question(own_ip), none), "");
}

TEST(NameServers, AnswerSoManyQuestions)
{
    NameServers few = servers({Way::answer, 2});
    EXPECT_NE(answer_frame(question(own_ip), few), "");
    EXPECT_NE(answer_frame(question(own_ip), few), "");
    EXPECT_EQ(answer_frame(question(own_ip), few), "");
    EXPECT_NE(answer_frame(question(other_ip), few), "");
}

TEST(NameServers, AreFoundByTheirHardwareAddress)
{
    const auto search = [](int operation, const std::string &from, const std::string &to) {
        return text({8, 6, 0, 1, 8, 0, 6, 4, 0, operation}) + from + to;
    };
    const std::string nobody(6, '\0');
    NameServers silent = servers({Way::silent});
    EXPECT_EQ(
        answer_frame(std::string(6, '\xff') + router_mac + search(1, router_mac + router_ip, nobody + own_ip), silent),
        router_mac + far_mac + search(2, far_mac + own_ip, router_mac + router_ip));
}

TEST(NameServers, AnswerAnEcho)
{
    const auto echo = [](int type, int checksum) {
        return text({type, 0, checksum, 0x10, 0x12, 0x34, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    };
    NameServers silent = servers({Way::silent});
    EXPECT_EQ(answer_frame(far_mac + router_mac + text({8, 0}) + packet(1, router_ip, other_ip, echo(8, 0x20)), silent),
              router_mac + far_mac + text({8, 0}) + packet(1, other_ip, router_ip, echo(0, 0x28)));
}

TEST(NameServers, DoNotAnswerWhatIsCutOrOfAnotherKind)
{
    NameServers all = servers({Way::answer});
    const std::string whole = question(own_ip);
    for (size_t length = 0; length < 14 + 20 + 8 + 12; length++)
        EXPECT_EQ(answer_frame(whole.substr(0, length), all), "") << length;
    std::string other_port = whole;
    other_port[14 + 20 + 3] = 54;
    std::string ipv6 = whole;
    ipv6[12] = '\x86';
    EXPECT_EQ(answer_frame(other_port, all), "");
    EXPECT_EQ(answer_frame(ipv6, all), "");
}

} // namespace name_servers_test
