#pragma once

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/router/fault.h"

namespace simulator {

/// The faults that strike one command.
class Misbehaviour {
  public:
    Misbehaviour(const std::vector<Fault> &faults, std::string_view command);

    /// The first of its kind; null when there is none.
    const Fault *find(FaultKind kind) const;
    /// The reply's bytes as the faults leave them; lines carry their line ends.
    std::string apply(std::vector<std::string> lines, std::mt19937 &random) const;

  private:
    std::vector<const Fault *> faults_;
};

/// count bytes from lowest to 0xff.
std::string random_bytes(size_t count, unsigned lowest, std::mt19937 &random);

} // namespace simulator
