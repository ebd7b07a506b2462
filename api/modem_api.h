#ifndef MODEM_API_H
#define MODEM_API_H

/* The modem endpoints for a web back end, in C or C++: libmodemapi.so exports modem_api_routes and nothing else. */

#include <stdint.h>

#include <json-c/json.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What a handler returns. */
enum ModemApiStatus {
    modem_api_success = 0,
    modem_api_failed = -1,              /**< the modem's firmware version cannot be read */
    modem_api_same_version = -2,        /**< the firmware is the requested one already */
    modem_api_busy = -3,                /**< a firmware upgrade is running */
    modem_api_other_version = -4,       /**< the firmware is not the one that the request takes it for */
    modem_api_parameter_or_sim = -5,    /**< a required member is absent or a text refused, or the SIM is not ready */
    modem_api_no_forwarding = -7,       /**< the SMS forwarding service is not installed */
    modem_api_not_supported = -17,      /**< the model or the board cannot, or a package is missing */
    modem_api_bad_sim_request = -22,    /**< "bus" or "sim_num" of a SIM switch is absent */
    modem_api_no_modem = -250,          /**< no such model, or no modem at all */
    modem_api_parameter_missing = -251, /**< "modem_id", or "bus" where it is required, is absent */
    modem_api_connect_failed = -253,    /**< not returned: a connection with a given device is not waited for */
    modem_api_at_failed = -255,         /**< the AT command got no reply */
    modem_api_bad_data_device = -256,   /**< "device" is no device that carries data */
    modem_api_no_message_id = -258,     /**< "msg_id" is absent */
    modem_api_sms_not_deleted = -259,   /**< there is no such message, or it cannot be deleted */
    modem_api_no_number = -260,         /**< "number" is absent */
    modem_api_no_message = -261,        /**< "message" is absent */
    modem_api_sms_not_changed = -264,   /**< not returned: a message that is gone counts as changed */
    modem_api_at_port_as_device = -265  /**< "device" is the modem's AT port */
};

/** One endpoint. */
struct ModemRoute {
    const char *path;   /**< request path, "/modem/info" */
    const char *method; /**< "get" or "post" */
    /** Serves one request. Both objects are the caller's; request is only read, members are added to response, also
     *  before a failure. Works in the caller's thread and returns when the work is done, which can take a minute.
     *  Requests are served one at a time. @return a ModemApiStatus */
    int32_t (*handler)(struct json_object *request, struct json_object *response);
};

/** The endpoints, in an order that does not change. Stores their number in count. May be called any number of times. */
const struct ModemRoute *modem_api_routes(int32_t *count);

#ifdef __cplusplus
}
#endif

#endif
