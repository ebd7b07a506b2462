#include <gtest/gtest.h>

#include "modem_under_test.h"
#include "simulator/modem/profiles_folder.h"
#include "simulator/usb/dial.h"

namespace modem_call_test {

using namespace simulator;

constexpr char call_rows[] =
    "var dtr 2|0|1\n> AT\n\nOK\n> ATD*99***<cid:1-16>#\n@ call dial $cid\n\nCONNECT\n"
    "> ATH\n@ call end\n\nOK\n> ATO\n@ call resume\n\nCONNECT\n> ATE<n:0|1>\n@ set echo $n\n\nOK\n";

/// A modem that says what happens to its calls between the bytes.
class Caller {
  public:
    explicit Caller(const std::string &rows = call_rows) : modem_(small_profile(rows), {}) {}

    std::string say(std::string_view bytes)
    {
        modem_.receive(0, bytes, now_);
        return listen();
    }
    std::string answer(bool accepted)
    {
        modem_.answer_dial(0, accepted, now_);
        return listen();
    }
    std::string escape()
    {
        modem_.escape(0, now_);
        return listen();
    }
    std::string drop_dtr()
    {
        modem_.drop_dtr(0, now_);
        return listen();
    }
    std::string end()
    {
        modem_.end_call(0, now_);
        return listen();
    }
    void connect()
    {
        say("ATD*99***1#\r");
        answer(true);
    }

  private:
    std::string listen()
    {
        std::string text;
        now_ += 1000;
        for (const Event &event : modem_.take_due(now_))
            switch (event.kind) {
            case Event::Kind::bytes:
                text += event.bytes;
                break;
            case Event::Kind::dial:
                text += "[dial " + event.context + "]";
                break;
            case Event::Kind::online:
                text += "[online]";
                break;
            case Event::Kind::hold:
                text += "[hold]";
                break;
            case Event::Kind::hang_up:
                text += "[hang up]";
                break;
            default:
                text += "[?]";
            }
        return text;
    }

