#include "simulator/router/router_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace simulator {

namespace {

namespace fs = std::filesystem;

struct ConfigFile {
    const char *package;
    const char *text;
};

/// As OpenWrt and the router maker ship them; wan is the second zone.
constexpr ConfigFile config_files[] = {
    {"network", R"(
config interface 'loopback'
	option device 'lo'
	option proto 'static'
	option ipaddr '127.0.0.1'
	option netmask '255.0.0.0'

config globals 'globals'
	option ula_prefix 'fd5c:d1a5:72c2::/48'

config device
	option name 'br-lan'
	option type 'bridge'
	list ports 'eth0'

config interface 'lan'
	option device 'br-lan'
	option proto 'static'
	option ipaddr '192.168.1.1'
	option netmask '255.255.255.0'
	option ip6assign '60'

config interface 'wan'
	option device 'eth1'
	option proto 'dhcp'

config interface 'wan6'
	option device 'eth1'
	option proto 'dhcpv6'
)"},
    {"firewall", R"(
config defaults
	option syn_flood '1'
	option input 'ACCEPT'
	option output 'ACCEPT'
	option forward 'REJECT'

config zone
	option name 'lan'
	option network 'lan'
	option input 'ACCEPT'
	option output 'ACCEPT'
	option forward 'ACCEPT'

config zone
	option name 'wan'
	option network 'wan wan6'
	option input 'REJECT'
	option output 'ACCEPT'
	option forward 'REJECT'
	option masq '1'
	option mtu_fix '1'

config forwarding
	option src 'lan'
	option dest 'wan'
)"},
    {"system", R"(
config system
	option hostname 'OpenWrt'
	option timezone 'UTC'
	option ttylogin '0'
	option log_size '64'

config led 'led_modem'
	option name 'modem'
	option sysfs 'green:modem'
	option trigger 'netdev'
	option mode 'link tx rx'
	option dev 'wwan0'

config led 'led_3gnet'
	option name '3gnet'
	option trigger 'netdev'
)"},
    {"wireless", R"(
config wifi-device 'radio0'
	option type 'mac80211'
	option path 'platform/soc/a000000.wifi'
	option band '2g'
	option channel '1'
	option htmode 'HT20'

config wifi-iface 'default_radio0'
	option device 'radio0'
	option network 'lan'
	option mode 'ap'
	option ssid 'OpenWrt'
	option encryption 'none'
)"},
    {"devconf", R"(
config modem 'modem'
	list bus '1-1.2'
)"},
    {"cellconf", ""},
    {"smsrelay", R"(
config sms 'general'
	option enabled '0'
)"},
    {"mwan3", R"(
config globals 'globals'
	option mmx_mask '0x3F00'

config interface 'wan'
	option enabled '1'
	option family 'ipv4'
	list track_ip '1.1.1.1'

config member 'wan_only'
	option interface 'wan'
	option metric '1'
	option weight '3'

config policy 'default_poli'
	list use_member 'wan_only'

config rule 'default_rule'
	option dest_ip '0.0.0.0/0'
	option use_policy 'default_poli'
)"},
};

constexpr const char *folders[] = {"/etc/config",
                                   "/etc/ssmtp",
                                   "/etc/spool/sms/incoming",
                                   "/etc/spool/sms/outgoing",
                                   "/etc/spool/sms/checked",
                                   "/etc/spool/sms/sent",
                                   "/etc/spool/sms/failed",
                                   "/etc/spool/sms/storage",
                                   "/root",
                                   "/run/lock",
                                   "/run/ubus",
                                   "/tmp/sysinfo",
                                   "/usr/share/modem",
                                   "/www/src/lib"};

/// The pins that switch the modems' power, by board.
struct PowerPins {
    std::string_view board;
    std::vector<const char *> pins;
};
const PowerPins power_pins[] = {
    {"marten", {"lte_power"}}, {"otter", {"lte_power"}},
    {"badger", {"gpio0"}},     {"falcon", {"gpio0"}},
    {"kestrel", {"gpio0"}},    {"osprey", {"pci_power"}},
    {"magpie", {"usb_power"}}, {"bison", {"usb_power"}},
    {"egret", {"gpio1"}},      {"condor", {"gpio5", "gpio7", "gpio15"}},
};

/// Programs of the build folder that the router has under their own names.
constexpr const char *products[] = {"modemctl", "modemapi", "uci", "ubus", "ifstatus"};

/// Commands that do nothing but write themselves into the journal.
constexpr const char *recorded[] = {
    "uqmi", "mwan3",  "zonewall", "iwinfo",         "opkg",        "sendsms",       "ssmtp",         "wifi",
    "ifup", "ifdown", "timeout",  "modem_fw_flash", "mbn_refresh", "carrier_check", "signal_led.sh", "reboot"};
constexpr const char *recorded_scripts[] = {"led",     "firewall", "smstools3", "shortcut-fe",
                                            "network", "mwan3",    "routes"};

/// Files that the machine may lack, or has in another form than the router.
constexpr const char *busybox_applets[] = {"killall", "pidof", "ifconfig", "route", "logger", "microcom", "hexdump"};

void add_command(std::vector<RouterFile> &files, const std::string &name, const std::string &target)
{
    // In both folders, so that the machine's own program of that name is found in neither.
    for (const char *folder : {"/usr/bin/", "/usr/sbin/"})
        files.push_back({RouterFile::Kind::link, folder + name, target});
}

std::string read_whole(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in)
        throw OptionError("--put: cannot read " + path.string());
    return text;
}

