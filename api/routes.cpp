#include "api/routes.h"

#include <utility>

namespace {

// A back end calls a plain function with two JSON objects; this function knows its row.
template <size_t row> int32_t serve_row(json_object *request, json_object *response)
{
    // Separate constants, so that the library does not contain the table with its addresses twice.
    static constexpr Needs needs = endpoints[row].needs;
    constexpr Handler handler = endpoints[row].handler;
    return serve(request, response, handler, needs);
}

template <size_t... row> constexpr std::array<ModemRoute, sizeof...(row)> make_routes(std::index_sequence<row...>)
{
    return {ModemRoute{endpoints[row].path, endpoints[row].method, serve_row<row>}...};
}

constexpr auto routes = make_routes(std::make_index_sequence<endpoints.size()>{});

} // namespace

__attribute__((visibility("default"))) const ModemRoute *modem_api_routes(int32_t *count)
{
    *count = static_cast<int32_t>(routes.size());
    return routes.data();
}
