#include "drivers/ask.h"

#include "at/at_command.h"
#include "at/reply.h"
#include "discovery/usb/ports.h"

int ask_modem(const ModemDriver &rec, std::string_view command, TextOut reply)
{
    Text<30> port;
    at_port_path(rec.bus.c_str(), rec.control_port, port);
    return at_command(port.c_str(), command, reply);
}

bool ask_modem_ok(const ModemDriver &rec, std::string_view command, TextOut reply)
{
    return ask_modem(rec, command, reply) == 0 && reply_has_ok(reply.view());
}

bool ask_port_ok(const char *port_path, std::string_view command, TextOut reply)
{
    return at_command(port_path, command, reply) == 0 && reply_has_ok(reply.view());
}

bool is_registered(std::string_view reply)
{
    return str_contains(reply, ",1\r") || str_contains(reply, ",5\r");
}
