#pragma once

#include "platform/json.h"
#include "platform/text.h"

/// Name of a program that has one of the ports open and is neither this one nor one that works for a connection (uqmi,
/// pppd ...): "ModemManager". Empty if there is none. Sees the processes that the caller may look into: root sees all.
Text<16> other_manager_of(json_object *ports);
