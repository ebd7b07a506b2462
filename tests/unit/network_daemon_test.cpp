#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <libubus.h>
#include <set>

#include "platform/ubus.h"
#include "simulator/network/network_daemon.h"
#include "simulator/network/protocol_scripts.h"
#include "tests/unit/ubus_fixture.h"

namespace network_daemon_test {

using namespace simulator;

std::string text_of(const Json &json)
{
    return json ? json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)
                : "not found";
}

/// A network daemon with a clock, a configuration and devices that the test sets.
class Network {
  public:
    explicit Network(std::vector<InterfaceSection> sections) : sections_(std::move(sections)) {}

    NetworkDaemon &daemon()
    {
        if (!daemon_) {
            daemon_.emplace(NetworkSurroundings{
                .now = [this] { return now_; },
                .read_config = [this] { return sections_; },
                .has_device = [this](const std::string &device) { return missing_.count(device) == 0; },
                .has_carrier = [this](const std::string &device) { return without_carrier_.count(device) == 0; },
                .change_device = [this](const DeviceChange &change) { note(change); },
                .modem_variable = [this](const InterfaceSection &,
                                         const std::string &name) { return modem_variables_[name]; },
                .start_handler =
                    [this](const InterfaceSection &section, const std::string &device) {
                        if (has_handlers_)
                            handlers_.push_back("start " + section.name + " on " + device);
                        return has_handlers_;
                    },
                .stop_handler = [this](const std::string &name) { handlers_.push_back("stop " + name); },
                .wake_at = [this](int64_t at) { wakes_.push_back(at); },
            });
            daemon_->reload();
        }
        return *daemon_;
    }
    std::string status(const std::string &name) { return text_of(daemon().status(name)); }
    std::vector<InterfaceSection> &sections() { return *sections_; }

    int64_t now_ = 100000;
    std::optional<std::vector<InterfaceSection>> sections_;
    std::set<std::string> missing_, without_carrier_;
    std::map<std::string, std::string> modem_variables_;
    std::vector<std::string> changes_;
    std::vector<int64_t> wakes_;
    bool has_handlers_ = false;
    std::vector<std::string> handlers_;

  private:
    void note(const DeviceChange &change)
    {
        std::string text = change.interface + " " + change.device + (change.up ? " up" : " down");
        for (const auto &[address, mask, peer] : change.addresses)
            text += " " + address + "/" + std::to_string(mask) + (peer.empty() ? "" : " peer " + peer);
        text += change.gateway.empty() ? "" : " via " + change.gateway;
        if (change.traffic != Traffic{})
            text += " moves " + std::to_string(change.traffic.received) + "/" + std::to_string(change.traffic.sent);
        changes_.push_back(text);
    }
    std::optional<NetworkDaemon> daemon_;
};

InterfaceSection wan()
{
    return {"wan",
            {{"proto", {"static"}},
             {"device", {"wan0"}},
             {"ipaddr", {"10.9.8.2"}},
             {"netmask", {"255.255.255.248"}},
             {"ip6addr", {"fd00:9::2/64"}},
             {"gateway", {"10.9.8.1"}},
             {"metric", {"20"}},
             {"dns", {"10.9.8.1 1.1.1.1"}}}};
}

InterfaceSection modem(const std::string &proto = "qmi")
{
    return {"modem", {{"proto", {proto}}, {"device", {"/dev/cdc-wdm0"}}, {"metric", {"40"}}}};
}

const std::string no_lists = R"("ipv6-address":[],"ipv6-prefix":[],"ipv6-prefix-assignment":[],)";
const std::string no_inactive =
    R"("inactive":{"ipv4-address":[],"ipv6-address":[],"route":[],"dns-server":[],"dns-search":[],"neighbors":[]},)";

TEST(NetworkDaemon, ShowsAStaticInterfaceThatIsUp)
{
    Network network({wan()});
    network.daemon();
    network.now_ += 4999;
    EXPECT_EQ(network.status("wan"),
              R"({"up":true,"pending":false,"available":true,"autostart":true,"dynamic":false,"uptime":4,)"
              R"("l3_device":"wan0","proto":"static","device":"wan0","updated":["addresses","routes"],"metric":20,)"
              R"("dns_metric":0,"delegation":true,"ipv4-address":[{"address":"10.9.8.2","mask":29}],)"
              R"("ipv6-address":[{"address":"fd00:9::2","mask":64}],"ipv6-prefix":[],"ipv6-prefix-assignment":[],)"
              R"("route":[{"target":"0.0.0.0","mask":0,"nexthop":"10.9.8.1","source":"0.0.0.0/0"}],)"
              R"("dns-server":["10.9.8.1","1.1.1.1"],"dns-search":[],"neighbors":[],)" +
                  no_inactive + R"("data":{}})");
}

