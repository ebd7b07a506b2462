#include "api/mail_client.h"

#include <gtest/gtest.h>

namespace api_mail_client_test {

TEST(MailDomain, IsWhatStandsBehindTheFirstAt)
{
    const struct {
        const char *address;
        const char *domain;
    } rows[] = {
        {"me@example.org", "example.org"},
        {"me@example.org@other.org", "example.org@other.org"},
        {"me", ""},
        {"", ""},
        {"me@", ""},
        {"@example.org", ""},
        {"me@example.org more", "example.org"},
        {"me@example.org\nroot=x", "example.org"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(mail_domain(row.address), row.domain) << row.address;
    const std::string longest(63, 'd');
    EXPECT_EQ(mail_domain(("me@" + longest).c_str()), longest);
    EXPECT_EQ(mail_domain(("me@" + longest + "d").c_str()), longest) << "cut";
}

TEST(MailSettings, NameTheAccountItsServerAndItsDomain)
{
    EXPECT_EQ(compose_mail_settings({"me@example.org", "secret", "mail.example.org:465"}),
              "root=me@example.org\n"
              "mailhub=mail.example.org:465\n"
              "rewriteDomain=example.org\n"
              "hostname=example.org\n"
              "AuthUser=me@example.org\n"
              "AuthPass=secret\n"
              "AuthMethod=LOGIN\n"
              "UseTLS=YES\n"
              "FromLineOverride=Yes\n"
              "#UseSTARTTLS=Yes\n");
}

TEST(MailSettings, UseStartTlsWhereTheServerHoldsPort587)
{
    const struct {
        const char *smtp;
        const char *last_lines;
    } rows[] = {
        {"mail.example.org:587", "FromLineOverride=Yes\nUseSTARTTLS=Yes\n"},
        {"587.example.org", "FromLineOverride=Yes\nUseSTARTTLS=Yes\n"},
        {"mail.example.org:465", "FromLineOverride=Yes\n#UseSTARTTLS=Yes\n"},
        {"", "FromLineOverride=Yes\n#UseSTARTTLS=Yes\n"},
    };
    for (const auto &row : rows)
        EXPECT_TRUE(compose_mail_settings({"me@example.org", "secret", row.smtp}).view().ends_with(row.last_lines))
            << row.smtp;
}

TEST(MailSettings, OfAnAccountWithoutAtHaveNoDomain)
{
    EXPECT_EQ(compose_mail_settings({"me", "", ""}),
              "root=me\nmailhub=\nrewriteDomain=\nhostname=\nAuthUser=me\nAuthPass=\n"
              "AuthMethod=LOGIN\nUseTLS=YES\nFromLineOverride=Yes\n#UseSTARTTLS=Yes\n");
}

TEST(MailSettings, AreCutAt2047Bytes)
{
    const std::string password(3000, 'p');
    const auto settings = compose_mail_settings({"me", password.c_str(), "587"});
    const std::string start = "root=me\nmailhub=587\nrewriteDomain=\nhostname=\nAuthUser=me\nAuthPass=";
    EXPECT_EQ(settings, start + password.substr(0, 2047 - start.size()));
}

TEST(MailAliases, AreOneLineWithoutItsEnd)
{
    EXPECT_EQ(compose_mail_aliases({"me@example.org", "", "mail.example.org:465"}),
              "root:me@example.org:mail.example.org:465");
    const std::string account(300, 'a');
    EXPECT_EQ(compose_mail_aliases({account.c_str(), "", ""}), "root:" + account.substr(0, 250)) << "cut";
}

TEST(MailSettingsLine, FeedsTheValuesThatItNames)
{
    const struct {
        const char *what;
        const char *line;
        const char *account;
        const char *password;
        const char *smtp;
    } rows[] = {
        {"account", "AuthUser=me@example.org\n", "me@example.org", "2", "3"},
        {"password", "AuthPass=secret\n", "1", "secret", "3"},
        {"server", "mailhub=mail.example.org:465\n", "1", "2", "mail.example.org:465"},
        {"a blank ends the value", "AuthPass=secret word\n", "1", "secret", "3"},
        {"a blank in front does not", "AuthPass= secret\n", "1", "secret", "3"},
        {"only the first = counts", "AuthPass=a=b=\n", "1", "a=b=", "3"},
        {"the name stands anywhere", "# my AuthUser x=y\n", "y", "2", "3"},
        {"one line feeds several", "AuthUser=AuthPass\n", "AuthPass", "AuthPass", "3"},
        {"one line feeds all", "mailhub AuthUser AuthPass=x\n", "x", "x", "x"},
        {"another name", "hostname=example.org\n", "1", "2", "3"},
        {"no value", "AuthUser=\n", "1", "2", "3"},
        {"no =", "AuthUser\n", "1", "2", "3"},
        {"nothing before =", "=AuthUser\n", "1", "2", "3"},
        {"nothing", "", "1", "2", "3"},
    };
    for (const auto &row : rows) {
        MailSettings settings = {.account = "1", .password = "2", .smtp = "3"};
        parse_mail_settings_line(row.line, settings);
        EXPECT_EQ(settings.account, row.account) << row.what;
        EXPECT_EQ(settings.password, row.password) << row.what;
        EXPECT_EQ(settings.smtp, row.smtp) << row.what;
    }
}

TEST(MailSettingsLine, IsCutAt127Characters)
{
    MailSettings settings;
    parse_mail_settings_line(("AuthPass=" + std::string(128, 'p')).c_str(), settings);
    EXPECT_EQ(settings.password, std::string(127, 'p'));
}

} // namespace api_mail_client_test
