#pragma once

#include "core/cli/rpcd_call.h"

// The methods for text messages: the SMS daemon's spool, and the program that gives it a message.

void answer_messages(const RpcdCall &call, json_object *answer);
void answer_message_send(const RpcdCall &call, json_object *answer);
void answer_message_delete(const RpcdCall &call, json_object *answer);
void answer_message_read(const RpcdCall &call, json_object *answer);
