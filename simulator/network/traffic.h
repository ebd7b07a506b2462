#pragma once

#include <cstdint>

namespace simulator {

/// Bytes that a network device has received and sent.
struct Traffic {
    uint64_t received = 0;
    uint64_t sent = 0;
    bool operator==(const Traffic &) const = default;
};

} // namespace simulator
