#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "core/model/modem.h"
#include "platform/json.h"

// A call of the ubus object: its methods, their arguments, and how these are checked. All checks are here: a method
// that runs has arguments that fit.

/// An argument that methods take. Each is a row of rpcd_arguments, in this order.
enum class RpcdArgument : uint8_t {
    none,
    bus,
    since,
    values,
    minutes,
    recipient,
    text,
    message,
    lines,
    job,
    bands,
    keep,
    mode,
    command,
    count
};

struct RpcdArgumentRow {
    enum class Type : uint8_t { none, text, number, truth, list, object };
    char name[8];
    Type type;
    bool is_required;
    uint16_t least; ///< of a number; bytes of a text
    uint16_t most;
};

struct RpcdCall;

/// One method. A quick one has answer. The others are jobs: they have either work, or the words of a command in which
/// "?" stands for the method's own argument.
struct RpcdMethod {
    char name[16];
    std::array<RpcdArgument, 3> takes;
    void (*answer)(const RpcdCall &call, json_object *answer);
    int (*work)(const RpcdCall &call, json_object *result); ///< @return the status of the job
    const char *words;
    uint16_t limit_s;
    bool is_control; ///< one at a time for each modem
    bool is_admin;   ///< its result is as it comes, with the numbers of modem and card
};

/// A call whose arguments fit.
struct RpcdCall {
    const RpcdMethod &method;
    BusName bus;            ///< empty if the method takes none
    json_object *arguments; ///< borrowed

    /// An argument as text; empty without it.
    const char *text(RpcdArgument argument) const;
    /// An argument as a number, or what counts without it.
    int number(RpcdArgument argument, int usual) const;
};

inline constexpr size_t longest_rpcd_input = size_t{64} * 1024;

std::span<const RpcdArgumentRow> rpcd_arguments();

/// Makes answer an error: {"error":word,"message":sentence}. The words are in docs/ubus.md.
void rpcd_fail(json_object *answer, const char *word, const char *format, ...) __attribute__((format(printf, 3, 4)));
void rpcd_succeed(json_object *answer);

/// Adds the members of source, if it is an object.
void rpcd_add_members(json_object *answer, json_object *source);

/// The arguments in input. Null, and the error in answer, if input is no object of valid UTF-8 without zero bytes.
Json parse_rpcd_input(std::string_view input, json_object *answer);

/// True if the method takes all arguments as they are. @return false with the error in answer
bool check_rpcd_arguments(const RpcdMethod &method, json_object *arguments, json_object *answer);

/// The answer to a call of the method with that name.
void answer_rpcd_call(std::string_view method, std::string_view input, json_object *answer);

/// The methods with an example of each argument, as rpcd wants them.
Json list_rpcd_methods();
