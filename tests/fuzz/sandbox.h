#pragma once

#include <array>
#include <string_view>
#include <unistd.h>

#include "tests/fuzz/check.h"

/// For targets that change files which a machine has too.
inline void require_simulated_router()
{
    static const bool is_inside = [] {
        std::array<char, 64> host{};
        gethostname(host.data(), host.size() - 1);
        return std::string_view{host.data()} == "OpenWrt";
    }();
    check(is_inside, "the target runs in the simulated router");
}
