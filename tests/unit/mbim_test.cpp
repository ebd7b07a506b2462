#include <gtest/gtest.h>
#include <tuple>

#include "modem_under_test.h"
#include "simulator/modem/profiles_folder.h"
#include "simulator/usb/mbim_modem.h"

namespace mbim_test {

using namespace simulator;

std::string number(uint32_t value)
{
    return {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
            static_cast<char>(value >> 24)};
}

std::string wide(const std::string &text)
{
    std::string coded;
    for (const char character : text)
        coded += {character, '\0'};
    coded.resize((coded.size() + 3) / 4 * 4);
    return coded;
}

std::string message(uint32_t type, uint32_t transaction, const std::string &content)
{
    return number(type) + number(static_cast<uint32_t>(12 + content.size())) + number(transaction) + content;
}

const std::string open_message = message(1, 1, number(4096));

std::string command(uint32_t cid, bool is_set, const std::string &info)
{
    return message(3, 7,
                   number(1) + number(0) + std::string(mbim_basic_connect) + number(cid) + number(is_set) +
                       number(static_cast<uint32_t>(info.size())) + info);
}

ModemOptions options_with(const Values &variables)
{
    ModemOptions options;
    options.variables = variables;
    return options;
}

/// The modem and what it has told its host since the last look.
class Host {
  public:
    explicit Host(const Values &variables)
        : modem_(load_profile(find_profiles({}), "EM9190"), options_with(variables)),
          mbim_(modem_, {.apn = "internet", .username = "u", .password = "p"}, 1,
                {.send = [this](std::string_view text) { heard_.emplace_back(text); },
                 .open_line = [this](const LineOrder &order) { line_ = "open for " + order.credentials.apn; },
                 .close_line = [this] { line_ = "closed"; }})
    {
    }
    /// The one answer to a message.
    std::string say(const std::string &text)
    {
        heard_.clear();
        mbim_.receive(text, 0);
        return heard_.size() == 1 ? heard_[0] : std::to_string(heard_.size()) + " answers";
    }
    struct Result {
        uint32_t status;
        std::string info;
    };
    Result ask(uint32_t cid, bool is_set = false, const std::string &info = {})
    {
        const std::string answer = say(command(cid, is_set, info));
        const std::string head = number(7) + number(1) + number(0) + std::string(mbim_basic_connect) + number(cid);
        EXPECT_EQ(answer.substr(0, 4), number(0x80000003));
        EXPECT_EQ(answer.substr(4, 4), number(static_cast<uint32_t>(answer.size())));
        EXPECT_EQ(answer.substr(8, head.size()), head);
        if (answer.size() < 48)
            return {~0U, answer};
        EXPECT_EQ(answer.substr(44, 4), number(static_cast<uint32_t>(answer.size() - 48)));
        return {static_cast<uint8_t>(answer[40]), answer.substr(48)};
    }
    Result connect(const std::string &apn, const std::string &password)
    {
        const std::string texts = wide(apn) + wide("u") + wide(password);
        const auto at = [](size_t place) { return number(static_cast<uint32_t>(60 + place)); };
        const auto length = [](const std::string &text) { return number(static_cast<uint32_t>(2 * text.size())); };
        return ask(12, true,
                   number(0) + number(1) + at(0) + length(apn) + at(wide(apn).size()) + length("u") +
                       at(wide(apn).size() + wide("u").size()) + length(password) + number(0) + number(0) + number(1) +
                       std::string(16, '\1') + texts);
    }
    std::vector<std::string> look()
    {
        heard_.clear();
        mbim_.look();
        return heard_;
    }
    Modem &modem() { return modem_; }
    MbimModem &mbim() { return mbim_; }
    const std::string &line() const { return line_; }

