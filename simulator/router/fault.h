#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/modem/pattern.h"

namespace simulator {

/// How a modem misbehaves. The number is the fault's parameter.
enum class FaultKind {
    silence,        ///< no answer, no echo
    late,           ///< the reply comes n ms later
    garbage_before, ///< n random bytes between echo and reply
    garbage_inside, ///< n random bytes in the middle of the reply
    garbage_after,  ///< n random bytes after the reply
    eight_bit,      ///< n bytes from 0x80 up, spread over the reply
    zero,           ///< n zero bytes, spread over the reply
    endless,        ///< the reply never ends: n bytes every 10 ms until the next command
    no_final,       ///< without its last line
    cr_cr_lf,       ///< lines end CR CR LF
    echo_on,        ///< echo whatever ATE says
    echo_off,
    extra,       ///< n more bytes of text in lines before the last line
    gone_before, ///< the device goes away when the command comes, back after n ms (0: never)
    gone_during, ///< ... in the middle of the reply
    gone_after,  ///< ... right after the reply
    stuck,       ///< takes no bytes, so that the driver keeps them; of USB devices only
};

struct Fault {
    FaultKind kind;
    int64_t number;
    Pattern command; ///< empty text: every command
};

/// Reads "kind", "kind=number" or either of them followed by ":command": "late=3000:AT+CSQ", "garbage-before=20". The
/// command may be a pattern. Throws std::invalid_argument with the reason.
Fault parse_fault(std::string_view text);

} // namespace simulator
