#pragma once

#include "api/at_pass_through.h"
#include "api/connection.h"
#include "api/forwarding.h"
#include "api/modem_facts.h"
#include "api/modem_lists.h"
#include "api/request.h"
#include "api/restart.h"
#include "api/sms.h"
#include "api/upgrade.h"

// The route table; modem_api.h, which back ends include, declares its getter.

/// One endpoint. The handler is named after its path.
struct Endpoint {
    const char *path;
    const char *method;
    Handler handler;
    Needs needs;
};

namespace route_rows {

using enum Need;

// A back end may search the rows from the first on: their order is part of the interface. So is the order of the needs:
// it decides the status of a request that lacks two of them. If the handler comes before some of them, it acts first: a
// SIM is switched even if the model is not known, and a running upgrade is reported before anything is checked.
// clang-format off
inline constexpr std::array endpoints = {
    Endpoint{"/modem/info",           "get",  modem_info,           {}},
    Endpoint{"/modem/brief_info",     "get",  modem_brief_info,     {}},
    Endpoint{"/modem/app/brief_info", "get",  modem_app_brief_info, {}},
    Endpoint{"/modem/auto",           "post", modem_auto,           {modem_number, optional_bus}},
    Endpoint{"/modem/get",            "get",  modem_get,            {}},
    Endpoint{"/modem/set",            "post", modem_set,            {modem_number, optional_bus, model, device, short_texts}},
    Endpoint{"/modem/enable",         "post", modem_enable,         {bus_or_success}},
    Endpoint{"/modem/reset",          "post", modem_reset,          {modem_id, optional_bus, model}},
    Endpoint{"/modem/at",             "post", modem_at,             {at_command, at_port}},
    Endpoint{"/modem/sms/list",       "get",  modem_sms_list,       {modem_id, model}},
    Endpoint{"/modem/sms/delete",     "post", modem_sms_delete,     {modem_id, msg_id, model}},
    Endpoint{"/modem/sms/delete_all", "post", modem_sms_delete_all, {modem_id, model}},
    Endpoint{"/modem/sms/send",       "post", modem_sms_send,       {modem_id, number, message, model}},
    Endpoint{"/modem/sms/status",     "post", modem_sms_status,     {modem_id, msg_id, model}},
    Endpoint{"/modem/sms/code",       "post", modem_sms_code,       {}},
    Endpoint{"/modem/cells/get",      "post", modem_cells_get,      {bus, modem_id, bound_model}},
    Endpoint{"/modem/sim/switch",     "post", modem_sim_switch,     {sim_bus, sim_num, modem_id, handler, model}},
    Endpoint{"/modem/modem_info/get", "post", modem_modem_info_get, {bus, modem_id, bound_model}},
    Endpoint{"/modem/sms/forward",    "post", modem_sms_forward,    {short_texts}},
    Endpoint{"/modem/sms/flist",      "get",  modem_sms_flist,      {}},
    Endpoint{"/modem/sms/account",    "post", modem_sms_account,    {short_texts}},
    Endpoint{"/modem/upgrade",        "post", modem_upgrade,        {handler, modem_url, target_version, current_version,
                                                                     firmware_upload, hash_type, hash_value}},
    Endpoint{"/modem/upgrade_status", "post", modem_upgrade_status, {}},
};
// clang-format on

} // namespace route_rows

using route_rows::endpoints;
