#pragma once

#include "platform/text.h"

/// The board's model: "/tmp/sysinfo/board_name" holds "maker,model" on OpenWrt; the model is what follows the last
/// comma of the first line, or the whole line without a comma. Empty when the file is missing.
void get_model_name(TextOut out);

/// Gateway of the default route of device ("wwan0"), in dotted form, from /proc/net/route; 16 bytes hold every address.
/// @return 0; -1 when the device has no default route, out is then empty
int get_gateway_by_ifname(const char *device, TextOut out);

/// @return 1 when path exists, whatever it is, else 0
int cmm_check_file_is_exist(const char *path);
