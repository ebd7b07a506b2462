#include <algorithm>
#include <gtest/gtest.h>

#include "simulator/modem/profiles_folder.h"
#include "simulator/usb/qmi_modem.h"

namespace qmi_modem_test {

using namespace simulator;
using Texts = std::vector<std::string>;

/// A request as a host writes it.
std::string request_text(uint8_t service, uint8_t client, uint16_t message, const std::string &values)
{
    const bool is_control = service == qmi_control;
    const std::string inner = std::string(1, '\0') + little_endian(7, is_control ? 1 : 2) + little_endian(message, 2) +
                              little_endian(static_cast<uint32_t>(values.size()), 2) + values;
    return '\1' + little_endian(static_cast<uint32_t>(5 + inner.size()), 2) +
           std::string{0, static_cast<char>(service), static_cast<char>(client)} + inner;
}

/// What the modem sent, in the same form as a request.
struct Sent {
    int error = -1; ///< none in an indication
    QmiRequest message{};
};

class QmiOfEc25 : public testing::Test {
  protected:
    void start(const Values &variables = {}, LinkDemand demand = {})
    {
        ModemOptions options{};
        options.variables = variables;
        modem_.emplace(load_profile(find_profiles({}), "EC25"), options, 0);
        qmi_.emplace(
            *modem_, std::move(demand), 1,
            QmiModem::Host{.send =
                               [this](std::string_view text) {
                                   const auto message = parse_qmi_request(text);
                                   ASSERT_TRUE(message);
                                   sent_.push_back({.message = *message});
                                   if (const auto error = message->number(2, 2, 2))
                                       sent_.back().error = static_cast<int>(*error);
                               },
                           .open_line = [this](const LineOrder &order) { lines_ += '+' + order.credentials.apn; },
                           .close_line = [this] { lines_ += '-'; }});
        for (const uint8_t service : {qmi_data, qmi_device, qmi_network, qmi_messages, qmi_card, qmi_framing})
            client(service);
        qmi_->look(0);
        sent_.clear();
    }
    uint8_t client(uint8_t service)
    {
        qmi_->receive(request_text(qmi_control, 0, 0x22, qmi_number(1, service, 1)), 0);
        return static_cast<uint8_t>(sent_.back().message.number(1, 1, 1).value_or(0));
    }
    /// The answer; what was sent besides stays in sent_.
    Sent ask(uint8_t service, uint16_t message, const std::string &values = {}, uint8_t client = 1)
    {
        qmi_->receive(request_text(service, service == qmi_control ? 0 : client, message, values), 0);
        const auto answer = std::ranges::find_if(sent_, [](const Sent &one) { return one.error >= 0; });
        if (answer == sent_.end())
            return {};
        Sent taken = *answer;
        sent_.erase(answer);
        return taken;
    }
    int error_of(uint8_t service, uint16_t message, const std::string &values = {})
    {
        return ask(service, message, values).error;
    }
    Sent connect(const std::string &apn, const std::string &more = {})
    {
        return ask(qmi_data, 0x20, qmi_value(0x14, apn) + qmi_number(0x19, 4, 1) + more);
    }
    /// The indications since last time: service and message.
    Texts told()
    {
        qmi_->look(0);
        Texts texts;
        for (const Sent &one : std::exchange(sent_, {}))
            texts.push_back(std::to_string(one.message.service) + '/' + std::to_string(one.message.message));
        return texts;
    }

