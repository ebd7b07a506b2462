#pragma once

#include "platform/text.h"

// What the handlers of messages, forwarding and upgrade hand to the shell. The texts of a request stand in these lines
// as they came: docs/security.md tells what a back end refuses before it calls a handler.

inline constexpr char find_mail_client[] = "opkg list-installed | grep ssmtp";
inline constexpr char find_running_upgrade[] = "ps -w | grep modem_fw_flash | grep -v grep";
inline constexpr char ask_sim_ready[] = "modemctl AT AT+CPIN? | grep READY";
inline constexpr char ask_ep06_version[] = "modemctl AT AT+QGMR | grep EP06";
inline constexpr char ask_ec25_version[] = "modemctl AT AT+QGMR | grep EC25";
inline constexpr char upgrade_progress_file[] = "/tmp/modem_upgrade_status";
inline constexpr char read_upgrade_progress[] = "cat /tmp/modem_upgrade_status";
// The cloud agent hears of a refused upgrade and of a progress report in two forms.
inline constexpr char notify_agent_of_refusal[] = "sleep 3; ubus call mqtt notify;";
inline constexpr char notify_agent_of_progress[] = "sleep 5; ubus call mqtt notify";

/// Sends a message through the SMS daemon. Cut at 299 bytes, mostly within a text, which the shell then refuses for
/// want of a quote.
Text<300> compose_send_message(const char *number, const char *message, const char *type);

/// Mails a message from account to itself; cut as above at 511 bytes.
Text<512> compose_verification_mail(const char *account);

struct UpgradeRequest {
    const char *modem_url;
    const char *target_version;
    const char *current_version;
    const char *firmware_upload;
    const char *hash_type;
    const char *hash_value;
};

/// Empty when it does not fit: half a URL is never flashed.
Text<512> compose_upgrade(const UpgradeRequest &request);
