#include <gtest/gtest.h>

#include <filesystem>
#include <json-c/json.h>
#include <sstream>

#include "tests/paths.h"
#include "tests/system/harness.h"

// The examples of docs/ubus.md, with Debian's programs where tools/setup.sh has fetched them. The router has no rpcd: a
// stand-in of "ubus call modemctl" starts the plugin as rpcd does.

namespace agents_test {

const std::string document = SOURCE_ROOT "/docs/ubus.md";
const std::string agents = built("agents");

bool has(const std::string &program)
{
    return std::filesystem::exists(agents + program);
}

// The indented lines below a heading that begin with a line of that start, up to the next line of text.
std::string example(const std::string &heading, const std::string &start)
{
    std::istringstream lines{read_text(document)};
    std::string text;
    bool is_below = false;
    for (std::string line; std::getline(lines, line);) {
        const bool is_code = line.starts_with("    ") || (line.empty() && !text.empty());
        if (line.starts_with("#"))
            is_below = line == heading;
        else if (is_below && text.empty() && line.starts_with("    " + start))
            text = line.substr(4) + "\n";
        else if (!text.empty() && !is_code)
            break;
        else if (!text.empty())
            text += (line.empty() ? "" : line.substr(4)) + "\n";
    }
    return text;
}

RouterRun router(const std::string &script, const std::string &link = "setup=100")
{
    const std::string set_up = R"sh(
mkdir -p /run/stand-in; cat >/run/stand-in/ubus <<'END'
#!/bin/sh
case "$2 $3" in
"call modemctl") printf %s "${5:-{\}}" | modemctl rpcd call "$4" ;;
*) PATH=${PATH#/run/stand-in:} exec ubus "$@" ;;
esac
END
chmod +x /run/stand-in/ubus
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci commit network; ubus call network reload
touch /etc/config/modemctl; uci set modemctl.watch=watch; uci set modemctl.watch.probe=none; uci commit modemctl
export PATH=/run/stand-in:$PATH
agents=')sh" + agents + R"sh('
for folder in "$agents"/usr/lib/*-linux-gnu; do export LD_LIBRARY_PATH="$folder"; done
)sh";
    return run_shell(
        {"--modem", "EC25", "--link", link, "--put", TEST_DATA "/openwrt/hotplug-call:/usr/sbin/hotplug-call"},
        set_up + script);
}

TEST(Agents, CollectdGetsTheLastSampleOfAModem)
{
    const std::string program = example("### collectd", "#!/bin/sh");
    ASSERT_NE(program, "");
    const RouterRun run = router("cat >/usr/libexec/collectd-modemctl <<'END'\n" + program +
                                 "END\nmodemctl watch --once; COLLECTD_HOSTNAME=here timeout 2 sh "
                                 "/usr/libexec/collectd-modemctl 1-1.2");
    EXPECT_EQ(run.out, "PUTVAL \"here/modemctl-1-1.2/gauge-rssi_dbm\" N:-51\n"
                       "PUTVAL \"here/modemctl-1-1.2/gauge-rsrp_dbm\" N:-86\n"
                       "PUTVAL \"here/modemctl-1-1.2/gauge-rsrq_db\" N:-11.0\n"
                       "PUTVAL \"here/modemctl-1-1.2/gauge-sinr_db\" N:12.0\n"
                       "PUTVAL \"here/modemctl-1-1.2/derive-rx_bytes\" N:0\n"
                       "PUTVAL \"here/modemctl-1-1.2/derive-tx_bytes\" N:0\n")
        << run.err;
}

TEST(Agents, CollectdWritesWhatTheProgramPrints)
{
    if (!has("/usr/sbin/collectd"))
        GTEST_SKIP() << "collectd is not there; tools/setup.sh fleet fetches it.";
    const std::string plugin = example("### collectd", "LoadPlugin exec");
    ASSERT_NE(plugin, "");
    const RouterRun run =
        router("touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; exit; }\n"
               "cat >/usr/libexec/collectd-modemctl <<'END'\n" +
               example("### collectd", "#!/bin/sh") +
               "END\nchmod 755 /usr/libexec/collectd-modemctl; modemctl watch --once\n"
               // Another user's program cannot look into the state folder; on a router, rpcd does.
               "modemctl rpcd call history </dev/null >/tmp/sample; chmod 644 /tmp/sample\n"
               "printf '#!/bin/sh\\ncat /tmp/sample\\n' >/run/stand-in/ubus\n"
               "cat >/tmp/collectd.conf <<'END'\nHostname \"here\"\nInterval 1\nPluginDir \"" +
               agents + "/usr/lib/collectd\"\nTypesDB \"" + agents +
               "/usr/share/collectd/types.db\"\nPIDFile \"/tmp/collectd.pid\"\nBaseDir \"/tmp\"\nLoadPlugin csv\n"
               "<Plugin csv>\nDataDir \"/tmp/csv\"\n</Plugin>\n" +
               plugin +
               "END\n"
               "\"$agents\"/usr/sbin/collectd -f -C /tmp/collectd.conf >/tmp/collectd.log 2>&1 & collectd=$!\n"
               "n=0; until [ \"$(ls /tmp/csv/here/modemctl-1-1.2 2>/dev/null | wc -l)\" = 6 ]; do n=$((n + 1)); [ $n "
               "-lt 150 ] || { cat /tmp/collectd.log; break; }; sleep 0.1; done; kill $collectd\n"
               "ls /tmp/csv/here/modemctl-1-1.2 | sed 's/-20.*//'");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out,
              "derive-rx_bytes\nderive-tx_bytes\ngauge-rsrp_dbm\ngauge-rsrq_db\ngauge-rssi_dbm\ngauge-sinr_db\n")
        << run.err;
}

