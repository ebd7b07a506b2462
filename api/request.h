#pragma once

#include <array>
#include <cstdint>

#include "api/modem_api.h"
#include "core/model/modem.h"

// What an endpoint needs of its request, and the dispatcher that looks for it. A member of another JSON type is read by
// json-c's own conversion; if a text is required, a null, an array or an object counts as absent.

/// One thing that an endpoint needs, named after its member if it is a member.
enum class Need : uint8_t {
    nothing,
    modem_id,
    modem_number,   ///< "modem_id" as a number; -1 counts as absent
    model,          ///< the table's entry of "modem_id"
    bound_model,    ///< the same, bound to the bus
    bus,            ///< absent or empty fails
    optional_bus,   ///< default_bus if it is absent or empty
    bus_or_success, ///< as optional_bus; a bad one ends the request with 0
    sim_bus,        ///< may be empty
    short_texts,    ///< no member's text is longer than longest_text
    sim_num,
    msg_id,
    number,
    message,
    device,
    at_command,
    at_port,
    modem_url,
    target_version,
    current_version,
    firmware_upload,
    hash_type,
    hash_value,
    handler, ///< the handler begins here, and checks the needs after this one itself, with find_missing_later()
};

/// The needs of an endpoint in the order in which they are looked for; Need::nothing ends them.
using Needs = std::array<Need, 8>;

/// How a need is looked for.
struct Check {
    enum class Kind : uint8_t {
        member,
        number,
        text,
        name, ///< a text of any length: it is compared, never stored
        required_bus,
        optional_bus,
        any_bus,
        short_texts,
        model,
        bound_model
    };
    Need need;
    Kind kind;
    int16_t status; ///< what the request ends with when it fails
    char key[16];   ///< in place: an address would cost twice its size in a library
};

/// need is not Need::nothing or Need::handler.
const Check &check_of(Need need);

/// The bus of a request without a bus.
inline constexpr char default_bus[] = "1-1.2";

/// The longest accepted text: longer than any setting or message, and short enough for a router's flash.
inline constexpr size_t longest_text = 8191;

/// A request as a handler gets it. A text is borrowed from it, and null when it is absent.
struct Request {
    json_object *json = nullptr;
    BusName bus{};                ///< set when the row needs one: letters, digits, '-' and '.' only
    ModemDriver *model = nullptr; ///< the table's own entry, set when the row needs one
    const Need *later = nullptr;  ///< the needs that the handler looks for

    /// A text that is longer than longest_text counts as absent.
    const char *text(const char *key) const;
    const char *text_or(const char *key, const char *fallback) const
    {
        const char *found = text(key);
        return found == nullptr ? fallback : found;
    }
};

/// @return a ModemApiStatus
using Handler = int32_t (*)(Request &request, json_object *response);

/// Looks for the needs of the row that come after Need::handler. @return the first that fails, null when none does
const Check *find_missing_later(Request &request);

/// Looks for needs in their order, then calls handler. @return the status of the first need that fails, or handler's
int32_t serve(json_object *json, json_object *response, Handler handler, const Needs &needs);