TEST(NetworkDaemon, ShowsAModemThatIsPendingAndThenUp)
{
    Network network({modem()});
    network.daemon().set_behaviour("modem", {.dns = {"10.64.1.1", "9.9.9.9"}, .data = "{\"cid\":17}"});
    network.daemon().restart();
    network.now_ += 999;
    EXPECT_EQ(network.status("modem"), R"({"up":false,"pending":true,"available":true,"autostart":true,)"
                                       R"("dynamic":false,"proto":"qmi","data":{}})");
    network.now_ += 4001;
    EXPECT_EQ(network.status("modem"),
              R"({"up":true,"pending":false,"available":true,"autostart":true,"dynamic":false,"uptime":4,)"
              R"("l3_device":"wwan0","proto":"qmi","updated":["addresses","routes","data"],"metric":40,"dns_metric":0,)"
              R"("delegation":true,"ipv4-address":[{"address":"10.64.1.2","mask":30}],)" +
                  no_lists +
                  R"("route":[{"target":"0.0.0.0","mask":0,"nexthop":"10.64.1.1","source":"0.0.0.0/0"}],)"
                  R"("dns-server":["10.64.1.1","9.9.9.9"],"dns-search":[],"neighbors":[],)" +
                  no_inactive + R"("data":{"cid":17}})");
}

TEST(NetworkDaemon, KeepsTheRouteAndTheServersInactiveThatNobodyWants)
{
    Network network({modem()});
    network.sections()[0].options["defaultroute"] = {"0"};
    network.sections()[0].options["peerdns"] = {"0"};
    network.daemon();
    network.now_ += 1000;
    const std::string status = network.status("modem");
    EXPECT_NE(
        status.find(R"("route":[],"dns-server":[],"dns-search":[],"neighbors":[],"inactive":{"ipv4-address":[],)"
                    R"("ipv6-address":[],"route":[{"target":"0.0.0.0","mask":0,"nexthop":"10.64.1.1",)"
                    R"("source":"0.0.0.0/0"}],"dns-server":["10.64.1.1"],"dns-search":[],"neighbors":[]},"data":{}})"),
        std::string::npos)
        << status;
    EXPECT_EQ(network.changes_, std::vector<std::string>{"modem wwan0 up 10.64.1.2/30"});
}

// Handlers, which open the sessions where the modems are the kernel's

const HandlerReport opened{.kind = HandlerReport::Kind::up,
                           .device = "wwan1",
                           .address = "10.64.2.2",
                           .mask = 30,
                           .gateway = "10.64.2.1",
                           .dns = {"10.99.0.53"}};

TEST(NetworkDaemon, ComesUpWithWhatAHandlerSays)
{
    Network network({modem()});
    network.has_handlers_ = true;
    network.daemon();
    network.now_ += 60000;
    EXPECT_NE(network.status("modem").find(R"("up":false,"pending":true)"), std::string::npos);
    network.daemon().hear("modem", opened);
    const std::string status = network.status("modem");
    EXPECT_NE(status.find(R"("l3_device":"wwan1","proto":"qmi")"), std::string::npos) << status;
    EXPECT_NE(status.find(R"("ipv4-address":[{"address":"10.64.2.2","mask":30}])"), std::string::npos) << status;
    EXPECT_NE(status.find(R"("dns-server":["10.99.0.53"])"), std::string::npos) << status;
    network.daemon().down("modem");
    network.daemon().hear("modem", opened); // on its way when it was stopped
    EXPECT_EQ(network.handlers_, (std::vector<std::string>{"start modem on wwan0", "stop modem"}));
    EXPECT_EQ(network.changes_,
              (std::vector<std::string>{"modem wwan1 up 10.64.2.2/30 via 10.64.2.1", "modem wwan1 down"}));
}

TEST(NetworkDaemon, StartsAHandlerAgainThatFails)
{
    Network network({modem()});
    network.has_handlers_ = true;
    network.daemon().hear("modem", {.kind = HandlerReport::Kind::failed, .error = "CALL_FAILED"});
    network.daemon().hear("modem", {.kind = HandlerReport::Kind::ended});
    EXPECT_EQ(network.status("modem"), R"({"up":false,"pending":true,"available":true,"autostart":true,)"
                                       R"("dynamic":false,"proto":"qmi","data":{},)"
                                       R"("errors":[{"subsystem":"qmi","code":"CALL_FAILED"}]})");
    EXPECT_EQ(network.wakes_, std::vector<int64_t>{network.now_ + 2000});
    network.now_ += 1999;
    network.daemon().advance();
    EXPECT_EQ(network.handlers_.size(), 1u);
    network.now_ += 1;
    network.daemon().advance();
    EXPECT_EQ(network.handlers_, (std::vector<std::string>(2, "start modem on wwan0")));
    network.daemon().hear("modem", opened);
    EXPECT_EQ(network.status("modem").find("errors"), std::string::npos);
}

