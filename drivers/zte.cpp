#include "drivers/zte.h"

#include "at/at_command.h"
#include "at/reply.h"
#include "drivers/ask.h"

const char *parse_zpas(std::string_view reply)
{
    struct Technology {
        const char *word;
        const char *generation;
    };
    static constexpr Technology technologies[] = {
        {"LTE", "4G"},   {"HSPA+", "4G"}, {"EVDO", "3G"},  {"UMTS", "3G"}, {"TD-SCDMA", "3G"}, {"HSPA", "3G"},
        {"HSUPA", "3G"}, {"HSDPA", "3G"}, {"EHRPD", "3G"}, {"CDMA", "2G"}, {"GSM", "2G"},      {"GPRS", "2G"},
    };
    for (const Technology &technology : technologies)
        if (str_contains(reply, technology.word))
            return technology.generation;
    return nullptr;
}

int zte_get_mode(const ModemDriver &rec, TextOut out)
{
    Text<1024> reply;
    if (!ask_modem_ok(rec, AtCommand{"AT+ZPAS?"}, reply))
        return -1;
    const char *generation = parse_zpas(reply.view());
    if (generation == nullptr)
        return -1;
    out.assign(generation);
    return 0;
}
