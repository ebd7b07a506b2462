#include <gtest/gtest.h>

#include "simulator/router/options.h"

namespace simulator_options_test {

using namespace simulator;
using Arguments = std::vector<std::string>;

/// What parse_options has against the arguments; empty where it has nothing.
std::string complaint(const Arguments &arguments)
{
    try {
        parse_options(arguments);
    } catch (const OptionError &error) {
        return error.what();
    }
    return {};
}

TEST(SimrouterOptions, TakeEverythingBehindTheDashesAsTheCommand)
{
    const Options options = parse_options(Arguments{"--board", "condor", "--", "modemctl", "--modem", "--"});
    EXPECT_EQ(options.board, "condor");
    EXPECT_EQ(options.command, (Arguments{"modemctl", "--modem", "--"}));
    EXPECT_TRUE(options.modems.empty());
    EXPECT_TRUE(parse_options(Arguments{}).command.empty());
}

TEST(SimrouterOptions, TakeValuesBehindAnEqualsSignToo)
{
    EXPECT_EQ(parse_options(Arguments{"--board=condor"}).board, "condor");
    EXPECT_EQ(parse_options(Arguments{"--put-text=/tmp/a=b=c"}).puts.at(0).text, "b=c");
}

TEST(SimrouterOptions, PlugAModemIntoABus)
{
    const Options options = parse_options(
        Arguments{"--modem", "EC25", "--modem", "EP06@2-1.2,sim=locked,pin=1=2", "--modem=./a@b.modem@1-1"});
    ASSERT_EQ(options.modems.size(), 3U);
    EXPECT_EQ(options.modems[0].profile, "EC25");
    EXPECT_EQ(options.modems[0].bus, "1-1.2");
    EXPECT_TRUE(options.modems[0].variables.empty());
    EXPECT_EQ(options.modems[1].bus, "2-1.2");
    EXPECT_EQ(options.modems[1].variables, (Values{{"sim", "locked"}, {"pin", "1=2"}}));
    EXPECT_EQ(options.modems[2].profile, "./a@b.modem");
    EXPECT_EQ(options.modems[2].bus, "1-1");
}

TEST(SimrouterOptions, GiveMessagesToOneModemOrToAll)
{
    const Options options = parse_options(Arguments{"--modem", "EC25", "--sms", "70007,after=3000:a: b, c/d", "--sms",
                                                    "1-1.2/Bank,flash:", "--sms-pdu", "1-1.2/0004,after=7"});
    ASSERT_EQ(options.messages.size(), 3U);
    EXPECT_EQ(options.messages[0].bus, "");
    EXPECT_EQ(options.messages[0].after_ms, 3000);
    EXPECT_EQ(options.messages[0].happenings,
              Arguments{"message 24 07914477000900000405810700F700006210132143654009611D48CC028D5F64"
                        " \"70007\" \"26/01/31,12:34:56+04\" a: b, c/d"});
    EXPECT_EQ(options.messages[1].bus, "1-1.2");
    EXPECT_EQ(options.messages[1].after_ms, 0);
    EXPECT_EQ(
        options.messages[1].happenings,
        Arguments{"message 17 07914477000900000407D0C2B07B0D00106210132143654000 \"Bank\" \"26/01/31,12:34:56+04\" "});
    EXPECT_EQ(options.messages[2].after_ms, 7);
    EXPECT_EQ(options.messages[2].happenings, Arguments{"message 1 0004 \"\" \"\" "});
}

TEST(SimrouterOptions, GiveAFaultToOneModemOrToAll)
{
    const Options options = parse_options(Arguments{"--modem", "EC25", "--fault", "late=3000:AT+CSQ", "--fault",
                                                    "1-1.2/silence:AT/x", "--fault", "zero"});
    ASSERT_EQ(options.faults.size(), 3U);
    EXPECT_EQ(options.faults[0].bus, "");
    EXPECT_EQ(options.faults[0].fault.number, 3000);
    EXPECT_EQ(options.faults[1].bus, "1-1.2");
    EXPECT_EQ(options.faults[1].fault.command.text(), "AT/x");
    EXPECT_EQ(options.faults[2].fault.kind, FaultKind::zero);
}

TEST(SimrouterOptions, ReadNumbers)
{
    const Options options =
        parse_options(Arguments{"--deliver", "3:20", "--seed", "4294967295", "--extra-folders", "900"});
    EXPECT_EQ(options.delivery.piece_bytes, 3U);
    EXPECT_EQ(options.delivery.interval_ms, 20);
    EXPECT_EQ(options.seed, 4294967295U);
    EXPECT_EQ(options.extra_folders, 900U);
    EXPECT_EQ(parse_options(Arguments{"--deliver", "1"}).delivery.interval_ms, 0);
}

TEST(SimrouterOptions, DescribeTheNetwork)
{
    const Options options =
        parse_options(Arguments{"--link", "modem,setup=never", "--link", "address=10.9.8.2/29,setup=5", "--ubus",
                                "delay=300", "--ubus", "silent=network"});
    ASSERT_EQ(options.links.size(), 2U);
    EXPECT_EQ(options.links[0].interface, "modem");
    EXPECT_FALSE(options.links[0].behaviour.setup_ms);
    EXPECT_EQ(options.links[1].interface, "");
    EXPECT_EQ(options.links[1].behaviour.setup_ms, 5);
    EXPECT_EQ(options.links[1].behaviour.address, "10.9.8.2");
    EXPECT_EQ(options.links[1].behaviour.mask, 29);
    EXPECT_EQ(options.ubus.delay_ms, 300);
    EXPECT_EQ(options.ubus.silent, (Arguments{"network"}));
    EXPECT_FALSE(options.ubus.absent);
}

TEST(SimrouterOptions, TellWhatANetworkDemands)
{
    const Options options = parse_options(Arguments{
        "--link", "apn=internet,username=me,password=a=b,context=ims,cid=3,needs=qmi", "--link", "wan,traffic=1000/0",
        "--link", "modem,traffic=14,needs=serial", "--link", "dns=silent/3", "--link", "dns=fail"});
    ASSERT_EQ(options.links.size(), 5U);
    using Way = NameServers::Way;
    EXPECT_EQ(options.links[2].behaviour.names, NameServers{});
    EXPECT_EQ(options.links[3].behaviour.names.own, (NameServers::Behaviour{Way::silent, -1}));
    EXPECT_EQ(options.links[3].behaviour.names.others, (NameServers::Behaviour{Way::answer, 3}));
    EXPECT_EQ(options.links[4].behaviour.names.others, (NameServers::Behaviour{Way::failure, -1}));
    EXPECT_EQ(options.links[0].interface, "");
    const LinkDemand &demand = options.links[0].behaviour.demand;
    EXPECT_EQ(demand.apn, "internet");
    EXPECT_EQ(demand.username, "me");
    EXPECT_EQ(demand.password, "a=b");
    EXPECT_EQ(demand.context, "ims");
    EXPECT_EQ(demand.cid, 3);
    EXPECT_EQ(demand.path, LinkDemand::Path::qmi);
    EXPECT_EQ(options.links[1].interface, "wan");
    EXPECT_EQ(options.links[1].behaviour.traffic, (Traffic{1000, 0}));
    EXPECT_FALSE(options.links[1].behaviour.demand.apn);
    EXPECT_EQ(options.links[2].behaviour.traffic, (Traffic{14, 14}));
    EXPECT_EQ(options.links[2].behaviour.demand.path, LinkDemand::Path::serial);
}

TEST(SimrouterOptions, RefuseWhatIsWrongWithALineThatTellsIt)
{
    const struct {
        Arguments arguments;
        const char *complaint;
    } rows[] = {
        {{"--nope"}, "unknown option --nope (--help lists them)"},
        {{"--nope=1"}, "unknown option --nope=1 (--help lists them)"},
        {{"modemctl"}, "\"modemctl\" is not an option; the command comes after --"},
        {{""}, "\"\" is not an option; the command comes after --"},
        {{"--board"}, "--board needs a value"},
        {{"--board", ""}, "--board: a board needs a name of one line"},
        {{"--strict=1"}, "--strict takes no value"},
        {{"--modem", ""}, "--modem: \"\" names no modem"},
        {{"--modem", "@1-1"}, "--modem: \"@1-1\" names no modem"},
        {{"--modem", "EC25@"}, "--modem: \"\" is not a USB bus like 1-1.2"},
        {{"--modem", "EC25@1-1.300"}, "--modem: \"1-1.300\" is not a USB bus like 1-1.2"},
        {{"--modem", "EC25,sim"}, "--modem: \"sim\" is not variable=value"},
        {{"--modem", "EC25", "--modem", "EP06"}, "--modem: two modems on bus 1-1.2"},
        {{"--fault", "1-1.2/silence"}, "--fault: there is no modem on bus 1-1.2"},
        {{"--fault", "no-such"}, "--fault: \"no-such\": unknown fault 'no-such'"},
        {{"--sms", "+44"}, "--sms: \"+44\": there is no \":\" in front of a text"},
        {{"--sms", "+44,x:Hi"}, "--sms: \"+44,x:Hi\": \"x\" is neither after=MS nor flash"},
        {{"--sms", ":Hi"}, "--sms: \":Hi\": a sender is a number or a name of 1 to 11 characters"},
        {{"--sms", "+44,after=x:Hi"}, "--sms: \"x\" is not a number from 0 to 1073741824"},
        {{"--sms", "1-1.2/+44:Hi"}, "--sms: there is no modem on bus 1-1.2"},
        {{"--sms-pdu", "00,flash"}, "--sms-pdu: \"00,flash\": \"flash\" is not after=MS"},
        {{"--sms-pdu", "00"}, "--sms-pdu: \"00\": a PDU is 2 to 176 octets in hexadecimal digits"},
        {{"--deliver", "x"}, "--deliver: \"x\" is not a number from 0 to 65536"},
        {{"--deliver", "-1"}, "--deliver: \"-1\" is not a number from 0 to 65536"},
        {{"--seed", "4294967296"}, "--seed: \"4294967296\" is not a number from 0 to 4294967295"},
        {{"--put", "/a"}, "--put: \"/a\" is not SOURCE:DESTINATION"},
        {{"--put", "/a:b"}, "--put: \"b\" is not the absolute path of a file"},
        {{"--put-text", "/a"}, "--put-text: \"/a\" is not DESTINATION=TEXT"},
        {{"--put-text", "/a/=b"}, "--put-text: \"/a/\" is not the absolute path of a file"},
        {{"--answer", "uqmi"}, "--answer: \"uqmi\" is not COMMAND:STATUS[:TEXT]"},
        {{"--answer", "uqmi:256"}, "--answer: \"uqmi:256\" is not COMMAND:STATUS[:TEXT]"},
        {{"--answer", ":0:x"}, "--answer: \":0:x\" is not COMMAND:STATUS[:TEXT]"},
        {{"--link", "modem,speed=1"},
         "--link: \"speed\" is not one of setup, error, device, address, gateway, server, companion, apn, context, "
         "cid, "
         "username, "
         "password, needs, traffic, dns"},
        {{"--link", "needs=mbim"}, "--link: needs: \"mbim\" is neither qmi nor serial"},
        {{"--link", "traffic=13"}, "--link: traffic: a packet has 14 bytes or more"},
        {{"--link", "dns=maybe"}, "--link: dns: \"maybe\" is not a number from 0 to 1000000"},
        {{"--link", "traffic=100/x"}, "--link: traffic: \"x\" is not a number from 0 to 1000000000"},
        {{"--link", "cid=17"}, "--link: cid: \"17\" is not a number from 0 to 16"},
        {{"--ubus", "silent"}, "--ubus: \"silent\" is not one of absent, deaf, dying, delay=MS, silent=OBJECT"},
        {{"--journal", ""}, "--journal: needs the name of a file or folder"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(complaint(row.arguments), row.complaint);
}

TEST(SimrouterOptions, AreAllInTheHelp)
{
    for (const char *name :
         {"--modem",    "--board",  "--fault",    "--sms",         "--sms-pdu",       "--deliver", "--renumber",
          "--kernel",   "--seed",   "--products", "--runner",      "--profiles",      "--put",     "--put-text",
          "--answer",   "--link",   "--ubus",     "--config-size", "--extra-folders", "--journal", "--log",
          "--coverage", "--strict", "--wait",     "--list",        "--help"}) {
        EXPECT_NE(help_text().find(std::string("\n  ") + name + ' '), std::string_view::npos) << name;
        EXPECT_EQ(complaint({name}).find("unknown"), std::string::npos) << name;
    }
}

TEST(UsbBus, IsABusNumberAndPortsBehindADash)
{
    for (const char *bus : {"1-1", "1-1.2", "2-1.4.3", "10-255.1"})
        EXPECT_TRUE(is_bus(bus)) << bus;
    for (const char *bus :
         {"", "1", "1-", "-1", "1-0", "0-1", "1.2", "1-1.", "1-1-2", "1-1.256", "1-1 ", "a-1", "1-1:1.0"})
        EXPECT_FALSE(is_bus(bus)) << bus;
}

TEST(RecordedAnswer, IsTheOneWithTheMostWordsInCommon)
{
    const std::vector<Answer> answers{{"uqmi", 1, "short"}, {"uqmi -d x", 2, "long"}, {"uqmi", 3, "later"}};
    EXPECT_EQ(find_answer(answers, "uqmi -d x --status")->status, 2);
    EXPECT_EQ(find_answer(answers, "uqmi -d x")->status, 2);
    EXPECT_EQ(find_answer(answers, "uqmi -d xy")->status, 3);
    EXPECT_EQ(find_answer(answers, "uqmi")->output, "later");
    EXPECT_EQ(find_answer(answers, "uqmix"), nullptr);
    EXPECT_EQ(find_answer({}, "uqmi"), nullptr);
}

TEST(RecordedAnswer, MayHoldColonsInCommandAndText)
{
    const Options options =
        parse_options(Arguments{"--answer", "ls a:b:c:7:x:y", "--answer", "wifi:3", "--answer", "w:0:"});
    ASSERT_EQ(options.answers.size(), 3U);
    EXPECT_EQ(options.answers[0].command, "ls a:b:c");
    EXPECT_EQ(options.answers[0].status, 7);
    EXPECT_EQ(options.answers[0].output, "x:y");
    EXPECT_EQ(options.answers[1].status, 3);
    EXPECT_EQ(options.answers[1].output, "");
    EXPECT_EQ(options.answers[2].output, "");
}

TEST(SimrouterOptions, KnowWhatAKernelDoesByItself)
{
    EXPECT_EQ(complaint({"--kernel", "--modem", "EC25", "--fault", "stuck"}), "");
    EXPECT_EQ(complaint({"--modem", "EC25", "--fault", "stuck"}),
              "--fault: stuck needs --kernel: a pseudo terminal takes bytes whatever the modem does");
    EXPECT_EQ(complaint({"--kernel", "--renumber"}),
              "--kernel: the kernel numbers devices itself, so there is no --renumber");
    EXPECT_EQ(complaint({"--kernel", "--extra-folders", "3"}),
              "--kernel: sysfs is the kernel's, so there are no --extra-folders");
    EXPECT_EQ(complaint({"--kernel", "--modem", "EC25@2-1.2"}),
              "--kernel: its controller has the buses 1-1.2 to 1-1.7 and 1-2 to 1-15, not 2-1.2");
}

} // namespace simulator_options_test
