#include <algorithm>
#include <array>
#include <cstdlib>

#include "simulator/usb/bytes.h"
#include "simulator/usb/mbim_modem.h"

// The commands of MBIM's basic service (Basic Connect), by their numbers (CID).

namespace simulator {

namespace {

using Answer = MbimModem::Answer;

constexpr uint32_t gsm_family = 1;
constexpr uint32_t unknown_error_rate = 99;
constexpr uint32_t no_signal = 99;
constexpr uint32_t speed = 150'000'000;
constexpr std::string_view internet_context{"\x7e\x5e\x2a\x7e\x4e\x6f\x72\x72\x73\x6b\x65\x6e\x7e\x5e\x2a\x7e", 16};

enum Card : uint32_t { card_ready = 1, card_missing = 2, card_failed = 4, card_locked = 6 };
enum Registration : uint32_t { deregistered = 1, searching = 2, home = 3, roaming = 4, denied = 6 };
enum PinKind : uint32_t { no_pin = 0, pin1 = 2, puk1 = 11 };
enum Connection : uint32_t { activated = 1, deactivated = 3 };

/// Technologies as bits: GPRS and EDGE, UMTS and its fast packets, LTE.
uint32_t data_class(const MbimModem &modem)
{
    const std::string rat = modem.variable("rat");
    return rat == "GSM" ? 0x03 : rat == "WCDMA" ? 0x1c : rat == "LTE" ? 0x20 : 0;
}

bool is_ready(const MbimModem &modem)
{
    return modem.variable("pin") == "READY";
}

bool is_radio_on(const MbimModem &modem)
{
    return modem.variable("cfun") == "1";
}

Registration registration(const MbimModem &modem)
{
    if (!is_ready(modem) || !is_radio_on(modem))
        return deregistered;
    const std::string state = modem.variable("ps_registration");
    if (data_class(modem) == 0 || state == "2")
        return searching;
    return state == "1" ? home : state == "5" ? roaming : state == "3" ? denied : deregistered;
}

bool is_registered(const MbimModem &modem)
{
    return registration(modem) == home || registration(modem) == roaming;
}

Answer capabilities(MbimModem &modem, const MbimRequest &)
{
    // built in, GSM's family, no voice, a card that can be taken out, everything up to LTE, sends and receives messages
    // as PDUs, nothing special, one session
    return {.info = MbimInfo()
                        .number(1)
                        .number(gsm_family)
                        .number(1)
                        .number(2)
                        .number(0x3f)
                        .number(3)
                        .number(0)
                        .number(1)
                        .text("")
                        .text(modem.variable("imei"))
                        .text(modem.variable("revision"))
                        .text(modem.variable("model_name"))
                        .done()};
}

Answer card(MbimModem &modem, const MbimRequest &)
{
    const std::string pin = modem.variable("pin");
    const uint32_t state = pin == "READY"     ? card_ready
                           : pin == "NOSIM"   ? card_missing
                           : pin == "FAILURE" ? card_failed
                                              : card_locked;
    const bool is_readable = state == card_ready;
    // no special information, no telephone number
    return {.info = MbimInfo()
                        .number(state)
                        .text(is_readable ? modem.variable("imsi") : "")
                        .text(is_readable || state == card_locked ? modem.variable("iccid") : "")
                        .number(0)
                        .number(0)
                        .done()};
}

Answer radio(MbimModem &modem, const MbimRequest &request)
{
    if (request.is_set)
        modem.ask(request.number(0) != 0 ? "AT+CFUN=1" : "AT+CFUN=4");
    return {.info = MbimInfo().number(1).number(is_radio_on(modem) ? 1 : 0).done()};
}

std::string pin_info(const MbimModem &modem)
{
    const std::string pin = modem.variable("pin");
    const uint32_t kind = pin == "SIM PIN" ? pin1 : pin == "SIM PUK" ? puk1 : no_pin;
    const std::string tries = modem.variable(kind == puk1 ? "puk_tries" : "pin_tries");
    return MbimInfo()
        .number(kind)
        .number(kind == no_pin ? 0 : 1)
        .number(static_cast<uint32_t>(atoi(tries.c_str())))
        .done();
}

/// What else a host writes could be another AT command.
bool has_digits_only(const std::string &text)
{
    return text.find_first_not_of("0123456789") == std::string::npos;
}

Answer pin(MbimModem &modem, const MbimRequest &request)
{
    if (modem.variable("pin") == "NOSIM")
        return {.status = mbim_no_sim};
    if (!request.is_set)
        return {.info = pin_info(modem)};
    constexpr uint32_t enter = 0;
    if (request.number(4) != enter)
        return {.status = mbim_no_support};
    const std::string first = request.text(8);
    const std::string second = request.text(16);
    if (!has_digits_only(first + second))
        return {.status = mbim_wrong_parameters, .info = pin_info(modem)};
    std::string command = "AT+CPIN=\"" + first + '"';
    if (request.number(0) == puk1)
        command += ",\"" + second + '"';
    const bool is_right = modem.ask(command).find("OK") != std::string::npos;
    return {.status = is_right ? mbim_ok : mbim_failure, .info = pin_info(modem)};
}

Answer home_provider(MbimModem &modem, const MbimRequest &request)
{
    if (request.is_set)
        return {.status = mbim_no_support};
    if (!is_ready(modem))
        return {.status = modem.variable("pin") == "NOSIM" ? mbim_no_sim : mbim_pin_required};
    return {.info = MbimInfo()
                        .text(modem.variable("operator_2"))
                        .number(1) // the home network
                        .text(modem.variable("operator_0"))
                        .number(gsm_family)
                        .number(no_signal)
                        .number(unknown_error_rate)
                        .done()};
}

Answer register_state(MbimModem &modem, const MbimRequest &)
{
    const bool registered = is_registered(modem);
    // no error, chosen automatically
    return {.info = MbimInfo()
                        .number(0)
                        .number(registration(modem))
                        .number(1)
                        .number(registered ? data_class(modem) : 0)
                        .number(gsm_family)
                        .text(registered ? modem.variable("operator_2") : "")
                        .text(registered ? modem.variable("operator_0") : "")
                        .text("")
                        .number(0)
                        .done()};
}

Answer packet_service(MbimModem &modem, const MbimRequest &request)
{
    if (request.is_set) {
        constexpr uint32_t detach = 1;
        if (request.number(0) == detach)
            modem.disconnect();
        modem.ask(request.number(0) == detach ? "AT+CGATT=0" : "AT+CGATT=1");
    }
    const bool is_attached = has_packet_service(modem);
    if (request.is_set && request.number(0) == 0 && !is_attached)
        return {.status = is_radio_on(modem) ? mbim_not_registered : mbim_radio_off};
    // no error; attached or not; speeds to and from the network, of 8 bytes each
    return {.info = MbimInfo()
                        .number(0)
                        .number(is_attached ? 2 : 4)
                        .number(is_attached ? data_class(modem) : 0)
                        .number(is_attached ? speed / 3 : 0)
                        .number(0)
                        .number(is_attached ? speed : 0)
                        .number(0)
                        .done()};
}

Answer signal(MbimModem &modem, const MbimRequest &)
{
    const std::string steps = modem.variable("csq_" + modem.variable("rat"));
    const bool is_known = is_ready(modem) && is_radio_on(modem) && !steps.empty();
    // told every 5 s at most, and when it has changed by a step
    return {.info = MbimInfo()
                        .number(is_known ? static_cast<uint32_t>(atoi(steps.c_str())) : no_signal)
                        .number(unknown_error_rate)
                        .number(5)
                        .number(1)
                        .number(unknown_error_rate)
                        .done()};
}

std::string connection_info(const MbimModem &modem)
{
    // session 0, no voice, IPv4
    return MbimInfo()
        .number(0)
        .number(modem.is_connected() ? activated : deactivated)
        .number(0)
        .number(modem.is_connected() ? 1 : 0)
        .bytes(internet_context)
        .number(0)
        .done();
}

Answer connect(MbimModem &modem, const MbimRequest &request)
{
    constexpr uint32_t activate = 1;
    if (request.number(0) != 0)
        return {.status = mbim_wrong_parameters};
    if (!request.is_set)
        return {.info = connection_info(modem)};
    if (request.number(4) != activate) {
        if (!modem.is_connected())
            return {.status = mbim_not_activated, .info = connection_info(modem)};
        modem.disconnect();
        return {.info = connection_info(modem)};
    }
    if (!is_registered(modem))
        return {.status = is_radio_on(modem) ? mbim_not_registered : mbim_radio_off, .info = connection_info(modem)};
    if (!has_packet_service(modem))
        return {.status = mbim_detached, .info = connection_info(modem)};
    const std::string context_apn = modem.variable("apn_" + std::to_string(modem.demand().cid));
    const std::string apn = request.text(8);
    const Credentials credentials{.apn = apn.empty() ? context_apn : apn,
                                  .user = request.text(16),
                                  .password = request.text(24),
                                  .context_apn = context_apn};
    if (!lets_in(modem.demand(), credentials)) {
        LinkDemand without_password = modem.demand();
        without_password.username = without_password.password = std::nullopt;
        return {.status = lets_in(without_password, credentials) ? mbim_wrong_password : mbim_wrong_apn,
                .info = connection_info(modem)};
    }
    modem.connect(credentials);
    return {.info = connection_info(modem)};
}

Answer contexts(MbimModem &modem, const MbimRequest &request)
{
    if (request.is_set)
        return {.status = mbim_no_support};
    MbimInfo list;
    std::vector<std::string> found;
    for (uint32_t cid = 1; cid <= 16; cid++)
        if (const std::string number = std::to_string(cid); !modem.variable("pdp_" + number).empty())
            found.push_back(MbimInfo()
                                .number(cid)
                                .bytes(internet_context)
                                .text(modem.variable("apn_" + number))
                                .text(modem.variable("user_" + number))
                                .text(modem.variable("password_" + number))
                                .number(0) // no compression
                                .number(0) // no authentication
                                .done());
    list.number(static_cast<uint32_t>(found.size()));
    for (const std::string &context : found)
        list.part(context);
    return {.info = list.done()};
}

Answer ip_configuration(MbimModem &modem, const MbimRequest &request)
{
    if (request.is_set)
        return {.status = mbim_no_support};
    if (!modem.is_connected())
        return {.status = mbim_not_activated};
    const Session session = modem.session();
    constexpr uint32_t address_gateway_names_mtu = 0x0f;
    // session; what there is for IPv4 and IPv6; counts and places: addresses of both, gateways, name servers of both
    return {
        .info =
            MbimInfo()
                .number(0)
                .number(address_gateway_names_mtu)
                .number(0)
                .number(1)
                .place(
                    MbimInfo().number(static_cast<uint32_t>(session.mask)).bytes(address_bytes(session.address)).done())
                .number(0)
                .number(0)
                .place(address_bytes(session.gateway))
                .number(0)
                .number(2)
                .place(address_bytes(session.name_servers[0]) + address_bytes(session.name_servers[1]))
                .number(0)
                .number(0)
                .number(static_cast<uint32_t>(session.mtu))
                .number(0)
                .done()};
}

Answer services(MbimModem &modem, const MbimRequest &request);

/// From now on the host wants to hear of these; it hears of them anyway.
Answer subscribe(MbimModem &, const MbimRequest &request)
{
    return {.status = request.is_set ? mbim_ok : mbim_no_support, .info = request.info};
}

struct Command {
    uint32_t cid;
    Answer (*answer)(MbimModem &modem, const MbimRequest &request);
};
constexpr std::array<Command, 13> commands = {{{1, capabilities},
                                               {2, card},
                                               {3, radio},
                                               {4, pin},
                                               {6, home_provider},
                                               {9, register_state},
                                               {10, packet_service},
                                               {11, signal},
                                               {12, connect},
                                               {13, contexts},
                                               {15, ip_configuration},
                                               {16, services},
                                               {19, subscribe}}};

Answer services(MbimModem &, const MbimRequest &)
{
    // one service without streams of its own, and its commands
    MbimInfo service;
    service.bytes(mbim_basic_connect).number(0).number(0).number(static_cast<uint32_t>(commands.size()));
    for (const Command &command : commands)
        service.number(command.cid);
    return {.info = MbimInfo().number(1).number(0).part(service.done()).done()};
}

} // namespace

bool has_packet_service(const MbimModem &modem)
{
    return is_registered(modem) && modem.variable("attached") == "1";
}

Answer answer_mbim_command(MbimModem &modem, const MbimRequest &request)
{
    const auto *found = std::ranges::find(commands, request.cid, &Command::cid);
    return found == commands.end() ? Answer{.status = mbim_no_support} : found->answer(modem, request);
}

} // namespace simulator