    std::optional<Modem> modem_;
    std::optional<QmiModem> qmi_;
    std::vector<Sent> sent_;
    std::string lines_; ///< opened "+APN" and closed "-"
};

TEST_F(QmiOfEc25, TellsWhatAtCommandsTell)
{
    start({{"imei", "861536030000000"}});
    EXPECT_EQ(ask(qmi_device, 0x25).message.value(0x11), "861536030000000");
    EXPECT_EQ(ask(qmi_device, 0x22).message.value(1), "EC25");
    // "+QCSQ: "LTE",51,-86,118,-11": RSSI -51, RSRQ -11, RSRP -86, SNR 3.6
    EXPECT_EQ(ask(qmi_network, 0x4f).message.value(0x14), "\xcd\xf5\xaa\xff\x24" + std::string(1, '\0'));
    EXPECT_EQ(ask(qmi_network, 0x24).message.value(0x12), std::string("\xe8\0\3\0\x0aT-Mobile A", 15));
    EXPECT_EQ(ask(qmi_card, 0x20, qmi_value(2, "\xe2\x2f") + qmi_value(3, std::string(4, '\0'))).message.value(0x11),
              std::string("\x0a\0\x98\x34\x30\0\0\x21\x43\x65\x87\x09", 12));
}

TEST_F(QmiOfEc25, RefusesWhatItDoesNotKnow)
{
    start();
    EXPECT_EQ(error_of(qmi_device, 0x5555), qmi_unknown_message);
    EXPECT_EQ(error_of(qmi_control, 0x5555), qmi_unknown_message);
    EXPECT_EQ(error_of(qmi_control, 0x22, qmi_number(1, 0x77, 1)), qmi_invalid_service);
    EXPECT_EQ(error_of(qmi_control, 0x22), qmi_malformed);
    EXPECT_EQ(ask(qmi_device, 0x25, {}, 9).error, qmi_invalid_client);
}

TEST_F(QmiOfEc25, ConnectsWithTheOperatorsApn)
{
    start({}, {.apn = "internet"});
    const Sent refused = connect("wrong");
    EXPECT_EQ(refused.error, qmi_call_failed);
    EXPECT_EQ(refused.message.value(0x11), std::string("\6\0\x1b\0", 4)); // unknown APN
    EXPECT_EQ(ask(qmi_data, 0x22).message.value(1), "\1");
    EXPECT_EQ(ask(qmi_data, 0x2d).error, qmi_out_of_call);
    EXPECT_EQ(lines_, "");
    const Sent accepted = connect("internet");
    EXPECT_EQ(accepted.error, qmi_ok);
    EXPECT_EQ(lines_, "+internet");
    EXPECT_EQ(told(), Texts{"1/34"});
    EXPECT_EQ(ask(qmi_data, 0x22).message.value(1), "\2");
    EXPECT_EQ(ask(qmi_data, 0x2d).message.value(0x1e), std::string("\2\1\x40\x0a", 4));
    EXPECT_EQ(connect("internet").error, qmi_no_effect);
    EXPECT_EQ(error_of(qmi_data, 0x21, qmi_number(1, 1, 4)), qmi_invalid_handle);
    EXPECT_EQ(error_of(qmi_data, 0x21, qmi_value(1, accepted.message.value(1))), qmi_ok);
    EXPECT_EQ(lines_, "+internet-");
}

TEST_F(QmiOfEc25, TakesTheApnOfItsContext)
{
    start({{"apn_1", "internet"}}, {.apn = "internet"});
    EXPECT_EQ(ask(qmi_data, 0x20).error, qmi_ok);
    EXPECT_EQ(lines_, "+internet");
}

TEST_F(QmiOfEc25, SaysThatThePasswordIsWrong)
{
    start({}, {.apn = "internet", .username = "u", .password = "p"});
    const std::string user = qmi_value(0x17, "u");
    EXPECT_EQ(connect("internet", user + qmi_value(0x18, "q")).message.value(0x11), std::string("\6\0\x1d\0", 4));
    EXPECT_EQ(connect("internet", user + qmi_value(0x18, "p")).error, qmi_ok);
}

TEST_F(QmiOfEc25, LosesItsCallsWithTheNetwork)
{
    start();
    connect("internet");
    told();
    modem_->ask("AT+CFUN=4", 0);
    EXPECT_EQ(told(), (Texts{"1/34", "3/36", "3/78", "3/81"}));
    EXPECT_EQ(lines_, "+internet-");
    EXPECT_EQ(ask(qmi_device, 0x2d).message.value(1), "\1");
    EXPECT_EQ(connect("internet").message.value(0x11), std::string("\3\0\xd1\7", 4)); // no service
    EXPECT_EQ(error_of(qmi_device, 0x2e, qmi_number(1, 0, 1)), qmi_ok);
    EXPECT_EQ(modem_->variable("cfun"), "1");
    EXPECT_EQ(connect("internet").error, qmi_ok);
}

TEST_F(QmiOfEc25, EndsACallWithItsClient)
{
    start();
    const uint8_t other = client(qmi_data);
    EXPECT_EQ(other, 2);
    sent_.clear();
    connect("internet");
    ask(qmi_control, 0x23, qmi_value(1, std::string{qmi_data, static_cast<char>(other)}));
    EXPECT_EQ(lines_, "+internet");
    ask(qmi_control, 0x23, qmi_value(1, std::string{qmi_data, 1}));
    EXPECT_EQ(lines_, "+internet-");
    connect("internet");
    EXPECT_EQ(lines_, "+internet-");
}

TEST_F(QmiOfEc25, WantsThePin)
{
    start({{"pin", "SIM PIN"}});
    const auto verify = [&](const std::string &pin) {
        return ask(qmi_card, 0x26, qmi_value(1, std::string(2, '\0')) + qmi_value(2, '\1' + counted(pin)));
    };
    EXPECT_EQ(connect("internet").error, qmi_call_failed);
    EXPECT_EQ(verify("0000").error, qmi_incorrect_pin);
    EXPECT_EQ(modem_->variable("pin_tries"), "2");
    EXPECT_EQ(verify("1234\"\rAT").error, qmi_incorrect_pin);
    EXPECT_EQ(verify("1234").error, qmi_ok);
    EXPECT_EQ(told(), (Texts{"3/36", "3/78", "3/81", "11/50"}));
    EXPECT_EQ(connect("internet").error, qmi_ok);
}

// OpenWrt's client asks the older service first.
TEST_F(QmiOfEc25, WantsThePinByItsOlderServiceToo)
{
    start({{"pin", "SIM PIN"}});
    const auto verify = [&](const std::string &pin) {
        return error_of(qmi_device, 0x28, qmi_value(1, '\1' + counted(pin)));
    };
    const auto state = [&] { return ask(qmi_device, 0x2b).message.value(0x11); };
    EXPECT_EQ(state(), (std::string{1, 3, 10}));
    EXPECT_EQ(verify("0000"), qmi_incorrect_pin);
    EXPECT_EQ(state(), (std::string{1, 2, 10}));
    EXPECT_EQ(error_of(qmi_device, 0x28, qmi_value(1, std::string{1, 9, '1'})), qmi_incorrect_pin);
    EXPECT_EQ(verify("1234"), qmi_ok);
    EXPECT_EQ(state(), (std::string{2, 3, 10}));
    EXPECT_EQ(verify("1234"), qmi_no_effect);
    modem_->set_variable("pin", "SIM PUK");
    modem_->set_variable("pin_tries", "0");
    EXPECT_EQ(state(), (std::string{4, 0, 10}));
    modem_->set_variable("pin", "NOSIM");
    EXPECT_EQ(error_of(qmi_device, 0x2b), qmi_no_card);
}

TEST_F(QmiOfEc25, TellsOfAMessageThatComes)
{
    start();
    modem_->set_variable("sms_pdu_3", "0791");
    modem_->set_variable("sms_state_3", "0");
    EXPECT_EQ(told(), Texts{"5/1"});
    EXPECT_EQ(told(), Texts{});
    // the card's: place 3, not read
    EXPECT_EQ(ask(qmi_messages, 0x31, qmi_number(1, 0, 1)).message.value(1), std::string("\1\0\0\0\3\0\0\0\1", 9));
    EXPECT_EQ(ask(qmi_messages, 0x31, qmi_number(1, 1, 1)).message.value(1), std::string(4, '\0'));
    const std::string place = std::string("\0\3\0\0\0", 5);
    EXPECT_EQ(ask(qmi_messages, 0x22, qmi_value(1, place)).message.value(1), std::string("\1\6\2\0\7\x91", 6));
    EXPECT_EQ(error_of(qmi_messages, 0x24, qmi_number(1, 0, 1) + qmi_number(0x10, 3, 4)), qmi_ok);
    EXPECT_EQ(error_of(qmi_messages, 0x22, qmi_value(1, place)), qmi_no_entry);
}

TEST_F(QmiOfEc25, RepeatsOnlyTheClientThatItReleases)
{
    start();
    const Sent answer = ask(qmi_control, 0x23, qmi_value(1, std::string{qmi_data, 1} + std::string(60'000, 'x')));
    EXPECT_EQ(answer.message.value(1), (std::string{qmi_data, 1}));
}

TEST_F(QmiOfEc25, KeepsOnlyTextsThatAContextCanHold)
{
    start();
    const std::string fourth = qmi_value(1, std::string{0, 4});
    EXPECT_EQ(error_of(qmi_data, 0x27, qmi_value(0x14, "internet")), qmi_ok);
    EXPECT_EQ(modem_->variable("apn_4"), "internet");
    for (const std::string &wrong : {std::string(128, 'a'), std::string("a\r\n+CGDCONT: 3"), std::string("a\"b"),
                                     std::string("a\0b", 3), std::string("\xc3\xa4")})
        for (const uint8_t kind : {0x14, 0x1b, 0x1c}) {
            EXPECT_EQ(error_of(qmi_data, 0x27, qmi_value(kind, wrong)), qmi_invalid_argument) << wrong;
            EXPECT_EQ(error_of(qmi_data, 0x28, fourth + qmi_value(kind, wrong)), qmi_invalid_argument) << wrong;
        }
    EXPECT_EQ(error_of(qmi_data, 0x28, fourth + qmi_number(0x11, 1, 1)), qmi_invalid_argument); // PPP
    EXPECT_EQ(error_of(qmi_data, 0x28, fourth + qmi_number(0x11, 4, 1)), qmi_invalid_argument);
    EXPECT_EQ(modem_->variable("apn_4"), "internet");
    EXPECT_EQ(modem_->variable("pdp_5"), "");
    EXPECT_EQ(connect(std::string("a\0b", 3)).error, qmi_invalid_argument);
}

TEST_F(QmiOfEc25, DeletesAProfileWithItsPassword)
{
    start();
    ask(qmi_data, 0x27, qmi_value(0x14, "internet") + qmi_value(0x1b, "u") + qmi_value(0x1c, "p"));
    EXPECT_EQ(error_of(qmi_data, 0x29, qmi_value(1, std::string{0, 4})), qmi_ok);
    EXPECT_EQ(ask(qmi_data, 0x27).message.value(1), std::string("\0\4", 2));
    const Sent again = ask(qmi_data, 0x2b, qmi_value(1, std::string{0, 4}));
    EXPECT_EQ(again.message.value(0x14) + again.message.value(0x1b) + again.message.value(0x1c), "");
}

TEST_F(QmiOfEc25, KeepsItsFramingUntilItRestarts)
{
    start();
    const auto framing = [&] {
        client(qmi_framing);
        sent_.clear();
        return ask(qmi_framing, 0x21).message.number(0x11, 4);
    };
    EXPECT_EQ(framing(), 1U);
    ask(qmi_framing, 0x20, qmi_number(0x11, 2, 4));
    ask(qmi_control, 0x27);
    EXPECT_EQ(framing(), 2U);
    qmi_->forget();
    EXPECT_EQ(framing(), 1U);
}

// A host may send anything: every message, without its values, with ones that are too short, and cut anywhere.
TEST_F(QmiOfEc25, AnswersAnyValuesAndIgnoresWhatIsNoMessage)
{
    start();
    std::string junk;
    for (int kind = 0; kind < 0x40; kind++)
        junk += qmi_value(static_cast<uint8_t>(kind), "\xff");
    for (const auto &rows :
         {qmi_data_rows(), qmi_device_rows(), qmi_network_rows(), qmi_card_rows(), qmi_message_rows()})
        for (const QmiRow &row : rows)
            for (const std::string &values : {std::string(), junk})
                EXPECT_GE(error_of(row.service, row.message, values), 0) << row.service << ' ' << row.message;
    sent_.clear();
    const std::string whole = request_text(qmi_device, 1, 0x25, qmi_value(1, "abc"));
    for (size_t size = 0; size < whole.size(); size++)
        qmi_->receive(whole.substr(0, size), 0);
    qmi_->receive(whole + 'x', 0);
    qmi_->receive(request_text(qmi_device, 1, 0x25, "\1\xff\xff"), 0);
    constexpr size_t values_length = 11;
    for (const int more : {-1, 1}) {
        std::string lying = whole;
        lying[values_length] = static_cast<char>(lying[values_length] + more);
        qmi_->receive(lying, 0);
    }
    EXPECT_TRUE(sent_.empty());
}

TEST(LineOrder, ComesThroughAsAText)
{
    const LineOrder order{
        .framing = Framing::raw_ip,
        .credentials = {.apn = "internet", .user = "u", .context_apn = "c", .path = LinkDemand::Path::qmi}};
    const LineOrder parsed = parse_line_order(line_order_text(order));
    EXPECT_EQ(parsed.framing, Framing::raw_ip);
    EXPECT_EQ(parsed.credentials.apn, "internet");
    EXPECT_EQ(parsed.credentials.user, "u");
    EXPECT_EQ(parsed.credentials.password, "");
    EXPECT_EQ(parsed.credentials.context_apn, "c");
    EXPECT_EQ(parsed.credentials.path, LinkDemand::Path::qmi);
    EXPECT_EQ(parse_line_order("").credentials.apn, "");
}

} // namespace qmi_modem_test