    Modem modem_;
    Milliseconds now_ = 0;
};

TEST(DataCall, ConnectsWhenTheNetworkAccepts)
{
    Caller caller;
    EXPECT_EQ(caller.say("ATD*99***3#\r"), "[dial 3]");
    EXPECT_EQ(caller.answer(true), "\r\nCONNECT\r\n[online]");
}

TEST(DataCall, EchoesItsCommandBeforeTheNetworkIsAsked)
{
    Caller caller;
    caller.say("ATE1\r");
    EXPECT_EQ(caller.say("ATD*99***1#\r"), "ATD*99***1#\r[dial 1]");
}

TEST(DataCall, IsRefusedAndTheModemTakesCommandsAgain)
{
    Caller caller;
    caller.say("ATD*99***1#\r");
    EXPECT_EQ(caller.answer(false), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(caller.say("AT\r"), "\r\nOK\r\n");
    EXPECT_EQ(caller.say("ATD*99***1#\r"), "[dial 1]");
}

TEST(DataCall, HasTheBytesOfItsInterface)
{
    Caller caller;
    caller.say("ATD*99***1#\r");
    EXPECT_EQ(caller.say("AT\r"), "");
    caller.answer(true);
    EXPECT_EQ(caller.say("AT\r~\x7d\xff"), "");
    EXPECT_EQ(caller.end(), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(caller.say("AT\r"), "\r\nOK\r\n");
}

TEST(DataCall, WaitsForCommandsAfterAnEscape)
{
    Caller caller;
    caller.connect();
    EXPECT_EQ(caller.escape(), "[hold]\r\nOK\r\n");
    EXPECT_EQ(caller.say("AT\r"), "\r\nOK\r\n");
    EXPECT_EQ(caller.say("ATD*99***1#\r"), "\r\nERROR\r\n");
    EXPECT_EQ(caller.say("ATO\r"), "\r\nCONNECT\r\n[online]");
    EXPECT_EQ(caller.say("AT\r"), "");
    caller.escape();
    EXPECT_EQ(caller.say("ATH\r"), "\r\nOK\r\n[hang up]");
    EXPECT_EQ(caller.say("ATO\r"), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(caller.say("ATH\r"), "\r\nOK\r\n");
}

TEST(DataCall, CanEndWhileItWaits)
{
    Caller caller;
    caller.connect();
    caller.escape();
    EXPECT_EQ(caller.end(), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(caller.say("ATO\r"), "\r\nNO CARRIER\r\n");
}

TEST(DataCall, EndsHoldsOrGoesOnWithoutDtr)
{
    const struct {
        const char *dtr;
        const char *expected;
    } rows[] = {{"2", "[hang up]\r\nNO CARRIER\r\n"}, {"1", "[hold]\r\nOK\r\n"}, {"0", ""}};
    for (const auto &row : rows) {
        Caller caller(std::string(call_rows) + "> ATX\n@ set dtr " + row.dtr + "\n\nOK\n");
        caller.say("ATX\r");
        EXPECT_EQ(caller.drop_dtr(), "") << row.dtr;
        caller.connect();
        EXPECT_EQ(caller.drop_dtr(), row.expected) << row.dtr;
    }
}

TEST(DataCall, TakesNoNewsThatItDoesNotWaitFor)
{
    Caller caller;
    EXPECT_EQ(caller.answer(true) + caller.answer(false) + caller.end() + caller.escape() + caller.drop_dtr(), "");
    caller.connect();
    EXPECT_EQ(caller.answer(true) + caller.answer(false), "");
}

TEST(DataCall, IsWrittenAsADirective)
{
    EXPECT_THROW(small_profile("> ATD\n@ call dial\n\nCONNECT\n"), ProfileError);
    EXPECT_THROW(small_profile("> ATD\n@ call dial $nobody\n\nCONNECT\n"), ProfileError);
    EXPECT_THROW(small_profile("> ATD\n@ call end 1\n\nOK\n"), ProfileError);
    EXPECT_THROW(small_profile("> ATD\n@ call wait\n\nOK\n"), ProfileError);
}

TEST(DataCall, NeedsACardAndANetwork)
{
    const struct {
        const char *name;
        const char *value;
    } rows[] = {{"pin", "SIM PIN"}, {"rat", "NOSERVICE"}, {"ps_registration", "3"}, {"cfun", "4"}};
    for (const auto &row : rows) {
        ModemOptions options;
        options.variables[row.name] = row.value;
        ModemUnderTest modem(load_profile(find_profiles({}), "EC25"), options);
        modem.say("ATE0\r");
        EXPECT_EQ(modem.say("ATD*99***1#\r"), "\r\nNO CARRIER\r\n") << row.name;
    }
}

TEST(EscapeWatch, WantsThreePlusesBetweenTwoSilences)
{
    struct Piece {
        int64_t at;
        const char *bytes;
    };
    const struct {
        const char *what;
        std::vector<Piece> pieces;
        std::optional<int64_t> due;
    } rows[] = {
        {"nothing", {}, std::nullopt},
        {"at once", {{5000, "+++"}}, 6000},
        {"one by one", {{5000, "+"}, {5100, "+"}, {5200, "+"}}, 6200},
        {"without a silence before", {{5000, "x"}, {5999, "+++"}}, std::nullopt},
        {"just enough silence", {{5000, "x"}, {6000, "+++"}}, 7000},
        {"without a silence after", {{5000, "+++"}, {5999, "~"}}, std::nullopt},
        {"too many", {{5000, "++++"}}, std::nullopt},
        {"too few", {{5000, "++"}}, std::nullopt},
        {"among others", {{5000, "+++ATH"}}, std::nullopt},
        {"in a stream", {{5000, "abc"}, {5010, "+++"}, {5020, "def"}}, std::nullopt},
    };
    for (const auto &row : rows) {
        EscapeWatch watch;
        for (const Piece &piece : row.pieces)
            watch.see(piece.bytes, piece.at);
        EXPECT_EQ(watch.due_ms(), row.due) << row.what;
    }
}

TEST(DialPeer, DemandsWhatTheNetworkDoes)
{
    using Words = std::vector<std::string>;
    DialPeer peer{.address = "10.64.1.1", .host_address = "10.64.1.2", .name_server = "10.99.0.53"};
    const Words head = {"/usr/sbin/pppd", "/dev/pts/0",     "nodetach", "local",     "nocrtscts",
                        "noccp",          "nodefaultroute", "ms-dns",   "10.99.0.53"};
    const auto with = [&](Words more) {
        Words words = head;
        words.insert(words.end(), more.begin(), more.end());
        words.emplace_back("10.64.1.1:10.64.1.2");
        return words;
    };
    EXPECT_EQ(dial_peer_words(peer, "/dev/pts/0"), with({"noauth"}));
    peer.user = "tele\"2";
    EXPECT_EQ(dial_peer_words(peer, "/dev/pts/0"), with({"require-pap"}));
    EXPECT_EQ(dial_peer_secrets(peer), "\"tele\\\"2\" * \"\" *\n");
    peer.password = "a b\\";
    EXPECT_EQ(dial_peer_words(peer, "/dev/pts/0"), with({"require-chap", "require-pap"}));
    EXPECT_EQ(dial_peer_secrets(peer), "\"tele\\\"2\" * \"a b\\\\\" *\n");
    peer.user.reset();
    EXPECT_EQ(dial_peer_secrets(peer), "* * \"a b\\\\\" *\n");
}

} // namespace modem_call_test
