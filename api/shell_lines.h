#pragma once

#include "platform/shell_line.h"

// Every line that the handlers give to the shell. The texts of messages, mail accounts and upgrades go into them
// unchecked: docs/security.md says what a back end refuses before it calls a handler.

inline constexpr char find_mail_client[] = "opkg list-installed | grep ssmtp";
inline constexpr char find_running_upgrade[] = "ps -w | grep modem_fw_flash | grep -v grep";
// Only makers of routers have it.
inline constexpr char upgrade_program[] = "/usr/bin/modem_fw_flash";
inline constexpr char ask_sim_ready[] = "modemctl AT AT+CPIN? | grep READY";
inline constexpr char ask_ep06_version[] = "modemctl AT AT+QGMR | grep EP06";
inline constexpr char ask_ec25_version[] = "modemctl AT AT+QGMR | grep EC25";
inline constexpr char upgrade_progress_file[] = "/tmp/modem_upgrade_status";
inline constexpr char read_upgrade_progress[] = "cat /tmp/modem_upgrade_status";
// The cloud agent expects two forms: one for a refused upgrade, one for a progress report.
inline constexpr char notify_agent_of_refusal[] = "sleep 3; ubus call mqtt notify;";
inline constexpr char notify_agent_of_progress[] = "sleep 5; ubus call mqtt notify";

/// Sends a message through the SMS daemon. Cut at 299 bytes; a cut usually leaves a quote open, so the shell refuses
/// the command.
ShellLine<300> compose_send_message(const char *number, const char *message, const char *type);

/// Mails a message from account to itself. Cut at 511 bytes, as above.
ShellLine<512> compose_verification_mail(const char *account);

struct UpgradeRequest {
    const char *modem_url;
    const char *target_version;
    const char *current_version;
    const char *firmware_upload;
    const char *hash_type;
    const char *hash_value;
};

/// Empty if it does not fit: half a URL is never flashed.
ShellLine<512> compose_upgrade(const UpgradeRequest &request);

inline constexpr char reload_led_later[] = "sleep 10 ;/etc/init.d/led reload 2>&1 >/dev/null";
inline constexpr char kill_other_instances[] = "killall -9 modemctl 2>/dev/null";
inline constexpr char refresh_carrier_settings[] = "/usr/bin/mbn_refresh";
inline constexpr char check_carrier_later[] = "sleep 20 && /usr/bin/carrier_check &";
inline constexpr char start_sms_daemon_later[] = "sleep 3 && /etc/init.d/smstools3 start";
inline constexpr char export_sim_gpio[] = "echo 1 >/sys/class/gpio/export";
inline constexpr char direct_sim_gpio[] = "echo out >/sys/class/gpio/gpio1/direction";

ShellLine<100> compose_auto_connect(const char *bus);
/// Ends the multi-WAN tracker of an interface.
ShellLine<100> compose_kill_tracker(const char *iface);
ShellLine<100> compose_interface_down(const char *iface);
ShellLine<100> compose_interface_start(const char *iface);
/// Removes everything that is kept about the modem on bus.
ShellLine<100> compose_forget_modem(const char *bus);
/// Remove what is kept about its signal, and the IMSI.
ShellLine<100> compose_forget_signal(const char *bus);
ShellLine<100> compose_forget_imsi(const char *bus);
ShellLine<100> compose_set_sim_gpio(bool second, const char *file);
ShellLine<100> compose_show_signal_later(const char *bus);
/// Prints the LAN bridge's line that holds the gateway.
ShellLine<100> compose_find_gateway(const char *gateway);