TEST(NetworkDaemon, LosesTheConnectionThatAHandlerLoses)
{
    Network network({modem("3g")});
    network.has_handlers_ = true;
    network.daemon().hear("modem", opened);
    network.daemon().hear("modem", {.kind = HandlerReport::Kind::ended});
    EXPECT_EQ(network.changes_.back(), "modem wwan1 down");
    EXPECT_NE(network.status("modem").find(R"("up":false,"pending":true)"), std::string::npos);
    network.daemon().down("modem");
    network.now_ += 5000;
    network.daemon().advance();
    EXPECT_EQ(network.handlers_, std::vector<std::string>{"start modem on 3g-modem"});
}

TEST(NetworkDaemon, GivesHandlersTheirTextsAsTheyAre)
{
    InterfaceSection section = modem();
    section.options["apn"] = {"it's; $(reboot) `reboot`"};
    for (const char *protocol : {"qmi", "qcm", "mbim", "3g", "ncm", "directip", "dhcp"}) {
        section.options["proto"] = {protocol};
        const std::string script = protocol_script(section, "wwan0");
        const std::string settings = script.substr(0, script.find("failed()")) + "printf %s \"$apn\"";
        for (const auto &[text, printed] :
             {std::pair{settings, section.options["apn"][0]},
              std::pair{"false && {\n" + script + "\n}; echo read", std::string("read\n")}}) {
            std::array<char, 100> output{};
            setenv("TEXT", text.c_str(), 1);
            FILE *shell = popen("sh -c \"$TEXT\" 2>&1", "r");
            const size_t count = fread(output.data(), 1, output.size(), shell);
            EXPECT_EQ(pclose(shell), 0) << protocol;
            EXPECT_EQ(std::string(output.data(), count), printed) << protocol;
        }
    }
    section.options["proto"] = {"static"};
    EXPECT_EQ(protocol_script(section, "wwan0"), "");
}

TEST(NetworkDaemon, LetsHandlersGiveAModemItsApnAsItIs)
{
    InterfaceSection section = modem();
    section.options["proto"] = {"directip"};
    section.options["device"] = {"/dev/null"};
    section.options["apn"] = {"it's' ; echo $HOME"};
    setenv("TEXT", ("chat() { printf '<%s>' \"$@\" >&2; return 1; }\n" + protocol_script(section, "lo")).c_str(), 1);
    std::array<char, 200> output{};
    FILE *shell = popen("sh -c \"$TEXT\" 2>&1", "r");
    const size_t count = fread(output.data(), 1, output.size(), shell);
    EXPECT_NE(pclose(shell), 0);
    EXPECT_EQ(std::string(output.data(), count),
              "<-t><20><ABORT><ERROR><><AT+CGDCONT=1,\"IP\",\"it's' ; echo $HOME\"><OK>error CONNECT_FAILED\n");
}

TEST(NetworkDaemon, ShowsADisconnectedModemByItsReason)
{
    struct Row {
        const char *what;
        InterfaceSection section;
        bool take_down;
        std::string status;
    };
    InterfaceSection wired_dhcp{"wan", {{"proto", {"dhcp"}}, {"device", {"wan0"}}}};
    InterfaceSection absent = wan();
    absent.options["device"] = {"absent0"};
    InterfaceSection manual = modem();
    manual.options["auto"] = {"0"};
    const std::string down = R"({"up":false,"pending":false,"available":true,"autostart":false,"dynamic":false,)";
    const Row rows[] = {
        {"taken down", modem(), true, down + R"("proto":"qmi","data":{}})"},
        {"static, taken down", wan(), true, down + R"("proto":"static","device":"wan0","data":{}})"},
        {"not started by itself", manual, false, down + R"("proto":"qmi","data":{}})"},
        {"pending, with a device", wired_dhcp, false,
         R"({"up":false,"pending":true,"available":true,"autostart":true,"dynamic":false,"proto":"dhcp","device":"wan0","data":{}})"},
        {"device missing", absent, false,
         R"({"up":false,"pending":false,"available":false,"autostart":true,"dynamic":false,"proto":"static","device":"absent0",)"
         R"("data":{},"errors":[{"subsystem":"interface","code":"NO_DEVICE"}]})"},
        {"no protocol, no carrier",
         {"wan", {{"proto", {"none"}}, {"device", {"dark0"}}}},
         false,
         R"({"up":false,"pending":false,"available":true,"autostart":true,"dynamic":false,"proto":"none","device":"dark0","data":{}})"},
        {"unknown protocol",
         {"wan", {{"proto", {"nobody-knows"}}}},
         false,
         R"({"up":false,"pending":false,"available":false,"autostart":true,"dynamic":false,"proto":"none","data":{},)"
         R"("errors":[{"subsystem":"interface","code":"NO_DEVICE"}]})"},
    };
    for (const Row &row : rows) {
        Network network({row.section});
        network.missing_ = {"absent0"};
        network.without_carrier_ = {"dark0"};
        if (row.take_down) {
            EXPECT_EQ(network.daemon().down(row.section.name), 0);
        }
        EXPECT_EQ(network.status(row.section.name), row.status) << row.what;
    }
}

