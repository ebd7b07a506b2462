#include "drivers/quectel_config.h"

#include <algorithm>
#include <cstring>

#include "at/at_command.h"
#include "at/reply.h"
#include "discovery/usb/ports.h"
#include "drivers/ask.h"
#include "drivers/common_replies.h"
#include "drivers/quectel_cells.h"
#include "drivers/quectel_fields.h"
#include "drivers/setting.h"
#include "drivers/sim_watcher.h"
#include "platform/uci.h"

namespace {

constexpr PdpContext common_context = {.cid = 1, .type = "IP", .type_number = 1};
constexpr PdpContext verizon_context = {.cid = 3, .type = "IPV4V6", .type_number = 3};

struct BandLock {
    const char *revision_part;
    const char *command;
};
// The first row that fits counts.
// clang-format off
constexpr BandLock band_locks[] = {
    {"EC25AFFA", "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFXD", "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFA",  "AT+QCFG=\"band\",0,80a,0"},
    {"EC20CE",   "AT+QCFG=\"band\",0,1e200000095,0"},
    {"EC25EUX",  "AT+QCFG=\"band\",0,1a0080800c5,0"},
    {"EC25E",    "AT+QCFG=\"band\",0,1a0000800d5,0"},
    {"EP06E",    "AT+QCFG=\"band\",0,7e00000000000000000000000000000000000000000000ff000001a0880800d5,0"},
    {"EP06A",    "AT+QCFG=\"band\",0,2000000003300185a,0"},
    {"EC25AU",   "AT+QCFG=\"band\",0,80080000df,0"},
    {"EG25G",    "AT+QCFG=\"band\",0,1e00b0e18df,0"},
};
// clang-format on

struct ScanMode {
    const char *digit;
    const char *text;
};
constexpr ScanMode scan_modes[] = {{"0", "AUTO"}, {"1", "GSM only"}, {"2", "WCDMA only"}, {"3", "LTE only"}};

constexpr const char *auth_methods[] = {"NONE", "PAP", "CHAP", "PAP or CHAP"};

int auth_number(const char *auth)
{
    const auto *found =
        std::ranges::find_if(auth_methods, [auth](const char *method) { return strcmp(method, auth) == 0; });
    return found == std::end(auth_methods) ? 0 : static_cast<int>(found - auth_methods);
}

const char *or_empty(const char *text)
{
    return text == nullptr ? "" : text;
}

// A value that fills it makes the command too long, so a cut value is never sent.
using Setting = Text<AtCommand::max_length + 1>;

Setting read_setting(const Uci &uci, const char *path, const char *default_value)
{
    Setting value;
    kuci2_get(uci, path, value);
    return value.empty() ? default_value : value;
}

// The context that the SIM card needs; nothing while the SIM is not ready.
std::optional<PdpContext> context_of_sim()
{
    if (!is_sim_ready(capture_sim_status().view()))
        return std::nullopt;
    return pick_pdp_context(capture_sim_type().view());
}

uint8_t half_byte(char character)
{
    return static_cast<uint8_t>(character - (character >= ':' && character <= 'f' ? 55 : 48)) & 0xf;
}

} // namespace

std::optional<AtCommand> compose_thermal_limit(const char *limit)
{
    if (!is_plain_text(limit))
        return std::nullopt;
    return compose_whole("AT+QCFG=\"thermal/limit_rates\",%s", limit);
}

std::optional<AtCommand> compose_thermal_range(const char *trigger, const char *clear)
{
    if (!is_plain_text(trigger) || !is_plain_text(clear))
        return std::nullopt;
    return compose_whole("AT+QCFG=\"thermal/modem\",1,%s,%s", trigger, clear);
}

std::optional<AtCommand> compose_apn(const PdpContext &context, const char *apn)
{
    if (!is_plain_text(or_empty(apn)))
        return std::nullopt;
    return compose_whole("AT+CGDCONT=%d,\"%s\",\"%s\"", context.cid, context.type, or_empty(apn));
}

