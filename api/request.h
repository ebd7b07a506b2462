#pragma once

#include <optional>
#include <span>

#include "api/modem_api.h"
#include "core/model/modem_driver.h"

// What the handlers share: which members a request must have, and the modem that it means. A member of another JSON
// type is read by json-c's own conversion; where a text is wanted, a null, an array or an object counts as absent.

/// The bus of a request that names none.
inline constexpr char default_bus[] = "1-1.2";

/// A member that a handler cannot do without.
struct RequiredMember {
    enum class Kind { present, text, bus };
    const char *key;
    Kind kind;
    int32_t status; ///< what the handler returns without it
};

inline constexpr RequiredMember modem_id_required = {"modem_id", RequiredMember::Kind::present,
                                                     modem_api_parameter_missing};
inline constexpr RequiredMember bus_required = {"bus", RequiredMember::Kind::bus, modem_api_parameter_missing};

/// @return the status of the first member, in the order given, that request lacks; 0 when it has all
int32_t check_request(json_object *request, std::span<const RequiredMember> members);

/// A bus as a record holds it: what does not fit is cut.
using BusName = decltype(ModemDriver::bus);

/// "bus" of the request; default_bus where it is absent or empty; nothing when it holds anything but letters, digits,
/// '-' and '.', for such a text names no bus and must not reach a shell or a path.
std::optional<BusName> requested_bus(json_object *request);

/// A member's text, borrowed; fallback where it is absent.
const char *requested_text(json_object *request, const char *key, const char *fallback);

/// The table's own entry of the request's "modem_id"; null when there is none.
ModemDriver *requested_model(json_object *request);