TEST(NetworkDaemon, BlocksANewStartAfterASetupThatFailed)
{
    Network network({modem()});
    network.daemon().set_behaviour("modem", {.error = "NO_DEVICE"});
    network.daemon().restart();
    network.now_ += 1000;
    EXPECT_EQ(
        network.status("modem"),
        R"({"up":false,"pending":false,"available":true,"autostart":false,"dynamic":false,"proto":"qmi","data":{},)"
        R"("errors":[{"subsystem":"qmi","code":"NO_DEVICE"}]})");
    network.daemon().set_behaviour("modem", {});
    EXPECT_EQ(network.daemon().up("modem"), 0);
    EXPECT_EQ(network.status("modem"), R"({"up":false,"pending":true,"available":true,"autostart":true,)"
                                       R"("dynamic":false,"proto":"qmi","data":{}})");
}

TEST(NetworkDaemon, LetsAModemStayPendingForEver)
{
    Network network({modem()});
    network.daemon().set_behaviour("modem", {.setup_ms = std::nullopt});
    network.daemon().restart();
    network.now_ += 1000000000;
    EXPECT_NE(network.status("modem").find(R"("pending":true)"), std::string::npos);
}

struct DemandRow {
    const char *what;
    LinkDemand demand;
    std::map<std::string, std::vector<std::string>> options;
    std::map<std::string, std::string> modem;
    bool is_met;
};

const DemandRow demand_rows[] = {
    {"nothing", {}, {}, {}, true},
    {"the configured APN", {.apn = "a"}, {{"apn", {"a"}}}, {{"apn_1", "b"}}, true},
    {"another configured APN", {.apn = "a"}, {{"apn", {"b"}}}, {{"apn_1", "a"}}, false},
    {"the modem's APN", {.apn = "a"}, {}, {{"apn_1", "a"}}, true},
    {"another APN of the modem", {.apn = "a"}, {}, {{"apn_1", "ab"}}, false},
    {"no APN at all", {.apn = "a"}, {}, {}, false},
    {"no APN, demanded", {.apn = ""}, {}, {}, true},
    {"another context", {.apn = "a", .cid = 3}, {}, {{"apn_3", "a"}}, true},
    {"the first context in place of the third", {.apn = "a", .cid = 3}, {}, {{"apn_1", "a"}}, false},
    {"the modem's APN alone", {.context = "a"}, {{"apn", {"b"}}}, {{"apn_1", "a"}}, true},
    {"the configured APN alone", {.context = "a"}, {{"apn", {"a"}}}, {{"apn_1", "b"}}, false},
    {"a configured user", {.username = "u", .password = "p"}, {{"username", {"u"}}, {"password", {"p"}}}, {}, true},
    {"the modem's user", {.username = "u", .password = "p"}, {}, {{"user_1", "u"}, {"password_1", "p"}}, true},
    {"a user without a password", {.username = "u", .password = "p"}, {{"username", {"u"}}}, {}, false},
    {"another password", {.password = "p"}, {{"password", {"q"}}}, {}, false},
    {"QMI", {.path = LinkDemand::Path::qmi}, {{"proto", {"qmi"}}}, {}, true},
    {"QMI by another dialler", {.path = LinkDemand::Path::qmi}, {{"proto", {"qcm"}}}, {}, true},
    {"serial where QMI is needed", {.path = LinkDemand::Path::qmi}, {{"proto", {"3g"}}}, {}, false},
    {"serial", {.path = LinkDemand::Path::serial}, {{"proto", {"3g"}}}, {}, true},
    {"serial by NCM", {.path = LinkDemand::Path::serial}, {{"proto", {"ncm"}}}, {}, true},
    {"QMI where serial is needed", {.path = LinkDemand::Path::serial}, {{"proto", {"qmi"}}}, {}, false},
};

TEST(LinkDemand, ComparesTheConfigurationAndTheModem)
{
    for (const auto &row : demand_rows) {
        const auto modem_variable = [&](const std::string &name) {
            const auto found = row.modem.find(name);
            return found == row.modem.end() ? "" : found->second;
        };
        EXPECT_EQ(meets_demand({"modem", row.options}, row.demand, modem_variable), row.is_met) << row.what;
    }
}

TEST(NetworkDaemon, LetsAModemWaitForWhatItsNetworkDemands)
{
    Network network({modem("3g")});
    network.daemon().set_default_behaviour({.demand = {.apn = "internet"}});
    network.modem_variables_["apn_1"] = "wrong";
    network.daemon().restart();
    const std::string pending =
        R"({"up":false,"pending":true,"available":true,"autostart":true,"dynamic":false,"proto":"3g","data":{}})";
    network.now_ += 3600000;
    EXPECT_EQ(network.status("modem"), pending);
    EXPECT_EQ(network.wakes_, (std::vector<int64_t>{101000})); // of the setup before the network had demands

    network.modem_variables_["apn_1"] = "internet";
    EXPECT_EQ(network.status("modem"), pending); // nobody has told it
    EXPECT_EQ(network.daemon().up("modem"), 0);
    EXPECT_EQ(network.status("modem"), pending); // its setup takes its time
    EXPECT_EQ(network.wakes_.back(), network.now_ + 1000);
    network.now_ += 1000;
    EXPECT_EQ(network.status("modem").find(R"({"up":true,"pending":false,)"), 0U);
}

