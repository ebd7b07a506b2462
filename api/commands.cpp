#include "api/commands.h"

Text<300> compose_send_message(const char *number, const char *message, const char *type)
{
    return Text<300>::format("sendsms '%s' '%s' '%s'", number, message, type);
}

Text<512> compose_verification_mail(const char *account)
{
    return Text<512>::format("timeout 15 echo -e 'From: %s\nSubject:Verification email\n"
                             "Content-Type: text/html;charset=UTF-8\n\n"
                             " This email account has been set to sms forward sender successfully - Norvane'"
                             "| ssmtp -vvv '%s' ",
                             account, account);
}

Text<512> compose_upgrade(const UpgradeRequest &request)
{
    Text<512> command;
    if (!command.out().assign_format("/usr/bin/modem_fw_flash %s %s %s %s %s", request.firmware_upload,
                                     request.modem_url, request.target_version, request.hash_type, request.hash_value))
        command.clear();
    return command;
}
