#ifndef MODEM_API_H
#define MODEM_API_H

/* The modem endpoints for a web back end, in C or C++: libmodemapi.so exports modem_api_routes and nothing else. */

#include <stdint.h>

#include <json-c/json.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One endpoint. */
struct ModemRoute {
    const char *path;   /**< request path, "/modem/info" */
    const char *method; /**< "get" or "post" */
    /** Serves one request. Both objects are the caller's; request is only read, members are added to response.
     *  @return 0, or a negative status code */
    int32_t (*handler)(struct json_object *request, struct json_object *response);
};

/** The endpoints, in an order that does not change. Stores their number in count. May be called any number of times. */
const struct ModemRoute *modem_api_routes(int32_t *count);

#ifdef __cplusplus
}
#endif

#endif