TEST(NetworkDaemon, LooksAgainAtWhatIsDemandedWhenItReloads)
{
    Network network({modem()});
    network.daemon().set_default_behaviour({.setup_ms = 0, .demand = {.apn = "internet", .username = "me"}});
    network.daemon().restart();
    network.sections()[0].options["apn"] = {"internet"};
    network.daemon().reload();
    network.daemon().advance();
    EXPECT_EQ(network.status("modem").find(R"({"up":false,"pending":true,)"), 0U);
    network.modem_variables_["user_1"] = "me";
    network.daemon().reload();
    network.daemon().advance();
    EXPECT_EQ(network.status("modem").find(R"({"up":true,"pending":false,)"), 0U);
}

TEST(NetworkDaemon, MovesTrafficOnceThroughADeviceThatComesUp)
{
    Network network({modem()});
    network.daemon().set_default_behaviour({.setup_ms = 0, .traffic = {5000, 700}});
    network.daemon().restart();
    network.changes_.clear();
    network.daemon().advance();
    network.sections()[0].options["metric"] = {"60"};
    network.daemon().reload();
    EXPECT_EQ(network.changes_, (std::vector<std::string>{"modem wwan0 up 10.64.1.2/30 via 10.64.1.1 moves 5000/700",
                                                          "modem wwan0 up 10.64.1.2/30 via 10.64.1.1"}));
}

TEST(NetworkDaemon, GivesTheCompanionTheAddress)
{
    Network network({modem()});
    network.daemon().set_behaviour("modem", {.companion = true});
    network.daemon().restart();
    EXPECT_EQ(network.status("modem_4"), "not found");
    network.now_ += 1000;
    const std::string status = network.status("modem");
    EXPECT_EQ(status.find("updated"), std::string::npos);
    EXPECT_NE(status.find(R"("ipv4-address":[],"ipv6-address":[])"), std::string::npos);
    const std::string companion = network.status("modem_4");
    EXPECT_NE(companion.find(R"("dynamic":true,"uptime":0,"l3_device":"wwan0","proto":"dhcp","device":"wwan0")"),
              std::string::npos)
        << companion;
    EXPECT_NE(companion.find(R"("ipv4-address":[{"address":"10.64.1.2","mask":30}])"), std::string::npos);
    EXPECT_NE(companion.find(R"("metric":40)"), std::string::npos);
    network.daemon().reload();
    EXPECT_EQ(network.daemon().interface_names(), (std::vector<std::string>{"modem", "modem_4"}));
    network.daemon().down("modem");
    EXPECT_EQ(network.daemon().interface_names(), std::vector<std::string>{"modem"});
    EXPECT_EQ(network.changes_,
              (std::vector<std::string>{"modem wwan0 up", "modem_4 wwan0 up 10.64.1.2/30 via 10.64.1.1",
                                        "modem_4 wwan0 down", "modem wwan0 down"}));
}

TEST(NetworkDaemon, NamesTheNetworkDeviceAfterTheProtocol)
{
    struct Row {
        const char *proto, *device, *ifname, *l3_device;
    };
    const Row rows[] = {
        {"3g", "/dev/ttyUSB3", "", "3g-modem"},
        {"qmi", "/dev/cdc-wdm0", "", "wwan0"},
        {"qmi", "/dev/cdc-wdm1", "", "wwan1"},
        {"ncm", "/dev/cdc-wdm1-wdm0", "", "wwan0"},
        {"qcm", "", "", "wwan0"},
        {"callip", "/dev/ttyUSB3", "", "wwan0"},
        {"directip", "/dev/ttyUSB3", "usb0", "usb0"},
        {"directip", "/dev/ttyUSB3", "", "wwan0"},
    };
    for (const Row &row : rows) {
        Network network({{"modem", {{"proto", {row.proto}}, {"device", {row.device}}, {"ifname", {row.ifname}}}}});
        network.daemon();
        network.now_ += 1000;
        const std::string status = network.status("modem");
        EXPECT_NE(status.find("\"l3_device\":\"" + std::string(row.l3_device) + "\""), std::string::npos)
            << row.proto << row.device << status;
    }
}

