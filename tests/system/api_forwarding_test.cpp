#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/paths.h"
#include "tests/system/web_requests.h"

// Where received messages go, and the account that mails them.

namespace api_forwarding_test {

using Lines = std::vector<std::string>;

const Lines with_service{"--put-text", "/etc/forward=", "--put-text",
                         "/etc/config/smsrelay=config sms 'general'\n\toption phone '110'\n"
                         "\toption email 'me@example.org'"};

TEST(Forward, WithoutTheServiceChangesNothing)
{
    const std::string refused = "-7 {\"msg\":\"Forward file don't exist\"}\n";
    const RouterRun run =
        serve({}, "post /modem/sms/forward {\"tel\":\"1\"}\npost /modem/sms/forward\n", ":", "uci show smsrelay");
    EXPECT_EQ(run.out, refused + refused + "smsrelay.general=sms\nsmsrelay.general.enabled='0'\n");
}

TEST(Forward, SetsBothTargets)
{
    const struct {
        const char *what;
        const char *request;
        const char *options;
    } rows[] = {
        {"both", R"({"tel":"112,113","email":"you@example.org"})",
         "smsrelay.general.phone='112,113'\nsmsrelay.general.email='you@example.org'\n"},
        {"an absent e-mail address stays", R"({"tel":"112"})",
         "smsrelay.general.phone='112'\nsmsrelay.general.email='me@example.org'\n"},
        {"an absent number stays", R"({"email":"you@example.org"})",
         "smsrelay.general.phone='110'\nsmsrelay.general.email='you@example.org'\n"},
        {"null counts as absent", R"({"tel":"112","email":null})",
         "smsrelay.general.phone='112'\nsmsrelay.general.email='me@example.org'\n"},
        {"an empty text empties", R"({"tel":"","email":""})", ""},
        {"an empty text empties one", R"({"tel":""})", "smsrelay.general.email='me@example.org'\n"},
        {"a number for a text", R"({"tel":112,"email":""})", "smsrelay.general.phone='112'\n"},
        {"neither changes nothing", "{}", "smsrelay.general.phone='110'\nsmsrelay.general.email='me@example.org'\n"},
        {"neither in another form", R"({"tel":null,"email":["x"]})",
         "smsrelay.general.phone='110'\nsmsrelay.general.email='me@example.org'\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(serve(with_service, std::string{"post /modem/sms/forward "} + row.request + "\n", ":",
                        "uci show smsrelay; uci changes")
                      .out,
                  std::string{"0 {}\nsmsrelay.general=sms\n"} + row.options)
            << row.what;
}

TEST(ForwardList, OfARouterWithoutMailClientAndSettingsIsSixEmptyTexts)
{
    EXPECT_EQ(serve({}, "get /modem/sms/flist\n", "rm -r /etc/ssmtp").out,
              R"(0 {"tel_list":"","email_list":"","account":"","password":"","smtp":"","local_tel":""})"
              "\n");
}

TEST(ForwardList, TellsTargetsAccountAndLocalNumber)
{
    const Lines options{"--put-text",
                        "/etc/config/smsrelay=config sms 'general'\n\toption phone '110'\n"
                        "\toption email 'me@example.org'\n\toption subject '+4917012345'",
                        "--put-text",
                        "/etc/ssmtp/ssmtp.conf=root=x\nmailhub=mail.example.org:587\nAuthUser=me@example.org\n"
                        "AuthPass=secret word"};
    EXPECT_EQ(serve(options, "get /modem/sms/flist {\"modem_id\":{}}\n").out,
              R"(0 {"tel_list":"110","email_list":"me@example.org","account":"me@example.org","password":"secret",)"
              R"("smtp":"mail.example.org:587","local_tel":"+4917012345"})"
              "\n");
}

TEST(ForwardList, CutsWhatIsLonger)
{
    const std::string longest(300, 'x');
    const Lines options{"--put-text",
                        "/etc/config/smsrelay=config sms 'general'\n\toption phone '" + longest +
                            "'\n\toption email '" + longest + "'\n\toption subject '" + longest + "'",
                        "--put-text", "/etc/ssmtp/ssmtp.conf=AuthPass=" + longest + "\nAuthUser=" + longest};
    EXPECT_EQ(serve(options, "get /modem/sms/flist\n").out,
              "0 {\"tel_list\":\"" + std::string(99, 'x') + "\",\"email_list\":\"" + std::string(99, 'x') +
                  "\",\"account\":\"" + std::string(127, 'x') + "\",\"password\":\"" + std::string(127, 'x') +
                  "\",\"smtp\":\"\",\"local_tel\":\"" + std::string(127, 'x') + "\"}\n");
}

TEST(ForwardList, NeverWaitsForAMailConfigurationThatIsNoFile)
{
    EXPECT_EQ(serve({}, "get /modem/sms/flist\n", "mkfifo /etc/ssmtp/ssmtp.conf").out,
              R"(0 {"tel_list":"","email_list":"","account":"","password":"","smtp":"","local_tel":""})"
              "\n");
}

const Lines with_mail_client{"--answer", "opkg list-installed:0:libc - 1\nssmtp - 2.64-4"};

const char account_request[] = "post /modem/sms/account {\"account\":\"me@example.org\",\"password\":\"secret\","
                               "\"smtp\":\"mail.example.org:465\",\"local_tel\":\"+4917012345\"}\n";

TEST(MailAccount, IsRefusedWithoutTheMailClient)
{
    const RouterRun run = serve({"--answer", "opkg list-installed:0:msmtp - 1"}, account_request, ":",
                                "ls /etc/ssmtp; uci show smsrelay");
    EXPECT_EQ(run.out, "-17 {\"msg\":\"ssmtp don't exist\"}\n"
                       "smsrelay.general=sms\nsmsrelay.general.enabled='0'\n");
    EXPECT_EQ(run.journal_of("shell", "modemapi"), Lines{"opkg list-installed | grep ssmtp"});
}

TEST(MailAccount, WritesTheClientsFilesAndMailsTheAccountToItself)
{
    const RouterRun run = serve(with_mail_client, account_request, ":",
                                "cat /etc/ssmtp/ssmtp.conf /etc/ssmtp/revaliases; echo; uci show smsrelay; "
                                "uci changes");
    EXPECT_EQ(run.out, "0 {}\n"
                       "root=me@example.org\n"
                       "mailhub=mail.example.org:465\n"
                       "rewriteDomain=example.org\n"
                       "hostname=example.org\n"
                       "AuthUser=me@example.org\n"
                       "AuthPass=secret\n"
                       "AuthMethod=LOGIN\n"
                       "UseTLS=YES\n"
                       "FromLineOverride=Yes\n"
                       "#UseSTARTTLS=Yes\n"
                       "root:me@example.org:mail.example.org:465\n"
                       "smsrelay.general=sms\n"
                       "smsrelay.general.enabled='0'\n"
                       "smsrelay.general.subject='+4917012345'\n");
    EXPECT_EQ(run.journal_of("shell", "modemapi"),
              (Lines{"opkg list-installed | grep ssmtp",
                     "timeout 15 echo -e 'From: me@example.org\nSubject:Verification email\n"
                     "Content-Type: text/html;charset=UTF-8\n\n"
                     " This email account has been set to sms forward sender successfully - Norvane'"
                     "| ssmtp -vvv 'me@example.org' "}));
    EXPECT_EQ(run.journal_of("run"), (Lines{"opkg list-installed", "ssmtp -vvv me@example.org"}));
}

TEST(MailAccount, SucceedsWhateverBecomesOfTheMail)
{
    Lines options = with_mail_client;
    options.insert(options.end(), {"--answer", "ssmtp:1"});
    EXPECT_EQ(serve(options, account_request).out, "0 {}\n");
}

TEST(MailAccount, WithoutOneStoredTakesAbsentTextsAsEmptyOnes)
{
    const RouterRun run =
        serve(with_mail_client, "post /modem/sms/account {\"account\":null,\"smtp\":587}\n",
              "uci set smsrelay.general.subject=1; uci commit",
              "cat /etc/ssmtp/ssmtp.conf /etc/ssmtp/revaliases; echo; uci get smsrelay.general.subject");
    EXPECT_EQ(run.out, "0 {}\nroot=\nmailhub=587\nrewriteDomain=\nhostname=\nAuthUser=\nAuthPass=\n"
                       "AuthMethod=LOGIN\nUseTLS=YES\nFromLineOverride=Yes\nUseSTARTTLS=Yes\nroot::587\n1\n");
}

TEST(MailAccount, KeepsWhatTheRequestDoesNotName)
{
    const struct {
        const char *request;
        const char *account;
        const char *password;
        const char *smtp;
        const char *number;
    } rows[] = {
        {"{}", "me@example.org", "secret", "mail.example.org:465", "+4917012345"},
        {R"({"password":"new"})", "me@example.org", "new", "mail.example.org:465", "+4917012345"},
        {R"({"account":"you@example.org","password":null})", "you@example.org", "secret", "mail.example.org:465",
         "+4917012345"},
        {R"({"smtp":"other:465","local_tel":"1"})", "me@example.org", "secret", "other:465", "1"},
    };
    for (const auto &row : rows) {
        const RouterRun run =
            serve(with_mail_client, account_request + std::string{"post /modem/sms/account "} + row.request + "\n", ":",
                  "sed -n 's/^\\(AuthUser\\|AuthPass\\|mailhub\\)=//p' /etc/ssmtp/ssmtp.conf; cat "
                  "/etc/ssmtp/revaliases; echo; uci get smsrelay.general.subject");
        EXPECT_EQ(run.out, std::string{"0 {}\n0 {}\n"} + row.smtp + "\n" + row.account + "\n" + row.password +
                               "\nroot:" + row.account + ":" + row.smtp + "\n" + row.number + "\n")
            << row.request;
    }
    const RouterRun emptied =
        serve(with_mail_client,
              account_request + std::string{R"(post /modem/sms/account {"account":"","password":"",)"
                                            R"("smtp":"","local_tel":""})"
                                            "\n"},
              ":", "wc -c </etc/ssmtp/ssmtp.conf; cat /etc/ssmtp/revaliases");
    EXPECT_EQ(emptied.out, "0 {}\n0 {}\n126\nroot::") << "an empty text empties";
}

// The client would else send by the account that it has, and the user would take that for the new one.
TEST(MailAccount, IsNotSupportedWhereItCannotBeStored)
{
    const struct {
        const char *what;
        const char *before;
    } rows[] = {
        {"no room", "mount -t tmpfs -o size=8k none /etc/ssmtp; echo AuthUser=old >/etc/ssmtp/ssmtp.conf; "
                    "cat /dev/zero >/etc/ssmtp/rest 2>/dev/null"},
        {"mounted over", "echo AuthUser=old >/tmp/conf; : >/etc/ssmtp/ssmtp.conf; "
                         "mount --bind /tmp/conf /etc/ssmtp/ssmtp.conf"},
        {"a file system that takes no writes", "mount -t tmpfs none /etc/ssmtp; "
                                               "echo AuthUser=old >/etc/ssmtp/ssmtp.conf; "
                                               "mount -o remount,ro none /etc/ssmtp"},
    };
    for (const auto &row : rows) {
        const RouterRun run =
            serve(with_mail_client, account_request, std::string{"mkdir -p /etc/ssmtp; "} + row.before,
                  "cat /etc/ssmtp/ssmtp.conf; ls /etc/ssmtp | grep -v -x -e ssmtp.conf -e rest");
        EXPECT_EQ(run.out, "-17 {}\nAuthUser=old\n") << row.what << run.err;
        EXPECT_EQ(run.journal_of("run"), Lines{"opkg list-installed"}) << row.what << ": no mail leaves";
    }
}

TEST(MailAccount, IsReadableByRootOnlyWhereItsFilesAreNew)
{
    const std::string modes = "stat -c '%a %n' /etc/ssmtp/*";
    EXPECT_EQ(serve(with_mail_client, account_request, ":", modes).out,
              "0 {}\n600 /etc/ssmtp/revaliases\n600 /etc/ssmtp/ssmtp.conf\n");
    EXPECT_EQ(serve(with_mail_client, account_request,
                    "cd /etc/ssmtp; : >ssmtp.conf; : >revaliases; chmod 640 ssmtp.conf; chmod 644 revaliases", modes)
                  .out,
              "0 {}\n644 /etc/ssmtp/revaliases\n640 /etc/ssmtp/ssmtp.conf\n");
}

TEST(MailAccount, IsNotSupportedWhereAFileCannotBeOpened)
{
    const struct {
        const char *what;
        const char *before;
        const char *after;
        const char *left;
    } rows[] = {
        {"no folder", "rm -r /etc/ssmtp", "ls -d /etc/ssmtp 2>/dev/null", ""},
        {"a folder as configuration", "mkdir /etc/ssmtp/ssmtp.conf", "ls /etc/ssmtp", "ssmtp.conf\n"},
        {"a folder as aliases", "mkdir /etc/ssmtp/revaliases", "ls /etc/ssmtp", "revaliases\nssmtp.conf\n"},
        {"a FIFO that nobody reads", "mkfifo /etc/ssmtp/ssmtp.conf", "ls /etc/ssmtp", "ssmtp.conf\n"},
    };
    for (const auto &row : rows) {
        const RouterRun run = serve(with_mail_client, account_request, row.before,
                                    std::string{"uci get smsrelay.general.subject\n"} + row.after);
        EXPECT_EQ(run.out, std::string{"-17 {}\n+4917012345\n"} + row.left) << row.what;
        EXPECT_EQ(run.journal_of("run"), Lines{"opkg list-installed"}) << row.what;
    }
}

TEST(MailAccount, OfAnyLengthStaysWithinItsFilesAndItsCommand)
{
    const std::string longest(5000, 'x');
    const RouterRun run = serve(with_mail_client,
                                "post /modem/sms/account {\"account\":\"" + longest + "\",\"password\":\"" + longest +
                                    "\",\"smtp\":\"" + longest + "\",\"local_tel\":\"" + longest + "\"}\n",
                                ":", "cat /etc/ssmtp/ssmtp.conf | wc -c; cat /etc/ssmtp/revaliases | wc -c");
    EXPECT_TRUE(run.out.ends_with("0 {}\n2047\n255\n")) << run.out;
    EXPECT_EQ(run.journal_of("shell", "modemapi"),
              (Lines{"opkg list-installed | grep ssmtp", "timeout 15 echo -e 'From: " + std::string(485, 'x')}));
}

TEST(Texts, OfAnyLengthAreNotStored)
{
    const std::string endless(10'000'000, 'x');
    Lines options = with_service;
    options.insert(options.end(), with_mail_client.begin(), with_mail_client.end());
    const RouterRun run =
        serve(options,
              "post /modem/sms/forward {\"tel\":\"" + endless + "\"}\n" +
                  "post /modem/sms/account {\"account\":\"me\",\"local_tel\":\"" + endless + "\"}\n" +
                  "post /modem/sms/code {\"action\":\"set\",\"country\":\"" + endless + "\"}\n" +
                  "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB3\",\"apn\":\"" + endless + "\"}\n",
              ":",
              "uci show smsrelay; uci -q get devconf.modem_sms.country; uci -q show "
              "network.modem_1_1_2; ls /etc/ssmtp");
    EXPECT_EQ(run.out, "-5 {}\n-5 {}\n0 {}\n-5 {}\nsmsrelay.general=sms\nsmsrelay.general.phone='110'\n"
                       "smsrelay.general.email='me@example.org'\n");
}

TEST(MailAccount, ReachesAMailServerThroughTheRealMailClient)
{
    const std::string client = SOURCE_ROOT "/build/mail-client/usr/sbin/ssmtp";
    if (access(client.c_str(), X_OK) != 0)
        GTEST_SKIP() << client << " is missing: make clean and make test try again to fetch it";
    Lines options = with_mail_client;
    options.insert(options.end(), {"--put", client + ":/usr/bin/ssmtp", "--put", client + ":/usr/sbin/ssmtp", "--put",
                                   SOURCE_ROOT "/tests/data/smtp_sink.sh:/root/sink"});
    const RouterRun run = serve(options,
                                "post /modem/sms/account {\"account\":\"me@example.org\",\"password\":\"secret\","
                                "\"smtp\":\"127.0.0.1:465\"}\n",
                                "sh /root/sink 465 /tmp/mail & until grep -q :01D1 /proc/net/tcp*; do sleep 0.01; done",
                                "wait; grep -v -e ^Received: -e ^Date: /tmp/mail | tr -d '\\r'");
    EXPECT_EQ(run.out, "0 {}\n"
                       "EHLO example.org\n"
                       "AUTH LOGIN\n"
                       "bWVAZXhhbXBsZS5vcmc=\n"
                       "c2VjcmV0\n"
                       "MAIL FROM:<me@example.org>\n"
                       "RCPT TO:<me@example.org>\n"
                       "DATA\n"
                       "From: me@example.org\n"
                       "Subject:Verification email\n"
                       "Content-Type: text/html;charset=UTF-8\n"
                       "\n"
                       " This email account has been set to sms forward sender successfully - Norvane\n"
                       ".\n"
                       "QUIT\n")
        << run.err;
}

} // namespace api_forwarding_test
