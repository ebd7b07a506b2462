#include "api/routes.h"

#include <array>

#include "api/at_pass_through.h"
#include "api/connection.h"
#include "api/forwarding.h"
#include "api/modem_api.h"
#include "api/modem_facts.h"
#include "api/modem_lists.h"
#include "api/restart.h"
#include "api/sms.h"
#include "api/upgrade.h"

namespace {

// A back end may search the rows from the first on: their order is part of the interface.
// clang-format off
constexpr std::array routes = {
    ModemRoute{"/modem/info",           "get",  report_modems},
    ModemRoute{"/modem/brief_info",     "get",  report_modems_briefly},
    ModemRoute{"/modem/app/brief_info", "get",  report_modems_for_app},
    ModemRoute{"/modem/auto",           "post", start_auto_connect},
    ModemRoute{"/modem/get",            "get",  report_settings},
    ModemRoute{"/modem/set",            "post", change_settings},
    ModemRoute{"/modem/enable",         "post", enable_modem},
    ModemRoute{"/modem/reset",          "post", reset_modem},
    ModemRoute{"/modem/at",             "post", pass_at_command},
    ModemRoute{"/modem/sms/list",       "get",  list_messages},
    ModemRoute{"/modem/sms/delete",     "post", delete_message},
    ModemRoute{"/modem/sms/delete_all", "post", delete_all_messages},
    ModemRoute{"/modem/sms/send",       "post", send_message},
    ModemRoute{"/modem/sms/status",     "post", mark_message_read},
    ModemRoute{"/modem/sms/code",       "post", keep_message_country},
    ModemRoute{"/modem/cells/get",      "post", report_cells},
    ModemRoute{"/modem/sim/switch",     "post", switch_sim},
    ModemRoute{"/modem/modem_info/get", "post", report_modem_facts},
    ModemRoute{"/modem/sms/forward",    "post", set_forwarding},
    ModemRoute{"/modem/sms/flist",      "get",  report_forwarding},
    ModemRoute{"/modem/sms/account",    "post", set_mail_account},
    ModemRoute{"/modem/upgrade",        "post", upgrade_modem},
    ModemRoute{"/modem/upgrade_status", "post", report_upgrade},
};
// clang-format on

} // namespace

__attribute__((visibility("default"))) const ModemRoute *modem_api_routes(int32_t *count)
{
    *count = static_cast<int32_t>(routes.size());
    return routes.data();
}