TEST(NetworkDaemon, AppliesAnotherMetricWithoutTakingAnInterfaceDown)
{
    Network network({wan(), modem()});
    network.daemon();
    network.now_ += 3000;
    network.daemon().advance();
    network.sections()[0].options["metric"] = {"7"};
    network.sections()[1].options["metric"] = {"8"};
    EXPECT_EQ(network.daemon().reload(), 0);
    EXPECT_NE(network.status("wan").find("\"uptime\":3"), std::string::npos);
    EXPECT_NE(network.status("wan").find("\"metric\":7"), std::string::npos);
    EXPECT_NE(network.status("modem").find("\"uptime\":2"), std::string::npos);
    EXPECT_NE(network.status("modem").find("\"metric\":8"), std::string::npos);
}

TEST(NetworkDaemon, StartsAModemAnewWhoseOptionsChanged)
{
    Network network({modem()});
    network.daemon();
    network.now_ += 3000;
    network.daemon().advance();
    network.sections()[0].options["apn"] = {"internet"};
    network.daemon().reload();
    EXPECT_EQ(network.status("modem"), R"({"up":false,"pending":true,"available":true,"autostart":true,)"
                                       R"("dynamic":false,"proto":"qmi","data":{}})");
    EXPECT_EQ(network.changes_.back(), "modem wwan0 down");
}

TEST(NetworkDaemon, RestartsAModemButNoDynamicInterfaceAndNoneThatIsDown)
{
    Network network({modem(), {"lan", {{"proto", {"dhcp"}}, {"device", {"lan0"}}}}});
    network.daemon().set_default_behaviour({.setup_ms = 0});
    network.daemon().restart();
    network.daemon().advance();
    network.changes_.clear();
    EXPECT_EQ(network.daemon().restart("modem"), UBUS_STATUS_OK);
    EXPECT_EQ(network.daemon().restart("lan"), UBUS_STATUS_OK) << "its handler restarts the client";
    EXPECT_EQ(network.daemon().renew("modem"), UBUS_STATUS_OK);
    EXPECT_EQ(network.changes_,
              (std::vector<std::string>{"modem wwan0 down", "modem wwan0 up 10.64.1.2/30 via 10.64.1.1"}));
    network.daemon().add_dynamic(
        Json{json_tokener_parse(R"({"name":"other","proto":"static","device":"lan0","ipaddr":"10.0.0.1"})")}.get());
    EXPECT_EQ(network.daemon().restart("other"), UBUS_STATUS_UNKNOWN_ERROR);
    network.daemon().down("modem");
    EXPECT_EQ(network.daemon().restart("modem"), UBUS_STATUS_UNKNOWN_ERROR);
    EXPECT_EQ(network.daemon().renew("modem"), UBUS_STATUS_UNKNOWN_ERROR);
    EXPECT_EQ(network.daemon().restart("nobody"), UBUS_STATUS_NOT_FOUND);
}

TEST(NetworkDaemon, LeavesAnInterfaceDownThatWasTakenDownWhenItsOptionsChange)
{
    Network network({modem()});
    network.daemon().down("modem");
    network.sections()[0].options["apn"] = {"internet"};
    network.daemon().reload();
    EXPECT_NE(network.status("modem").find(R"("pending":false,"available":true,"autostart":false)"), std::string::npos);
}

TEST(NetworkDaemon, LeavesAPendingInterfaceAloneThatDidNotChange)
{
    Network network({modem()});
    network.daemon();
    network.now_ += 900;
    network.daemon().reload();
    network.now_ += 100;
    EXPECT_NE(network.status("modem").find("\"up\":true"), std::string::npos);
}

TEST(NetworkDaemon, LetsInterfacesComeAndGoWithTheConfiguration)
{
    Network network({wan()});
    network.daemon();
    network.sections().push_back(modem());
    network.daemon().reload();
    EXPECT_EQ(network.daemon().interface_names(), (std::vector<std::string>{"modem", "wan"}));
    network.sections()[0].options["disabled"] = {"yes"};
    network.daemon().reload();
    EXPECT_NE(network.status("wan"), "not found");
    network.sections()[0].options["disabled"] = {"true"};
    network.sections()[1].options["disabled"] = {"0"};
    network.daemon().reload();
    EXPECT_EQ(network.daemon().interface_names(), std::vector<std::string>{"modem"});
    EXPECT_EQ(network.status("wan"), "not found");
    network.sections_.reset();
    EXPECT_EQ(network.daemon().reload(), 4);
    EXPECT_EQ(network.daemon().interface_names(), std::vector<std::string>{"modem"});
}

TEST(NetworkDaemon, FollowsADeviceThatGoesAndComesBack)
{
    Network network({wan()});
    network.daemon();
    network.missing_ = {"wan0"};
    network.daemon().check_devices();
    EXPECT_EQ(
        network.status("wan"),
        R"({"up":false,"pending":false,"available":false,"autostart":true,"dynamic":false,"proto":"static","device":"wan0",)"
        R"("data":{},"errors":[{"subsystem":"interface","code":"NO_DEVICE"}]})");
    network.missing_ = {};
    network.daemon().check_devices();
    EXPECT_NE(network.status("wan").find(R"({"up":true)"), std::string::npos);
    EXPECT_EQ(network.status("wan").find("errors"), std::string::npos);
    EXPECT_EQ(network.changes_,
              (std::vector<std::string>{"wan wan0 up 10.9.8.2/29 fd00:9::2/64 via 10.9.8.1", "wan wan0 down",
                                        "wan wan0 up 10.9.8.2/29 fd00:9::2/64 via 10.9.8.1"}));
}

