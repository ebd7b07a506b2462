#include "drivers/mode.h"

#include <span>

#include "at/reply.h"
#include "drivers/ask.h"
#include "drivers/fibocom.h"

namespace {

using enum Generation;

struct Technology {
    const char *word;
    Generation generation;
};
// The first row whose word the text contains decides, so a word is above the words that are part of it. Some rows
// differ from maker to maker (CDMA) and some from what the technology is called elsewhere (HSPA+ as 4G): the web
// interface and scripts show these generations, and people compare them with what they saw before.
// clang-format off

// +QNWINFO: "FDD LTE","46011","LTE BAND 3",1825          (EC25; Quectel AT manuals, "AT+QNWINFO")
constexpr Technology qnwinfo_technologies[] = {
    {"LTE", g4},   {"HSPA+", g4}, // HSPA+ counts as 4G
    {"CDMA", g3},  {"EVDO", g3},  {"UMTS", g3}, {"TD-SCDMA", g3}, {"HSPA", g3}, {"HSUPA", g3},
    {"HSDPA", g3}, {"HDR", g3},   {"GSM", g2},  {"GPRS", g2},     {"EDGE", g2},
};

// +ZPAS: "LTE","CS_PS"                                    (ME3630; ZTE AT manual, "AT+ZPAS")
constexpr Technology zpas_technologies[] = {
    {"LTE", g4},   {"HSPA+", g4}, {"EVDO", g3},  {"UMTS", g3}, {"TD-SCDMA", g3}, {"HSPA", g3},
    {"HSUPA", g3}, {"HSDPA", g3}, {"EHRPD", g3}, {"CDMA", g2}, {"GSM", g2},      {"GPRS", g2}, // CDMA counts as 2G here
};

// +CNSMOD: 0,8                                            (SIM7600; SIMCom AT manual, "AT+CNSMOD")
constexpr Technology cnsmod_technologies[] = {
    {",8\r", g4},                                              // LTE
    {",9\r", g3}, {",10\r", g3}, {",11\r", g3}, {",7\r", g3},  // TD-SCDMA and its data modes, HSPA
    {",6\r", g3}, {",5\r", g3},  {",4\r", g3},                 // HSUPA, HSDPA, WCDMA
    {",3\r", g2}, {",2\r", g2},  {",1\r", g2},                 // EDGE, GPRS, GSM
};
// clang-format on

std::optional<Generation> first_named(std::string_view text, std::span<const Technology> technologies)
{
    for (const Technology &technology : technologies)
        if (str_contains(text, technology.word))
            return technology.generation;
    return std::nullopt;
}

struct ModeQuery {
    const char *command;
    size_t reply_capacity; ///< a longer reply is cut, and fails without its OK
    std::optional<Generation> (*parse)(std::string_view reply);
};

int read_mode(const ModemDriver &rec, const ModeQuery &query, TextOut out)
{
    Text<1024> reply;
    if (!ask_modem_ok(rec, query.command, {reply.data(), query.reply_capacity}))
        return -1;
    const auto generation = query.parse(reply.view());
    if (!generation)
        return -1;
    out.assign(name_of(*generation));
    return 0;
}

} // namespace

std::optional<Generation> parse_access_technology(std::string_view reply)
{
    return first_named(reply, qnwinfo_technologies);
}

std::optional<Generation> parse_zpas(std::string_view reply)
{
    return first_named(reply, zpas_technologies);
}

std::optional<Generation> parse_cnsmod(std::string_view reply)
{
    return first_named(reply, cnsmod_technologies);
}

// LTE service cell:
// 1,4,460,01,4F50,52BF337,672,1E4,103,100,44,63,63,24     (NL678; Fibocom AT manual, "AT+GTCCINFO")
//   ^ field 1: 1 GSM, 2 WCDMA, 3 TD-SCDMA, 4 LTE
std::optional<Generation> parse_gtccinfo_mode(std::string_view reply)
{
    constexpr Generation generations[] = {g2, g3, g3, g4};
    Text<3> code;
    if (fibocom_field(serving_cell_line(reply), 1, code) != 0 || code.size() != 1)
        return std::nullopt;
    const int index = code.c_str()[0] - '1';
    if (index < 0 || index >= static_cast<int>(std::size(generations)))
        return std::nullopt;
    return generations[index];
}

int get_mode(const ModemDriver &rec, TextOut out)
{
    return read_mode(rec, {"AT+QNWINFO", 100, parse_access_technology}, out);
}

int zte_get_mode(const ModemDriver &rec, TextOut out)
{
    return read_mode(rec, {"AT+ZPAS?", 1024, parse_zpas}, out);
}

int simcom_get_mode(const ModemDriver &rec, TextOut out)
{
    return read_mode(rec, {"AT+CNSMOD?", 1024, parse_cnsmod}, out);
}

int fibocom_get_mode(const ModemDriver &rec, TextOut out)
{
    return read_mode(rec, {"AT+GTCCINFO?", 1024, parse_gtccinfo_mode}, out);
}
