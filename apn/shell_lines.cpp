#include "apn/shell_lines.h"

#include "core/model/state_dir.h"

ShellLine<100> compose_keep_imsi(std::string_view imsi, const char *bus)
{
    return ShellLine<100>{"echo \"{}\" >{}/cimi", Piece::code(imsi), Piece::path(state_dir(bus).view())};
}

ShellLine<100> compose_find_operator(std::string_view code)
{
    return ShellLine<100>{"cat /usr/share/modem/operator.dat|grep {}|cut -d ',' -f 2", Piece::code(code)};
}

ShellLine<128> compose_echo(const char *device, const char *address)
{
    return ShellLine<128>{"ping -q -c 1 -W 3 -I {} {} >/dev/null 2>&1", Piece::interface(device),
                          Piece::address(address)};
}

ShellLine<220> compose_settings_digest(const char *iface)
{
    return ShellLine<220>{"for o in service apn username password pincode; do printf '%s/' "
                          "\"$(uci -q get network.{}.$o)\"; done | sha256sum | cut -d ' ' -f 1",
                          Piece::interface(iface)};
}