  private:
    Modem modem_;
    MbimModem mbim_;
    std::vector<std::string> heard_;
    std::string line_ = "never opened";
};

TEST(MbimModem, AnswersNothingBeforeItIsOpened)
{
    Host host(Values{});
    EXPECT_EQ(host.say(command(1, false, "")), message(0x80000004, 7, number(5)));
    EXPECT_EQ(host.say(open_message), message(0x80000001, 1, number(0)));
    EXPECT_EQ(host.ask(1).status, 0U);
    EXPECT_EQ(host.say(message(2, 9, "")), message(0x80000002, 9, number(0)));
    EXPECT_EQ(host.say(command(1, false, "")), message(0x80000004, 7, number(5)));
}

TEST(MbimModem, TellsItsCardAndItsNetwork)
{
    Host host(Values{});
    host.say(open_message);
    // initialized; places and lengths of IMSI and ICCID, nothing special, no numbers
    EXPECT_EQ(host.ask(2).info, number(1) + number(28) + number(30) + number(60) + number(40) + number(0) + number(0) +
                                    wide("505011234567890") + wide("89610180001234567890"));
    // at home, automatic, LTE
    EXPECT_EQ(host.ask(9).info, number(0) + number(3) + number(1) + number(0x20) + number(1) + number(48) + number(10) +
                                    number(60) + number(14) + number(0) + number(0) + number(0) + wide("50501") +
                                    wide("Telstra"));
    EXPECT_EQ(host.ask(11).info, number(25) + number(99) + number(5) + number(1) + number(99));
    EXPECT_EQ(host.ask(6).info.substr(0, 16), number(32) + number(10) + number(1) + number(44));
    EXPECT_EQ(host.ask(10).info.substr(0, 12), number(0) + number(2) + number(0x20));
    EXPECT_EQ(host.ask(16).info.substr(0, 16), number(1) + number(0) + number(16) + number(80));
}

TEST(MbimModem, FollowsTheCardAndTheRadio)
{
    Host locked(Values{{"pin", "SIM PIN"}});
    locked.say(open_message);
    EXPECT_EQ(locked.ask(2).info.substr(0, 4), number(6));
    EXPECT_EQ(locked.ask(4).info, number(2) + number(1) + number(3));
    EXPECT_EQ(locked.ask(9).info.substr(4, 4), number(1));
    EXPECT_EQ(locked.connect("internet", "p").status, 7U);
    const auto enter = [&](const std::string &pin) {
        return locked.ask(4, true, number(2) + number(0) + number(24) + number(8) + number(0) + number(0) + wide(pin));
    };
    EXPECT_EQ(enter("9999").status, 2U);
    EXPECT_EQ(locked.ask(4).info, number(2) + number(1) + number(2));
    EXPECT_EQ(enter("1234").info, number(0) + number(0) + number(3));
    EXPECT_EQ(locked.ask(9).info.substr(4, 4), number(3));
    EXPECT_EQ(locked.ask(3, true, number(0)).info, number(1) + number(0));
    EXPECT_EQ(locked.modem().variable("cfun"), "4");
    EXPECT_EQ(locked.connect("internet", "p").status, 20U);
    Host without(Values{{"pin", "NOSIM"}});
    without.say(open_message);
    EXPECT_EQ(without.ask(2).info.substr(0, 4), number(2));
    EXPECT_EQ(without.ask(4).status, 3U);
}

TEST(MbimModem, ConnectsWithWhatTheNetworkDemands)
{
    Host host(Values{});
    host.say(open_message);
    EXPECT_EQ(host.ask(15, false, number(0)).status, 16U);
    EXPECT_EQ(host.connect("wrong", "p").status, 18U);
    EXPECT_EQ(host.connect("internet", "q").status, 19U);
    EXPECT_EQ(host.line(), "never opened");
    EXPECT_EQ(host.connect("internet", "p").info.substr(0, 8), number(0) + number(1));
    EXPECT_EQ(host.line(), "open for internet");
    const std::string configuration = host.ask(15, false, number(0)).info;
    ASSERT_EQ(configuration.size(), 80U);
    EXPECT_EQ(configuration.substr(0, 20), number(0) + number(15) + number(0) + number(1) + number(60));
    EXPECT_EQ(configuration.substr(60),
              number(30) + std::string("\x0a\x40\1\2\x0a\x40\1\1\x0a\x63\0\x35\x0a\x63\0\x36", 16));
    EXPECT_EQ(host.ask(12, true, number(0) + number(0) + std::string(52, '\0')).info.substr(0, 8),
              number(0) + number(3));
    EXPECT_EQ(host.line(), "closed");
    host.connect("internet", "p");
    host.say(message(2, 9, ""));
    EXPECT_EQ(host.line(), "closed");
}

TEST(MbimModem, TellsWhatHasChanged)
{
    Host host(Values{});
    EXPECT_TRUE(host.look().empty());
    host.say(open_message);
    EXPECT_TRUE(host.look().empty());
    host.modem().set_variable("csq_LTE", "9");
    const auto told = host.look();
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0], message(0x80000007, 0,
                               number(1) + number(0) + std::string(mbim_basic_connect) + number(11) + number(20) +
                                   number(9) + number(99) + number(5) + number(1) + number(99)));
    EXPECT_TRUE(host.look().empty());
    host.modem().set_variable("ps_registration", "3");
    EXPECT_EQ(host.look().size(), 2U); // the registration and the packet service
}

