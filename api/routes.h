#pragma once

#include "api/modem_api.h"

// The route table itself is in routes.cpp; modem_api.h, which back ends include, declares its getter.