RouterFile put_file(const fs::path &source, const std::string &destination)
{
    const auto mode = static_cast<uint32_t>(fs::status(source).permissions() & fs::perms::all);
    return {RouterFile::Kind::file, destination, read_whole(source), mode};
}

} // namespace

std::vector<RouterFile> router_files(const std::string &board, const std::string &build_folder,
                                     const std::string &busybox)
{
    using enum RouterFile::Kind;
    std::vector<RouterFile> files;
    for (const char *path : folders)
        files.push_back({folder, path, {}, 0755});
    for (const auto &[package, text] : config_files)
        files.push_back({file, std::string("/etc/config/") + package, text});
    files.push_back({file, "/tmp/sysinfo/board_name", "maker," + board + "\n"});
    files.push_back({file, "/tmp/sysinfo/model", "Maker " + board + "\n"});

    for (const PowerPins &row : power_pins)
        if (row.board == board)
            for (const char *pin : row.pins)
                files.push_back({file, std::string("/sys/class/gpio/") + pin + "/value", "1\n"});

    for (const char *name : products)
        if (const std::string program = build_folder + "/" + name; fs::exists(program))
            add_command(files, name, program);
    const std::string recorder = build_folder + "/simcommand";
    for (const char *name : recorded)
        add_command(files, name, recorder);
    for (const char *name : recorded_scripts)
        files.push_back({link, std::string("/etc/init.d/") + name, recorder});
    // The recorder takes the shell's place and goes on as the real one, whose process name is then still "sh".
    files.push_back({link, "/bin/sh", recorder});
    add_command(files, "ps", recorder);
    for (const char *name : {"sh", "timeout", "ps"})
        files.push_back({link, std::string("/usr/libexec/simrouter/") + name, busybox});
    for (const char *name : busybox_applets)
        add_command(files, name, busybox);
    return files;
}

std::vector<RouterFile> product_files(const std::string &folder, const std::string &runner,
                                      const std::string &build_folder)
{
    std::vector<RouterFile> files;
    if (!fs::exists(folder + "/modemctl"))
        throw OptionError("--products: there is no " + folder + "/modemctl");
    for (const std::string name : {"modemctl", "modemapi", "call_operation"}) {
        const std::string product = folder + "/" + name;
        if (!fs::exists(product))
            continue;
        add_command(files, name, runner.empty() ? product : build_folder + "/simcommand");
        if (!runner.empty()) {
            files.push_back({RouterFile::Kind::link, "/usr/libexec/simrouter/runner/" + name, runner});
            files.push_back({RouterFile::Kind::link, "/usr/libexec/simrouter/product/" + name, product});
        }
    }
    return files;
}

std::vector<RouterFile> put_files(const std::vector<PutChoice> &puts)
{
    using enum RouterFile::Kind;
    std::vector<RouterFile> files;
    for (const PutChoice &put : puts) {
        if (put.source.empty()) {
            files.push_back({file, put.destination, put.text + "\n"});
        } else if (fs::is_directory(put.source)) {
            files.push_back({folder, put.destination, {}, 0755});
            for (const auto &entry : fs::recursive_directory_iterator(put.source)) {
                const std::string path = put.destination + "/" + fs::relative(entry.path(), put.source).string();
                if (entry.is_directory())
                    files.push_back({folder, path, {}, 0755});
                else if (entry.is_regular_file())
                    files.push_back(put_file(entry.path(), path));
            }
        } else {
            files.push_back(put_file(put.source, put.destination));
        }
    }
    return files;
}

} // namespace simulator