TEST(MbimModem, TellsNothingThatItsAnswerHasSaid)
{
    Host host(Values{});
    host.say(open_message);
    host.look();
    EXPECT_EQ(host.connect("internet", "p").status, 0U);
    EXPECT_TRUE(host.look().empty());
    EXPECT_EQ(host.ask(12, true, number(0) + number(0) + std::string(52, '\0')).status, 0U);
    EXPECT_TRUE(host.look().empty());
}

TEST(MbimModem, LosesItsConnectionWithTheNetwork)
{
    Host host(Values{});
    host.say(open_message);
    for (const auto &[name, lost, found] :
         {std::tuple("ps_registration", "3", "1"), std::tuple("attached", "0", "1"), std::tuple("cfun", "4", "1")}) {
        EXPECT_EQ(host.connect("internet", "p").status, 0U);
        EXPECT_EQ(host.line(), "open for internet");
        host.look();
        host.modem().set_variable(name, lost);
        const auto told = host.look();
        EXPECT_EQ(host.line(), "closed") << name;
        ASSERT_FALSE(told.empty());
        // of the connection: session 0, off
        EXPECT_EQ(told.back().substr(36, 4), number(12)) << name;
        EXPECT_EQ(told.back().substr(44, 8), number(0) + number(3)) << name;
        EXPECT_NE(host.connect("internet", "p").status, 0U) << name;
        host.modem().set_variable(name, found);
    }
}

TEST(MbimModem, MakesNoOtherCommandOfAPin)
{
    Host host(Values{{"pin", "SIM PUK"}, {"puk_code", "12345678"}});
    host.say(open_message);
    const auto enter = [&](uint32_t kind, const std::string &first, const std::string &second) {
        const auto at = [](size_t place) { return number(static_cast<uint32_t>(24 + place)); };
        const auto length = [](const std::string &text) { return number(static_cast<uint32_t>(2 * text.size())); };
        return host.ask(4, true,
                        number(kind) + number(0) + at(0) + length(first) + at(wide(first).size()) + length(second) +
                            wide(first) + wide(second));
    };
    EXPECT_EQ(enter(2, "12345678\",\"1111", "").status, 21U);
    EXPECT_EQ(enter(11, "12345678", "11\n11").status, 21U);
    EXPECT_EQ(host.modem().variable("pin"), "SIM PUK");
    EXPECT_EQ(enter(11, "12345678", "1111").status, 0U);
    EXPECT_EQ(host.modem().variable("pin"), "READY");
}

TEST(MbimModem, RefusesWhatItCannotRead)
{
    Host host(Values{});
    host.say(open_message);
    const std::string whole = command(12, true, std::string(60, '\xff'));
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_EQ(host.say(whole.substr(0, size)).substr(0, 4), number(0x80000004)) << size;
    EXPECT_EQ(host.ask(12, true, std::string(60, '\xff')).status, 21U);
    EXPECT_EQ(host.ask(4, true, number(2) + number(0) + std::string(16, '\xff')).status, 2U);
    EXPECT_EQ(host.ask(99).status, 9U);
    EXPECT_EQ(host.say(message(77, 5, "")), message(0x80000004, 5, number(6)));
    // the second of two fragments, and a length that is not that of the message
    EXPECT_EQ(host.say(message(3, 5, number(2) + number(1) + std::string(28, '\0'))),
              message(0x80000004, 5, number(2)));
    // the first of two: the second has the rest of its information
    EXPECT_EQ(host.say(message(3, 5,
                               number(2) + number(0) + std::string(mbim_basic_connect) + number(12) + number(1) +
                                   number(8000) + std::string(100, '\0'))),
              message(0x80000004, 5, number(2)));
    EXPECT_EQ(host.say(open_message + "x"), message(0x80000004, 0, number(3)));
}

} // namespace mbim_test
