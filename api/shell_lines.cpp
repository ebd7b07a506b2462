#include "api/shell_lines.h"

#include "core/model/state_dir.h"

ShellLine<300> compose_send_message(const char *number, const char *message, const char *type)
{
    return ShellLine<300>::cut("sendsms '{}' '{}' '{}'", Piece::as_it_came(number), Piece::as_it_came(message),
                               Piece::as_it_came(type));
}

ShellLine<512> compose_verification_mail(const char *account)
{
    return ShellLine<512>::cut("timeout 15 echo -e 'From: {}\nSubject:Verification email\n"
                               "Content-Type: text/html;charset=UTF-8\n\n"
                               " This email account has been set to sms forward sender successfully - Norvane'"
                               "| ssmtp -vvv '{}' ",
                               Piece::as_it_came(account), Piece::as_it_came(account));
}

ShellLine<512> compose_upgrade(const UpgradeRequest &request)
{
    return ShellLine<512>{"/usr/bin/modem_fw_flash {} {} {} {} {}", Piece::as_it_came(request.firmware_upload),
                          Piece::as_it_came(request.modem_url),     Piece::as_it_came(request.target_version),
                          Piece::as_it_came(request.hash_type),     Piece::as_it_came(request.hash_value)};
}

ShellLine<100> compose_auto_connect(const char *bus)
{
    return ShellLine<100>{"modemctl -B {} connect-auto", Piece::bus(bus)};
}

ShellLine<100> compose_kill_tracker(const char *iface)
{
    return ShellLine<100>{"kill $(ps|grep mwan3track|grep {}|awk -F ' ' '{print $1}')", Piece::interface(iface)};
}

ShellLine<100> compose_interface_down(const char *iface)
{
    return ShellLine<100>{"ifdown {}", Piece::interface(iface)};
}

ShellLine<100> compose_interface_start(const char *iface)
{
    return ShellLine<100>{"ifup {}", Piece::interface(iface)};
}

ShellLine<100> compose_forget_modem(const char *bus)
{
    return ShellLine<100>{"rm -rf {};/etc/init.d/smstools3 stop", Piece::path(state_dir(bus).view())};
}

ShellLine<100> compose_forget_signal(const char *bus)
{
    return ShellLine<100>{"rm -rf {}/signal*", Piece::path(state_dir(bus).view())};
}

ShellLine<100> compose_forget_imsi(const char *bus)
{
    return ShellLine<100>{"rm -rf {}/cimi", Piece::path(state_dir(bus).view())};
}

ShellLine<100> compose_set_sim_gpio(bool second, const char *file)
{
    return ShellLine<100>{"echo {} > {}", Piece::code(second ? "1" : "0"), Piece::path(file)};
}

ShellLine<100> compose_show_signal_later(const char *bus)
{
    return ShellLine<100>{"sleep 15 && signal_led.sh {}", Piece::bus(bus)};
}

ShellLine<100> compose_find_gateway(const char *gateway)
{
    return ShellLine<100>{"ifconfig br-lan | grep {}", Piece::address(gateway)};
}
