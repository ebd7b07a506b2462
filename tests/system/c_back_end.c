/* A web back end in C, linked with the library: lists the routes and serves one request. */

#include <stdio.h>
#include <string.h>

#include "api/modem_api.h"

int main(void)
{
    int32_t count = 0;
    int32_t again = 0;
    int32_t i;
    const struct ModemRoute *routes = modem_api_routes(&count);
    if (modem_api_routes(&again) != routes || again != count)
        return 1;
    for (i = 0; i < count; i++)
        printf("%s %s\n", routes[i].method, routes[i].path);
    for (i = 0; i < count; i++)
        if (strcmp(routes[i].path, "/modem/sms/list") == 0) {
            struct json_object *request = json_tokener_parse("{\"modem_id\":2}");
            struct json_object *response = json_object_new_object();
            const int32_t status = routes[i].handler(request, response);
            printf("%s %s\n", status == modem_api_no_modem ? "no such modem" : "another status",
                   json_object_to_json_string(response));
            json_object_put(request);
            json_object_put(response);
        }
    return 0;
}