TEST(Agents, AnMqttBrokerKeepsTheStateOfAModem)
{
    if (!has("/usr/sbin/mosquitto") || !has("/usr/bin/mosquitto_pub"))
        GTEST_SKIP() << "mosquitto is not there; tools/setup.sh fleet fetches it.";
    const std::string hook = example("### MQTT", "#!/bin/sh");
    ASSERT_NE(hook, "");
    const RouterRun run = router("PATH=\"$PATH:$agents/usr/bin\"; echo '127.0.0.1 broker' >>/etc/hosts\n"
                                 "\"$agents\"/usr/sbin/mosquitto -p 1883 >/tmp/mosquitto.log 2>&1 & broker=$!\n"
                                 "mkdir -p /etc/hotplug.d/modem; cat >/etc/hotplug.d/modem/50-mqtt <<'END'\n" +
                                     hook +
                                     "END\nmodemctl info >/dev/null; modemctl watch --once\n"
                                     "topic=modems/$(cat /proc/sys/kernel/hostname)/1-1.2\n"
                                     "for what in state info; do n=0\n"
                                     "until timeout 1 mosquitto_sub -h broker -C 1 -t \"$topic/$what\" >/tmp/got; do "
                                     "n=$((n + 1)); [ $n -lt 15 ] || break; done; sed 's|_s\":.*||' /tmp/got; done\n"
                                     "kill $broker; cat /tmp/mosquitto.log >&2",
                                 "setup=never");
    EXPECT_EQ(run.out, "{\"state\":\"starting\",\"reason\":\"wanted\"}\n{\"schema\":1,\"bus\":\"1-1.2\",\"uptime\n")
        << run.err;
}

TEST(Agents, FindEveryMemberOfTheDataModel)
{
    std::istringstream lines{read_text(document)};
    std::vector<std::pair<std::string, std::string>> members;
    bool is_below = false;
    for (std::string line; std::getline(lines, line);) {
        is_below = line.starts_with("| parameter of Device") || (is_below && line.starts_with("|"));
        std::vector<std::string> quoted;
        for (size_t at = line.find('`'); is_below && at != std::string::npos; at = line.find('`', at)) {
            const size_t end = line.find('`', at + 1);
            quoted.push_back(line.substr(at + 1, end - at - 1));
            at = end + 1;
        }
        if (quoted.size() >= 3)
            members.emplace_back(quoted[1], quoted[2]);
    }
    ASSERT_GE(members.size(), 18U);
    const RouterRun run = router("ubus call network.interface.modem_1_1_2 up; modemctl info >/dev/null; "
                                 "modemctl watch --once; n=0\n"
                                 "until ubus -S call modemctl status | grep -q '\"state\":\"up\"' || [ $n = 100 ]; "
                                 "do n=$((n + 1)); sleep 0.1; done\n"
                                 "for m in modems settings status identity info; do ubus -S call modemctl $m; done");
    const auto answers = lines_of(run.out);
    const std::vector<std::string> methods = {"modems", "settings", "status", "identity", "info"};
    ASSERT_EQ(answers.size(), methods.size()) << run.out << run.err;
    for (const auto &[method, path] : members) {
        const auto index = std::find(methods.begin(), methods.end(), method) - methods.begin();
        json_object *answer = json_tokener_parse(answers.at(static_cast<size_t>(index)).c_str());
        json_object *member = answer;
        std::istringstream names{path};
        for (std::string name; std::getline(names, name, '.');)
            member = json_object_is_type(member, json_type_array) ? json_object_array_get_idx(member, std::stoul(name))
                                                                  : json_object_object_get(member, name.c_str());
        EXPECT_NE(member, nullptr) << method << " " << path << ": " << answers.at(static_cast<size_t>(index));
        json_object_put(answer);
    }
}

} // namespace agents_test
