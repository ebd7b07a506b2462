#include "drivers/simcom.h"

#include "at/at_command.h"
#include "at/reply.h"
#include "drivers/ask.h"

const char *parse_cnsmod(std::string_view reply)
{
    struct SystemMode {
        const char *field;
        const char *generation;
    };
    static constexpr SystemMode modes[] = {
        {",8\r", "4G"},                                                   // LTE
        {",9\r", "3G"}, {",10\r", "3G"}, {",11\r", "3G"}, {",7\r", "3G"}, // TD-SCDMA and its data modes, HSPA
        {",6\r", "3G"}, {",5\r", "3G"},  {",4\r", "3G"},                  // HSUPA, HSDPA, WCDMA
        {",3\r", "2G"}, {",2\r", "2G"},  {",1\r", "2G"},                  // EDGE, GPRS, GSM
    };
    for (const SystemMode &mode : modes)
        if (str_contains(reply, mode.field))
            return mode.generation;
    return nullptr;
}

int simcom_get_mode(const ModemDriver &rec, TextOut out)
{
    Text<1024> reply;
    if (!ask_modem_ok(rec, AtCommand{"AT+CNSMOD?"}, reply))
        return -1;
    const char *generation = parse_cnsmod(reply.view());
    if (generation == nullptr)
        return -1;
    out.assign(generation);
    return 0;
}
