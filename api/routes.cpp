#include <array>

#include "api/handlers.h"

namespace {

// A back end may search the rows from the first on: their order is part of the interface.
// clang-format off
constexpr std::array routes = {
    ModemRoute{"/modem/cells/get",      "post", report_cells},
    ModemRoute{"/modem/modem_info/get", "post", report_modem_facts},
};
// clang-format on

} // namespace

__attribute__((visibility("default"))) const ModemRoute *modem_api_routes(int32_t *count)
{
    *count = static_cast<int32_t>(routes.size());
    return routes.data();
}
