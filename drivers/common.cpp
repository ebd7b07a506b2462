#include "drivers/common.h"

#include "at/reply.h"
#include "core/model/state_dir.h"
#include "drivers/ask.h"
#include "drivers/common_replies.h"

namespace {

constexpr size_t imei_length = 15;
constexpr size_t imsi_length = 15;
constexpr size_t shortest_cached_imsi = 6;

Text<20> tty_path(int tty)
{
    return Text<20>::format("/dev/ttyUSB%d", tty);
}

} // namespace

int get_model(const char *bus, const char *port_path, TextOut out)
{
    if (read_state(bus, "modem-name", 199, out) >= 0)
        return 0;
    Text<400> reply;
    if (!ask_port_ok(port_path, "ATI", reply))
        return -1;
    const auto model = parse_model(reply.view());
    if (!model)
        return -1;
    out.assign(*model);
    return write_state(bus, "modem-name", out.view());
}

int get_csq(const ModemDriver &rec, int32_t &bars)
{
    Text<100> reply;
    if (!ask_modem_ok(rec, "AT+CSQ", reply))
        return -1;
    const auto parsed = parse_signal_bars(reply.view());
    if (!parsed)
        return -1;
    bars = *parsed;
    return 1;
}

int get_imsi(const ModemDriver &rec, TextOut out)
{
    if (read_state(rec.bus.c_str(), "cimi", 15, out) >= static_cast<int>(shortest_cached_imsi))
        return 0;
    out.clear();
    Text<48> reply;
    if (!ask_modem_ok(rec, "AT+CIMI", reply))
        return -1;
    return copy_digits(reply.view(), imsi_length, out);
}

int get_carrier(const ModemDriver &rec, TextOut out)
{
    Text<100> reply;
    if (!ask_modem_ok(rec, "AT+COPS?", reply))
        return -1;
    const auto name = parse_operator(reply.view());
    if (!name)
        return -1;
    out.assign(*name);
    return 0;
}

int get_creg(int tty)
{
    Text<100> reply;
    if (!ask_port_ok(tty_path(tty).c_str(), "AT+CREG?", reply))
        return -1;
    return parse_registration(reply.view()).value_or(-1);
}

int get_imei(const char *port_path, const char *bus, TextOut out)
{
    if (has_state(bus, "modem-imei")) {
        Text<21> cached;
        read_state(bus, "modem-imei", 20, cached);
        if (cached.size() == imei_length && starts_with_digits(cached.view(), imei_length)) {
            out.assign(cached.view());
            return 0;
        }
        remove_state(bus, "modem-imei");
        return -1;
    }
    Text<36> reply;
    if (!ask_port_ok(port_path, "AT+GSN", reply))
        return -1;
    const auto imei = parse_imei(reply.view());
    out.assign(imei.view());
    if (imei.size() != imei_length)
        return -1;
    return write_state(bus, "modem-imei", imei.view());
}

int get_sim_status(const ModemDriver &rec, TextOut out)
{
    struct SimState {
        const char *word;
        const char *text;
        int result;
    };
    static constexpr SimState sim_states[] = {
        {"ERROR", "ERROR", -1}, {"PIN\r", "NEED PIN", -2}, {"PUK\r", "NEED PUK", -4}, {"READY", "READY", 0}};

    Text<1024> reply;
    if (ask_modem(rec, "AT+CPIN?", reply) != 0)
        return 0;
    for (const SimState &state : sim_states) {
        if (str_contains(reply.view(), state.word)) {
            out.assign(state.text);
            return state.result;
        }
    }
    return 0;
}

int check_register_by_creg(const ModemDriver &rec)
{
    Text<256> reply;
    if (!ask_modem_ok(rec, "AT+CREG?", reply))
        return 0;
    return is_registered(reply.view()) ? 0 : -1;
}

int at_expect_ok(const char *port_path, std::string_view command)
{
    Text<20> reply;
    return ask_port_ok(port_path, first_characters(command, 49), reply) ? 0 : -1;
}
