#pragma once

#include <netinet/in.h>
#include <optional>
#include <string_view>

#include "platform/text.h"

// What board.cpp is made of. Other rooms include platform/board.h.

/// "maker,model": what follows the last comma of the first line, or the whole line without a comma.
std::string_view parse_model_name(std::string_view board_name);

/// Gateway of the default route of device; text holds the lines of /proc/net/route. Of several routes the first counts
/// (the kernel lists the lowest metric first). Nothing if no route is up and has a gateway.
std::optional<in_addr> parse_default_gateway(std::string_view text, std::string_view device);

/// get_model_name and get_gateway_by_ifname with the file to read.
void read_model_name(const char *board_name_path, TextOut out);
int read_gateway(const char *routes_path, const char *device, TextOut out);