struct GoneModemRow {
    const char *proto;
    const char *status; ///< its beginning, while the modem is gone
    bool starts_again;  ///< by itself, once the modem is back
};
const char *const in_name_only = R"({"up":true,"pending":false,"available":true,"autostart":true)";
const char *const without_port = R"({"up":false,"pending":false,"available":false,"autostart":true)";
const GoneModemRow gone_modem_rows[] = {
    {"3g", without_port, true},        {"ncm", without_port, true},  {"qmi", in_name_only, false},
    {"mbim", in_name_only, false},     {"qcm", in_name_only, false}, {"callip", in_name_only, false},
    {"directip", in_name_only, false},
};

TEST(NetworkDaemon, GoesOnCallingAnInterfaceUpWhoseModemIsGoneUnlessItsHandlerFollowsThePort)
{
    for (const GoneModemRow &row : gone_modem_rows) {
        Network network({modem(row.proto)});
        network.daemon();
        network.now_ += 1000;
        ASSERT_NE(network.status("modem").find("\"up\":true"), std::string::npos) << row.proto;
        network.changes_.clear();
        network.missing_ = {"/dev/cdc-wdm0", "wwan0"};
        network.daemon().check_devices();
        EXPECT_TRUE(network.status("modem").starts_with(row.status)) << row.proto << network.status("modem");
        network.missing_ = {};
        network.daemon().check_devices();
        network.daemon().up("modem"); // of one that is up, it does nothing
        network.now_ += 1000;
        EXPECT_TRUE(network.status("modem").starts_with(in_name_only)) << row.proto << network.status("modem");
        EXPECT_EQ(network.changes_.size(), row.starts_again ? 2 : 0) << row.proto;
        network.changes_.clear();
        network.daemon().down("modem");
        network.daemon().up("modem");
        network.now_ += 1000;
        EXPECT_TRUE(network.status("modem").starts_with(in_name_only)) << row.proto << network.status("modem");
        EXPECT_EQ(network.changes_.size(), 2) << row.proto;
    }
}

TEST(NetworkDaemon, SaysThatAnInterfaceCannotStartWithoutItsPort)
{
    Network network({modem("3g")});
    network.daemon();
    network.missing_ = {"/dev/cdc-wdm0"};
    network.daemon().check_devices();
    EXPECT_EQ(network.daemon().up("modem"), UBUS_STATUS_OK);
    EXPECT_EQ(network.status("modem"),
              R"({"up":false,"pending":false,"available":false,"autostart":true,"dynamic":false,"proto":"3g",)"
              R"("data":{},"errors":[{"subsystem":"interface","code":"NO_DEVICE"}]})");
    network.daemon().down("modem");
    network.missing_ = {};
    network.daemon().check_devices();
    EXPECT_NE(network.status("modem").find(R"("pending":false,"available":true,"autostart":false)"), std::string::npos)
        << network.status("modem");
}

TEST(NetworkDaemon, StartsAnInterfaceWhoseHandlerFoundNoPortOnlyWhenItIsSaidToBeThere)
{
    Network network({modem()});
    network.missing_ = {"/dev/cdc-wdm0"};
    network.daemon();
    network.now_ += 1000;
    EXPECT_EQ(network.status("modem"),
              R"({"up":false,"pending":false,"available":false,"autostart":true,"dynamic":false,"proto":"qmi",)"
              R"("data":{},"errors":[{"subsystem":"qmi","code":"NO_DEVICE"}]})");
    network.missing_ = {};
    network.daemon().check_devices();
    network.daemon().down("modem");
    network.daemon().up("modem");
    network.daemon().reload();
    EXPECT_TRUE(network.status("modem").starts_with(without_port)) << network.status("modem");
    EXPECT_EQ(network.daemon().set_available("modem", true), UBUS_STATUS_OK);
    network.now_ += 1000;
    EXPECT_TRUE(network.status("modem").starts_with(in_name_only)) << network.status("modem");
    EXPECT_EQ(network.daemon().set_available("modem", true), UBUS_STATUS_OK);
    EXPECT_TRUE(network.status("modem").starts_with(in_name_only)) << network.status("modem");
    EXPECT_EQ(network.daemon().set_available("modem", false), UBUS_STATUS_OK);
    EXPECT_TRUE(network.status("modem").starts_with(without_port)) << network.status("modem");
    EXPECT_EQ(network.daemon().set_available("nobody", true), UBUS_STATUS_NOT_FOUND);
    // A changed option makes netifd forget what the handler said.
    network.sections()[0].options["apn"] = {"internet"};
    network.daemon().reload();
    network.now_ += 1000;
    EXPECT_TRUE(network.status("modem").starts_with(in_name_only)) << network.status("modem");
}

