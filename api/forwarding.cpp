#include "api/forwarding.h"

#include "api/mail_client.h"
#include "api/modem_api.h"
#include "api/request.h"
#include "api/shell_lines.h"
#include "platform/board.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

// The forwarding service's package installs this file.
constexpr char forwarding_marker[] = "/etc/forward";
constexpr char mail_settings_file[] = "/etc/ssmtp/ssmtp.conf";
constexpr char mail_aliases_file[] = "/etc/ssmtp/revaliases";
// The forwarding service reads the router's own telephone number from this option, whatever its name says.
constexpr char local_number_option[] = "smsrelay.general.subject";

MailSettings read_mail_settings()
{
    MailSettings settings;
    const File file = open_regular_file(mail_settings_file);
    Text<256> line;
    while (file && fgets(line.data(), static_cast<int>(line.capacity()), file.get()) != nullptr)
        parse_mail_settings_line(line.c_str(), settings);
    return settings;
}

// An absent text leaves the option as it is; null would empty it.
void set_given(const Uci &uci, const char *path, const char *text)
{
    if (text != nullptr)
        kuci2_set(uci, path, text);
}

// Only root may read a new file, because it holds a password. An existing file keeps its mode, which the mail client's
// package chose.
bool write_mail_file(const char *path, std::string_view content)
{
    constexpr mode_t only_root = 0600;
    return write_file(path, content, only_root) == 0;
}

} // namespace

int32_t modem_sms_forward(Request &request, json_object *response)
{
    if (!cmm_check_file_is_exist(forwarding_marker)) {
        kjson_add_string(response, "msg", "Forward file don't exist");
        return modem_api_no_forwarding;
    }
    const char *phone = request.text("tel");
    const char *email = request.text("email");
    if (phone == nullptr && email == nullptr)
        return modem_api_success;
    const Uci uci = kuci2_init();
    set_given(uci, "smsrelay.general.phone", phone);
    set_given(uci, "smsrelay.general.email", email);
    kuci2_commit(uci, "smsrelay");
    return modem_api_success;
}

int32_t modem_sms_flist(Request &, json_object *response)
{
    const Uci uci = kuci2_init();
    const MailSettings mail = read_mail_settings();
    kjson_add_string(response, "tel_list", uci.text<100>("smsrelay.general.phone").c_str());
    kjson_add_string(response, "email_list", uci.text<100>("smsrelay.general.email").c_str());
    kjson_add_string(response, "account", mail.account.c_str());
    kjson_add_string(response, "password", mail.password.c_str());
    kjson_add_string(response, "smtp", mail.smtp.c_str());
    kjson_add_string(response, "local_tel", uci.text<128>(local_number_option).c_str());
    return modem_api_success;
}

int32_t modem_sms_account(Request &request, json_object *response)
{
    Text<32> package;
    getShellCommandReturnLine(find_mail_client, package);
    if (package.empty()) {
        kjson_add_string(response, "msg", "ssmtp don't exist");
        return modem_api_not_supported;
    }
    const MailSettings old = read_mail_settings();
    const MailAccount account = {
        .account = request.text_or("account", old.account.c_str()),
        .password = request.text_or("password", old.password.c_str()),
        .smtp = request.text_or("smtp", old.smtp.c_str()),
    };
    const Uci uci = kuci2_init();
    set_given(uci, local_number_option, request.text("local_tel"));
    kuci2_commit(uci, "smsrelay");
    // Without these files the client would send from the account that it had before.
    if (!write_mail_file(mail_settings_file, compose_mail_settings(account).view()) ||
        !write_mail_file(mail_aliases_file, compose_mail_aliases(account).view()))
        return modem_api_not_supported;
    execCommand(compose_verification_mail(account.account));
    return modem_api_success;
}