std::optional<AtCommand> compose_auth(const PdpContext &context, const char *apn, const char *username,
                                      const char *password, const char *auth)
{
    for (const char *text : {apn, username, password})
        if (!is_plain_text(or_empty(text)))
            return std::nullopt;
    return compose_whole("AT+QICSGP=%d,%d,\"%s\",\"%s\",\"%s\",%d", context.cid, context.type_number, or_empty(apn),
                         or_empty(username), or_empty(password), auth_number(or_empty(auth)));
}

bool is_sim_ready(std::string_view captured)
{
    return without_last(captured).starts_with("ready");
}

const PdpContext &pick_pdp_context(std::string_view captured)
{
    return without_last(captured).starts_with("verizon") ? verizon_context : common_context;
}

// Revision: EC25EFAR06A03M4G                   (EC25-E; a line of ATI)
std::optional<std::string_view> parse_revision(std::string_view reply)
{
    constexpr size_t longest_revision = 59;
    const auto value = after_first(reply, "Revision:");
    if (!value)
        return std::nullopt;
    return first_characters(*value, std::min(value->find_first_of("\r\n"), longest_revision));
}

const char *pick_band_lock(std::string_view revision)
{
    for (const BandLock &row : band_locks)
        if (str_contains(revision, row.revision_part))
            return row.command;
    return nullptr;
}

// +QCFG: "nwscanmode",3                        (EC25; Quectel AT manuals, "AT+QCFG")
std::optional<std::string_view> parse_scan_mode(std::string_view reply)
{
    // Anywhere in the reply: it contains no other digit, unless the modem printed something unasked.
    for (const ScanMode &mode : scan_modes)
        if (str_contains(reply, mode.digit))
            return mode.text;
    return std::nullopt;
}

// +QCFG: "band",0x93,0x80800c5,0x0             (EC25; Quectel AT manuals, "AT+QCFG": GSM and WCDMA, LTE, TD-SCDMA)
std::optional<std::string_view> parse_lte_mask(std::string_view reply)
{
    constexpr std::string_view mark = ",0x";
    constexpr size_t longest_mask = 39;
    const auto first = after_first(reply, mark);
    const auto lte = first ? after_first(*first, mark) : std::nullopt;
    const auto third = lte ? after_first(*lte, mark) : std::nullopt;
    if (!third || !str_contains(*third, "OK"))
        return std::nullopt;
    return first_characters(*lte, std::min(lte->find(mark) + 1, longest_mask));
}

size_t hex_to_bytes(std::string_view text, std::span<uint8_t> bytes)
{
    const size_t padding = text.size() % 2;
    const size_t count = std::min((text.size() + padding) / 2, bytes.size());
    for (size_t i = 0; i < count; i++) {
        const size_t low = 2 * i + 1 - padding;
        const uint8_t high_half = low == 0 ? 0 : half_byte(text[low - 1]);
        bytes[i] = static_cast<uint8_t>(high_half << 4 | half_byte(text[low]));
    }
    return count;
}

Text<100> list_bands(std::string_view mask)
{
    std::array<uint8_t, 20> bytes;
    const size_t count = hex_to_bytes(mask, bytes);
    Text<100> list;
    for (size_t bit = 0; bit < 8 * count; bit++) {
        if ((bytes[count - 1 - bit / 8] >> bit % 8 & 1) == 0)
            continue;
        const auto entry = Text<8>::format("B%d ", static_cast<int>(bit) + 1);
        if (list.size() + entry.size() >= list.capacity())
            break;
        list.append(entry.view());
    }
    return list;
}

std::optional<int32_t> parse_lte_band(std::string_view reply)
{
    std::optional<int32_t> band;
    bool is_found = false;
    for_each_line(reply, servingcell_tag, servingcell_tag, [&](std::string_view found) {
        const auto cell = parse_servingcell(found);
        if (is_found || !cell || !cell->is_lte)
            return;
        is_found = true;
        band = lte_band(*cell);
    });
    return band;
}

