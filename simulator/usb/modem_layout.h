#pragma once

#include <optional>
#include <vector>

#include "simulator/modem/profile.h"
#include "simulator/usb/gadget.h"
#include "simulator/usb/ntb.h"

namespace simulator {

/// Where an interface's bytes go. 0: it has no such endpoint.
struct InterfaceEndpoints {
    int interface = 0;
    int in = 0;
    int out = 0;
    int notify = 0;
    bool is_network = false;            ///< frames go there
    bool has_messages = false;          ///< ... and messages by requests
    std::optional<NtbContent> blocks{}; ///< frames come in blocks
};

struct ModemLayout {
    Descriptors descriptors;
    std::vector<InterfaceEndpoints> endpoints;
};

/// What the modem of that profile says of itself, as its real descriptors do in what drivers look at.
ModemLayout modem_layout(const Profile &profile);

} // namespace simulator
