#include "api/modem_api.h"

namespace {

// The endpoints that this version serves. A route without its handler is no route, so the list grows with them.
constexpr const ModemRoute *routes = nullptr;
constexpr int32_t route_count = 0;

} // namespace

__attribute__((visibility("default"))) const ModemRoute *modem_api_routes(int32_t *count)
{
    *count = route_count;
    return routes;
}
