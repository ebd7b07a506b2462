#pragma once

#include "tests/system/harness.h"

/// Serves requests, one "METHOD PATH [REQUEST]" a line, with one back end in a simulated router; each answer is one
/// line of the output, the status, a blank and the response. Shell commands may come before and after it.
inline RouterRun serve(const std::vector<std::string> &options, const std::string &requests,
                       const std::string &before = ":", const std::string &after = ":")
{
    return run_in_router(options, {"sh", "-c", before + "\nmodemapi\n" + after}, requests);
}