int quectel_set_thermal(const ModemDriver &rec)
{
    const Uci uci = kuci2_init();
    const Setting limit = read_setting(uci, "devconf.modem.en_limt", "0");
    const Setting trigger = read_setting(uci, "devconf.modem.tigger", "95");
    const Setting clear = read_setting(uci, "devconf.modem.clear", "90");
    if (write_setting(rec, compose_thermal_limit(limit.c_str())) != 0)
        return -1;
    return write_setting(rec, compose_thermal_range(trigger.c_str(), clear.c_str()));
}

int set_scan_mode(int tty, int mode)
{
    const int setting = mode >= 2 && mode <= 4 ? mode - 1 : 0;
    Text<100> reply;
    return ask_port_ok(Text<20>::format("/dev/ttyUSB%d", tty).c_str(),
                       AtCommand::format("AT+QCFG=\"nwscanmode\",%d", setting), reply)
               ? 0
               : -1;
}

int set_band_by_revision(const char *port_path, TextOut out)
{
    constexpr int reply_capacity = 500;
    Text<400> identity;
    if (!ask_port_ok(port_path, "ATI", identity))
        return -2;
    const auto revision = parse_revision(identity.view());
    const char *command = revision ? pick_band_lock(*revision) : nullptr;
    if (command == nullptr)
        return -2;
    at_command(port_path, command, out, reply_capacity); // without a reply out is empty, so it has no OK
    return reply_has_ok(out.view()) ? 0 : -2;
}

int quectel_set_apn(const ModemDriver &rec, const char *apn)
{
    const auto context = context_of_sim();
    return context ? write_setting(rec, compose_apn(*context, apn)) : -1;
}

int quectel_set_auth(const ModemDriver &rec, const char *apn, const char *username, const char *password,
                     const char *auth)
{
    const auto context = context_of_sim();
    return context ? write_setting(rec, compose_auth(*context, apn, username, password, auth)) : -1;
}

int quectel_get_iccid(const ModemDriver &rec, TextOut out)
{
    Text<48> reply;
    if (!ask_modem_ok(rec, "AT+QCCID", reply))
        return -1;
    constexpr size_t iccid_length = 20;
    return copy_digits(reply.view(), iccid_length, out);
}

int quectel_get_bands(const ModemDriver &rec, json_object *object)
{
    Text<1024> reply;
    if (!ask_modem_ok(rec, "AT+QCFG=\"band\"", reply))
        return 0;
    const auto mask = parse_lte_mask(reply.view());
    if (!mask)
        return 0;
    kjson_add_string(object, "EGPRS", "850MHz 900MHz 1800Mhz 1900MHz ");
    kjson_add_string(object, "LTE", list_bands(*mask).c_str());
    return 0;
}

int quectel_get_scan_mode(const ModemDriver &rec, TextOut out)
{
    Text<80> reply;
    if (ask_modem(rec, "AT+QCFG=\"nwscanmode\"", reply) != 0)
        return 0;
    if (!reply_has_ok(reply.view())) {
        out.assign("ERROR");
        return -1;
    }
    if (const auto mode = parse_scan_mode(reply.view()))
        out.assign(*mode);
    return 0;
}

int32_t get_lte_band(const char *bus, int32_t interface, const char *key)
{
    Text<32> fixed_band;
    kuci2_get(kuci2_init(), key, fixed_band);
    if (!fixed_band.empty())
        return text_to_int(fixed_band.c_str());
    Text<30> port;
    at_port_path(bus, interface, port);
    Text<1024> reply;
    if (!ask_port_ok(port.c_str(), "AT+QENG=\"servingcell\"", reply))
        return 0;
    return parse_lte_band(reply.view()).value_or(0);
}
