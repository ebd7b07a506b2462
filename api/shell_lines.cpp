#include "api/shell_lines.h"

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

Text<100> compose_auto_connect(const char *bus)
{
    return Text<100>::format("modemctl -B %s connect-auto", bus);
}

Text<100> compose_kill_tracker(const char *iface)
{
    return Text<100>::format("kill $(ps|grep mwan3track|grep %s|awk -F ' ' '{print $1}')", iface);
}

Text<100> compose_interface_down(const char *ident)
{
    return Text<100>::format("ifdown modem_%s", ident);
}

Text<100> compose_interface_start(const char *ident)
{
    return Text<100>::format("ifup modem_%s", ident);
}

Text<100> compose_forget_modem(const char *bus)
{
    return Text<100>::format("rm -rf /tmp/modem.%s;/etc/init.d/smstools3 stop", bus);
}

Text<256> compose_set_sim_gpio(bool second, const char *file)
{
    return Text<256>::format("echo %d > %s", second ? 1 : 0, file);
}

Text<100> compose_show_signal_later(const char *bus)
{
    return Text<100>::format("sleep 15 && signal_led.sh %s", bus);
}

Text<256> compose_find_gateway(const char *gateway)
{
    return is_made_of(gateway, ".:") ? Text<256>::format("ifconfig br-lan | grep %s", gateway) : Text<256>{};
}
