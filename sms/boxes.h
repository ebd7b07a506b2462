#pragma once

#include "platform/json.h"

// All folders of the SMS daemon's spool: what came, what waits to be sent, what was sent and what could not be sent. A
// message's id is its box and the name of its file, "sent/send.Ab12Cd".

/// Appends the newest messages of all boxes, as many as ubus can carry, the newest first: "id", "box" ("in", "out",
/// "sent", "failed"), "number", "type" of the number ("international", "national", "unknown"), "time" ("2026-11-21
/// 01:02:03"), "text", "unread", "parts", and "error" of one that could not be sent.
void sms_list_boxes(json_object *array, size_t most);

/// Removes the message with that id. @return 0; -1 if there is none
int sms_remove_from_box(const char *id);

/// Moves an incoming message to the storage. @return 0; -1 if id names no message that came
int sms_mark_box_read(const char *id);
