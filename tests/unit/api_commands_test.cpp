#include "api/shell_lines.h"

#include <gtest/gtest.h>

#include "api/upgrade.h"

namespace api_commands_test {

TEST(SendMessageCommand, HoldsTheTextsAsTheyCame)
{
    EXPECT_EQ(compose_send_message("+4917012345", "Hello", "international"),
              "sendsms '+4917012345' 'Hello' 'international'");
    EXPECT_EQ(compose_send_message("", "it's\nhere", ""), "sendsms '' 'it's\nhere' ''");
}

TEST(SendMessageCommand, IsCutAt299Bytes)
{
    const std::string message(400, 'm');
    const std::string whole = "sendsms '1' '" + message.substr(0, 268) + "' 'international'";
    ASSERT_EQ(whole.size(), 299U - 1);
    EXPECT_EQ(compose_send_message("1", message.substr(0, 268).c_str(), "international"), whole);
    EXPECT_EQ(compose_send_message("1", message.substr(0, 269).c_str(), "international"),
              "sendsms '1' '" + message.substr(0, 269) + "' 'international'");
    EXPECT_EQ(compose_send_message("1", message.substr(0, 270).c_str(), "international"),
              "sendsms '1' '" + message.substr(0, 270) + "' 'international");
    EXPECT_EQ(compose_send_message("1", message.c_str(), "international"), "sendsms '1' '" + message.substr(0, 286));
}

TEST(VerificationMailCommand, MailsTheAccountToItself)
{
    EXPECT_EQ(compose_verification_mail("me@example.org"),
              "timeout 15 echo -e 'From: me@example.org\nSubject:Verification email\n"
              "Content-Type: text/html;charset=UTF-8\n\n"
              " This email account has been set to sms forward sender successfully - Norvane'"
              "| ssmtp -vvv 'me@example.org' ");
}

TEST(VerificationMailCommand, IsCutAt511Bytes)
{
    const std::string account(600, 'a');
    EXPECT_EQ(compose_verification_mail(account.c_str()), "timeout 15 echo -e 'From: " + account.substr(0, 485));
}

TEST(UpgradeCommand, HoldsTheTextsInTheOrderOfTheScriptsArguments)
{
    EXPECT_EQ(compose_upgrade({.modem_url = "http://example.org/fw.zip",
                               .target_version = "EP06_2",
                               .current_version = "EP06_1",
                               .firmware_upload = "0",
                               .hash_type = "md5",
                               .hash_value = "d41d8"}),
              "/usr/bin/modem_fw_flash 0 http://example.org/fw.zip EP06_2 md5 d41d8");
}

TEST(UpgradeCommand, IsEmptyWhereItDoesNotFit)
{
    const std::string url(478, 'u');
    const auto compose = [](const std::string &text) {
        return compose_upgrade({.modem_url = text.c_str(),
                                .target_version = "t",
                                .current_version = "c",
                                .firmware_upload = "0",
                                .hash_type = "m",
                                .hash_value = "h"});
    };
    EXPECT_EQ(compose(url), "/usr/bin/modem_fw_flash 0 " + url + " t m h");
    EXPECT_EQ(compose(url).size(), 510U);
    EXPECT_EQ(compose(url + "u").size(), 511U);
    EXPECT_EQ(compose(url + "uu"), "");
}

TEST(Version, IsLettersDigitsPointsAndUnderscores)
{
    const struct {
        const char *what;
        std::string_view output;
        const char *version;
    } rows[] = {
        {"a line's end", "EC25EFAR06A03M4G_01.001.01.001\r\n", "EC25EFAR06A03M4G_01.001.01.001"},
        {"blanks", " EP06 ELAR\t03 \r\r\n", "EP06ELAR03"},
        {"several lines", "EP06A\nEP06B\n", "EP06AEP06B"},
        {"other characters", "EP06-A:/(1)+\"\x80\xFF\x7F", "EP06A1"},
        {"a zero byte", {"EP\0 06", 6}, "EP06"},
        {"nothing of it", "\r\n- \r\n", ""},
        {"nothing", "", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(filter_version(row.output), row.version) << row.what;
    EXPECT_EQ(filter_version(std::string(300, 'v')), std::string(127, 'v'));
}

TEST(FixedCommands, AreThese)
{
    EXPECT_STREQ(find_mail_client, "opkg list-installed | grep ssmtp");
    EXPECT_STREQ(find_running_upgrade, "ps -w | grep modem_fw_flash | grep -v grep");
    EXPECT_STREQ(ask_sim_ready, "modemctl AT AT+CPIN? | grep READY");
    EXPECT_STREQ(ask_ep06_version, "modemctl AT AT+QGMR | grep EP06");
    EXPECT_STREQ(ask_ec25_version, "modemctl AT AT+QGMR | grep EC25");
    EXPECT_STREQ(read_upgrade_progress, "cat /tmp/modem_upgrade_status");
    EXPECT_STREQ(notify_agent_of_refusal, "sleep 3; ubus call mqtt notify;");
    EXPECT_STREQ(notify_agent_of_progress, "sleep 5; ubus call mqtt notify");
}

} // namespace api_commands_test
