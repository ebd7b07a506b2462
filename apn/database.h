#pragma once

#include "platform/json.h"

/// The process's APN database, borrowed; null when none is loaded or its text was no JSON.
json_object *apn_database();
