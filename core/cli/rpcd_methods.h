#pragma once

#include "core/cli/rpcd_call.h"

/// The methods of the ubus object, as docs/ubus.md lists them.
std::span<const RpcdMethod> rpcd_methods();