TEST(NetworkDaemon, RemovesACompanionWhoseDeviceIsGoneAndKeepsTheInterfaceThatMadeIt)
{
    Network network({modem()});
    network.daemon().set_behaviour("modem", {.companion = true});
    network.daemon().restart();
    network.now_ += 1000;
    network.daemon().advance();
    ASSERT_NE(network.status("modem_4").find(R"("up":true)"), std::string::npos) << network.status("modem_4");
    network.missing_ = {"/dev/cdc-wdm0", "wwan0"};
    network.daemon().check_devices();
    network.missing_ = {};
    network.daemon().check_devices();
    EXPECT_EQ(network.daemon().interface_names(), std::vector<std::string>{"modem"});
    EXPECT_TRUE(network.status("modem").starts_with(in_name_only));
}

TEST(NetworkDaemon, CaresAboutCarrierOnlyWithoutAProtocol)
{
    Network network({wan(), {"bare", {{"proto", {"none"}}, {"device", {"wan0"}}}}});
    network.daemon();
    network.without_carrier_ = {"wan0"};
    network.daemon().check_devices();
    EXPECT_NE(network.status("wan").find(R"("up":true)"), std::string::npos);
    EXPECT_NE(network.status("bare").find(R"("up":false)"), std::string::npos);
}

TEST(NetworkDaemon, AddsAndRemovesDynamicInterfaces)
{
    Network network({});
    const Json options{
        json_tokener_parse(R"({"name":"bare_4","proto":"none","device":"vm1","metric":7,"list":["a",null]})")};
    EXPECT_EQ(network.daemon().add_dynamic(options.get()), 0);
    EXPECT_NE(network.status("bare_4").find(R"("dynamic":true)"), std::string::npos);
    EXPECT_NE(network.status("bare_4").find(R"("metric":7)"), std::string::npos);
    network.daemon().reload();
    EXPECT_EQ(network.daemon().remove("bare_4"), 0);
    EXPECT_EQ(network.daemon().remove("bare_4"), 4);
    for (const char *bad : {"{}", "{\"name\":null}", "{\"name\":\"\"}"})
        EXPECT_EQ(network.daemon().add_dynamic(Json{json_tokener_parse(bad)}.get()), 2) << bad;
}

TEST(NetworkDaemon, AsksToBeWokenWhenASetupEnds)
{
    Network network({modem()});
    network.daemon();
    EXPECT_EQ(network.wakes_, std::vector<int64_t>{101000});
}

TEST(NetworkDaemon, AnswersNotFoundForAnInterfaceThatIsNotThere)
{
    Network network({});
    for (const char *name : {"nope", "", "a b"}) {
        EXPECT_EQ(network.daemon().up(name), 4);
        EXPECT_EQ(network.daemon().down(name), 4);
        EXPECT_EQ(network.status(name), "not found");
    }
}

TEST(NetworkObjects, ComeAndGoWithTheInterfaces)
{
    Network network({wan()});
    ServedUbus ubus;
    ubus.with([&](auto &server) { register_network_daemon(server, network.daemon()); });
    const auto call = [&](const char *object, const char *method) {
        return ubus_call(object, method, 20000, ubus.path().c_str());
    };
    EXPECT_EQ(kjson_get_boolean(call("network.interface.wan", "status").reply.get(), "up"), true);
    EXPECT_EQ(call("network.interface.modem", "status").code, 4);
    ubus.with([&](auto &) { network.sections() = {modem()}; });
    const UbusResult reload = call("network", "reload");
    EXPECT_EQ(reload.code, 0);
    EXPECT_EQ(reload.reply, nullptr);
    EXPECT_EQ(call("network.interface.wan", "status").code, 4);
    EXPECT_EQ(kjson_get_boolean(call("network.interface.modem", "status").reply.get(), "pending"), true);
    EXPECT_EQ(call("network.interface.modem", "down").code, 0);
    EXPECT_EQ(kjson_get_boolean(call("network.interface.modem", "status").reply.get(), "pending"), false);
    EXPECT_EQ(call("network.interface.modem", "up").code, 0);
    EXPECT_EQ(kjson_get_boolean(call("network.interface.modem", "status").reply.get(), "pending"), true);
    EXPECT_EQ(call("network.interface", "status").code, 2);
    EXPECT_EQ(call("network.interface", "frob").code, 3);
    EXPECT_EQ(text_of(call("network.interface", "dump").reply),
              R"({"interface":[{"interface":"modem","up":false,"pending":true,"available":true,"autostart":true,)"
              R"("dynamic":false,"proto":"qmi","data":{}}]})");
    ubus.with([&](auto &) { network.sections_.reset(); });
    EXPECT_EQ(call("network", "reload").code, 4);
}

} // namespace network_daemon_test
