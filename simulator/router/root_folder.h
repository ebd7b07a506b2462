#pragma once

#include <string>
#include <vector>

#include "simulator/router/router_files.h"
#include "simulator/router/sandbox.h"

namespace simulator {

struct RootPlan {
    std::vector<RouterFile> files;
    std::vector<std::string> kept; ///< folders that stay visible though they lie below one that is the router's own
    uint64_t config_bytes = 0;     ///< size of the file system of /etc/config; 0: no limit
    bool kernel_devices = false;   ///< /dev and /sys are the kernel's, not the router's own
};

/// Builds the router's root and enters it, in the first process of run_isolated. The machine's own files are all there,
/// but what is written goes to memory; /dev, /proc, /sys, /run, /tmp, /var and /etc/config are the router's own. Throws
/// NotAllowed, std::system_error.
void enter_router_root(const RootPlan &plan, Rights rights);

} // namespace simulator
