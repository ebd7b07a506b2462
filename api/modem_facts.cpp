#include "api/modem_facts.h"

#include "api/modem_api.h"
#include "api/request.h"
#include "core/model/modem.h"

namespace {

using TextOperation = int (*)(const ModemDriver &rec, TextOut out);

struct TextFact {
    const char *key;
    TextOperation ModemOps::*slot;
};

constexpr TextFact text_facts[] = {
    {"iccid", &ModemOps::get_iccid},
    {"imsi", &ModemOps::get_imsi},
    {"sim_status", &ModemOps::get_sim_status},
    {"current_mode", &ModemOps::get_scan_mode},
};

void add_text_fact(json_object *facts, const ModemDriver &rec, const TextFact &fact)
{
    const TextOperation operation = rec.ops.*fact.slot;
    if (operation == nullptr)
        return;
    Text<80> text;
    operation(rec, text); // after a failure, what it wrote is reported all the same
    kjson_add_string(facts, fact.key, text.c_str());
}

} // namespace

int32_t modem_modem_info_get(Request &request, json_object *response)
{
    const ModemDriver &rec = *request.model;
    Json facts{json_object_new_object()};
    for (const TextFact &fact : text_facts)
        add_text_fact(facts.get(), rec, fact);
    if (rec.ops.get_bands != nullptr) {
        Json bands{json_object_new_object()};
        rec.ops.get_bands(rec, bands.get());
        kjson_add_object(facts.get(), "band", std::move(bands));
    }
    if (rec.ops.get_csq == nullptr)
        return modem_api_not_supported;
    int32_t bars = 0;
    rec.ops.get_csq(rec, bars);
    kjson_add_int(facts.get(), "signal", bars);
    kjson_add_object(response, "modem_info", std::move(facts));
    return modem_api_success;
}

int32_t modem_cells_get(Request &request, json_object *response)
{
    const ModemDriver &rec = *request.model;
    if (rec.ops.get_cells == nullptr)
        return modem_api_not_supported;
    Json cells{json_object_new_array()};
    rec.ops.get_cells(rec, cells.get());
    kjson_add_object(response, "cells", std::move(cells));
    return modem_api_success;
}
