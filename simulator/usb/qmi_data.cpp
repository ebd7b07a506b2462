#include "simulator/usb/qmi_modem.h"

#include <algorithm>
#include <array>

// WDS and WDA: connections, profiles, and how packets are framed.

namespace simulator {

namespace {

constexpr uint32_t ipv4 = 4;
constexpr uint32_t ipv6 = 6;
constexpr int profiles = 16;
constexpr size_t longest_text = 127; ///< of an APN, a name or a password

/// Why a call failed: the old number, then the kind of the reason and the reason itself.
struct CallFailure {
    uint16_t general;
    uint16_t kind;
    uint16_t reason;
};
constexpr CallFailure without_service{3, 3, 2001};
constexpr CallFailure unknown_apn{1, 6, 27};
constexpr CallFailure wrong_password{10, 6, 29};

std::string reversed_address(const std::string &text)
{
    const std::string bytes = address_bytes(text);
    return {bytes.rbegin(), bytes.rend()};
}

std::string text_or(const std::string &first, const std::string &second)
{
    return first.empty() ? second : first;
}

QmiAnswer fail(const CallFailure &failure)
{
    return {.error = qmi_call_failed,
            .values = qmi_number(0x10, failure.general, 2) +
                      qmi_value(0x11, little_endian(failure.kind, 2) + little_endian(failure.reason, 2))};
}

/// False for a text that no context can hold.
bool can_be_kept(const std::string &text)
{
    return text.size() <= longest_text &&
           std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~' && c != '"'; });
}

bool can_be_kept(const QmiRequest &request, std::initializer_list<uint8_t> kinds)
{
    return std::ranges::all_of(kinds, [&](uint8_t kind) { return can_be_kept(request.value(kind)); });
}

/// What the request does not say comes from the modem's context.
Credentials credentials_of(const QmiModem &modem, const QmiRequest &request)
{
    const std::string context =
        std::to_string(request.number(0x31, 1).value_or(static_cast<uint32_t>(modem.demand().cid)));
    return {.apn = text_or(request.value(0x14), modem.variable("apn_" + context)),
            .user = text_or(request.value(0x17), modem.variable("user_" + context)),
            .password = text_or(request.value(0x18), modem.variable("password_" + context)),
            .context_apn = modem.variable("apn_" + context),
            .path = LinkDemand::Path::qmi};
}

QmiAnswer start(QmiModem &modem, const QmiRequest &request)
{
    uint32_t family = request.number(0x19, 1).value_or(modem.family_of(request.client));
    if (family != ipv6)
        family = ipv4;
    if (std::ranges::find(modem.calls(), family, &QmiModem::Call::family) != modem.calls().end())
        return {.error = qmi_no_effect};
    if (!can_be_kept(request, {0x14, 0x17, 0x18}))
        return {.error = qmi_invalid_argument};
    if (!is_registered(modem))
        return fail(without_service);
    const Credentials credentials = credentials_of(modem, request);
    if (!lets_in(modem.demand(), credentials)) {
        LinkDemand without_password = modem.demand();
        without_password.username = without_password.password = std::nullopt;
        return fail(lets_in(without_password, credentials) ? wrong_password : unknown_apn);
    }
    modem.open_line(credentials);
    const uint32_t handle = modem.new_handle();
    modem.calls().push_back({request.client, handle, family});
    // connected
    modem.indicate(qmi_data, qmi_connection_changed, qmi_value(1, std::string{2, 0}) + qmi_number(0x12, family, 1));
    return {.values = qmi_number(1, handle, 4)};
}

QmiAnswer stop(QmiModem &modem, const QmiRequest &request)
{
    const auto handle = request.number(1, 4);
    if (!handle)
        return {.error = qmi_missing_argument};
    constexpr uint32_t all_of_client = 0xffffffff;
    const auto is_meant = [&](const QmiModem::Call &call) {
        return call.handle == *handle || (*handle == all_of_client && call.client == request.client);
    };
    if (std::ranges::none_of(modem.calls(), is_meant))
        return {.error = *handle == all_of_client ? qmi_no_effect : qmi_invalid_handle};
    modem.end_calls(is_meant);
    return {};
}

/// The call of the family that the client wants, or else any.
const QmiModem::Call *call_of(QmiModem &modem, const QmiRequest &request)
{
    const uint32_t family = modem.family_of(request.client);
    for (const QmiModem::Call &call : modem.calls())
        if (family == 0 || call.family == family)
            return &call;
    return nullptr;
}

QmiAnswer status(QmiModem &modem, const QmiRequest &request)
{
    return {.values = qmi_number(1, call_of(modem, request) != nullptr ? 2 : 1, 1)};
}

QmiAnswer settings(QmiModem &modem, const QmiRequest &request)
{
    const QmiModem::Call *call = call_of(modem, request);
    if (call == nullptr)
        return {.error = qmi_out_of_call};
    const Session session = modem.session();
    std::string values = qmi_number(0x29, static_cast<uint32_t>(session.mtu), 4) + qmi_number(0x2b, call->family, 1);
    if (call->family == ipv6)
        return {.values = qmi_value(0x25, address_bytes(session.address6) + static_cast<char>(session.mask6)) +
                          qmi_value(0x26, address_bytes(session.gateway6) + static_cast<char>(session.mask6)) +
                          qmi_value(0x27, address_bytes(session.name_server6)) + values};
    const uint32_t mask = ~uint32_t{0} << (32 - session.mask);
    return {.values = qmi_value(0x15, reversed_address(session.name_servers[0])) +
                      qmi_value(0x16, reversed_address(session.name_servers[1])) +
                      qmi_value(0x1e, reversed_address(session.address)) +
                      qmi_value(0x20, reversed_address(session.gateway)) + qmi_number(0x21, mask, 4) + values};
}

QmiAnswer set_family(QmiModem &modem, const QmiRequest &request)
{
    const auto family = request.number(1, 1);
    if (!family)
        return {.error = qmi_missing_argument};
    modem.set_family(request.client, *family == ipv4 || *family == ipv6 ? *family : 0);
    return {};
}

// The profiles are the contexts of AT+CGDCONT.

/// By their numbers in QMI. 1 is PPP, which is no type of a context here.
constexpr std::array<const char *, 4> context_types = {"IP", "", "IPV6", "IPV4V6"};
constexpr std::array<const char *, 4> context_texts = {"apn_", "user_", "password_", "auth_"};

QmiAnswer profile_list(QmiModem &modem, const QmiRequest &)
{
    std::string list;
    char count = 0;
    for (int i = 1; i <= profiles; i++)
        if (!modem.variable("pdp_" + std::to_string(i)).empty()) {
            list += std::string{0, static_cast<char>(i), 0}; // of 3GPP, without a name
            count++;
        }
    return {.values = qmi_value(1, count + list)};
}

QmiAnswer profile(QmiModem &modem, const QmiRequest &request)
{
    const std::string index = std::to_string(request.number(1, 1, 1).value_or(0));
    const std::string type = modem.variable("pdp_" + index);
    if (type.empty())
        return {.error = qmi_no_entry};
    const auto *found = std::ranges::find(context_types, type);
    const auto number = static_cast<uint32_t>(found == context_types.end() ? 0 : found - context_types.begin());
    return {.values = qmi_value(0x10, "") + qmi_number(0x11, number, 1) +
                      qmi_value(0x14, modem.variable("apn_" + index)) +
                      qmi_value(0x1b, modem.variable("user_" + index)) +
                      qmi_value(0x1c, modem.variable("password_" + index)) +
                      qmi_number(0x1d, static_cast<uint32_t>(atoi(modem.variable("auth_" + index).c_str())), 1)};
}

bool is_good_profile(const QmiRequest &request)
{
    const uint32_t type = request.number(0x11, 1).value_or(0);
    return type < context_types.size() && *context_types[type] != '\0' && can_be_kept(request, {0x14, 0x1b, 0x1c});
}

void write_profile(QmiModem &modem, const std::string &index, const QmiRequest &request)
{
    if (const auto type = request.number(0x11, 1))
        modem.modem().set_variable("pdp_" + index, context_types[*type]);
    const std::array<std::pair<uint8_t, const char *>, 3> texts = {
        {{0x14, "apn_"}, {0x1b, "user_"}, {0x1c, "password_"}}};
    for (const auto &[kind, name] : texts)
        if (request.values.contains(kind))
            modem.modem().set_variable(name + index, request.value(kind));
    if (const auto way = request.number(0x1d, 1))
        modem.modem().set_variable("auth_" + index, std::to_string(*way));
}

QmiAnswer change_profile(QmiModem &modem, const QmiRequest &request)
{
    const std::string index = std::to_string(request.number(1, 1, 1).value_or(0));
    if (modem.variable("pdp_" + index).empty())
        return {.error = qmi_no_entry};
    if (!is_good_profile(request))
        return {.error = qmi_invalid_argument};
    write_profile(modem, index, request);
    return {};
}

QmiAnswer create_profile(QmiModem &modem, const QmiRequest &request)
{
    if (!is_good_profile(request))
        return {.error = qmi_invalid_argument};
    for (int i = 1; i <= profiles; i++) {
        const std::string index = std::to_string(i);
        if (!modem.variable("pdp_" + index).empty())
            continue;
        modem.modem().set_variable("pdp_" + index, "IP");
        write_profile(modem, index, request);
        return {.values = qmi_value(1, std::string{0, static_cast<char>(i)})};
    }
    return {.error = qmi_no_entry};
}

QmiAnswer delete_profile(QmiModem &modem, const QmiRequest &request)
{
    const std::string index = std::to_string(request.number(1, 1, 1).value_or(0));
    if (modem.variable("pdp_" + index).empty())
        return {.error = qmi_no_entry};
    modem.ask("AT+CGDCONT=" + index);
    // A new context in this place must not begin with the old one's password.
    for (const char *name : context_texts)
        modem.modem().set_variable(name + index, "");
    return {};
}

QmiAnswer attach_parameters(QmiModem &modem, const QmiRequest &)
{
    // the APN; both families; the operator gave it
    if (!is_registered(modem))
        return {.error = qmi_unavailable};
    return {.values = qmi_value(0x10, text_or(modem.demand().apn.value_or(""), modem.variable("apn_1"))) +
                      qmi_number(0x11, 2, 1) + qmi_number(0x12, 1, 1)};
}

QmiAnswer attach_list(QmiModem &, const QmiRequest &)
{
    // one, profile 1; none is waiting
    return {.values =
                qmi_value(0x10, little_endian(1, 1) + little_endian(1, 2)) + qmi_value(0x11, little_endian(0, 1))};
}

QmiAnswer default_profile(QmiModem &, const QmiRequest &)
{
    return {.values = qmi_number(1, 1, 1)};
}

QmiAnswer autoconnect(QmiModem &, const QmiRequest &)
{
    return {.values = qmi_number(1, 0, 1)};
}

QmiAnswer framing(QmiModem &modem, const QmiRequest &)
{
    // no marks for quality; one packet in each transfer, both ways
    return {.values = qmi_number(0x10, 0, 1) + qmi_number(0x11, modem.framing() == Framing::raw_ip ? 2 : 1, 4) +
                      qmi_number(0x12, 0, 4) + qmi_number(0x13, 0, 4)};
}

QmiAnswer set_framing(QmiModem &modem, const QmiRequest &request)
{
    if (const auto wanted = request.number(0x11, 4))
        modem.framing() = *wanted == 2 ? Framing::raw_ip : Framing::ethernet;
    return framing(modem, request);
}

} // namespace

std::span<const QmiRow> qmi_data_rows()
{
    static constexpr QmiRow rows[] = {
        {qmi_data, 0x00, accept_request}, {qmi_data, 0x01, accept_request}, {qmi_data, 0x02, accept_request},
        {qmi_data, 0x03, accept_request}, {qmi_data, 0x20, start},          {qmi_data, 0x21, stop},
        {qmi_data, 0x22, status},         {qmi_data, 0x27, create_profile}, {qmi_data, 0x28, change_profile},
        {qmi_data, 0x29, delete_profile}, {qmi_data, 0x2a, profile_list},   {qmi_data, 0x2b, profile},
        {qmi_data, 0x2d, settings},       {qmi_data, 0x34, autoconnect},    {qmi_data, 0x49, default_profile},
        {qmi_data, 0x4d, set_family},     {qmi_data, 0x51, accept_request}, {qmi_data, 0x85, attach_parameters},
        {qmi_data, 0x93, accept_request}, {qmi_data, 0x94, attach_list},    {qmi_framing, 0x00, accept_request},
        {qmi_framing, 0x20, set_framing}, {qmi_framing, 0x21, framing},
    };
    return rows;
}

} // namespace simulator
