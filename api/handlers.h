#pragma once

#include <json-c/json.h>

#include "api/modem_api.h"

// The handlers of the route table, each in the file of its subject.

// The modems of the router (modem_lists.cpp).
int32_t report_modems(json_object *request, json_object *response);
int32_t report_modems_briefly(json_object *request, json_object *response);
int32_t report_modems_for_app(json_object *request, json_object *response);

// The connection of one modem (connection.cpp).
int32_t start_auto_connect(json_object *request, json_object *response);
int32_t report_settings(json_object *request, json_object *response);
int32_t change_settings(json_object *request, json_object *response);
int32_t enable_modem(json_object *request, json_object *response);

// Taking a modem's power or state away for a moment (restart.cpp).
int32_t reset_modem(json_object *request, json_object *response);
int32_t switch_sim(json_object *request, json_object *response);

// Any AT command (at_pass_through.cpp).
int32_t pass_at_command(json_object *request, json_object *response);

// Facts of one modem (modem_facts.cpp).
int32_t report_modem_facts(json_object *request, json_object *response);
int32_t report_cells(json_object *request, json_object *response);

// The messages of the SMS daemon's spool (sms.cpp).
int32_t list_messages(json_object *request, json_object *response);
int32_t delete_message(json_object *request, json_object *response);
int32_t delete_all_messages(json_object *request, json_object *response);
int32_t send_message(json_object *request, json_object *response);
int32_t mark_message_read(json_object *request, json_object *response);
/// Sets or tells the country of the router's SIM, as "action" says.
int32_t keep_message_country(json_object *request, json_object *response);

// Where received messages are forwarded to, and the mail account that sends them (forwarding.cpp).
int32_t set_forwarding(json_object *request, json_object *response);
int32_t report_forwarding(json_object *request, json_object *response);
int32_t set_mail_account(json_object *request, json_object *response);

// The modem's firmware (upgrade.cpp).
int32_t upgrade_modem(json_object *request, json_object *response);
int32_t report_upgrade(json_object *request, json_object *response);
