#include "simulator/router/fault.h"

#include <charconv>
#include <stdexcept>

namespace simulator {

namespace {

struct FaultName {
    std::string_view name;
    FaultKind kind;
    int64_t number; // if none is given
};

constexpr FaultName fault_names[] = {
    {"silence", FaultKind::silence, 0},
    {"late", FaultKind::late, 1000},
    {"garbage-before", FaultKind::garbage_before, 16},
    {"garbage-inside", FaultKind::garbage_inside, 16},
    {"garbage-after", FaultKind::garbage_after, 16},
    {"eight-bit", FaultKind::eight_bit, 1},
    {"zero", FaultKind::zero, 1},
    {"endless", FaultKind::endless, 256},
    {"no-final", FaultKind::no_final, 0},
    {"cr-cr-lf", FaultKind::cr_cr_lf, 0},
    {"echo-on", FaultKind::echo_on, 0},
    {"echo-off", FaultKind::echo_off, 0},
    {"extra", FaultKind::extra, 5000},
    {"gone-before", FaultKind::gone_before, 0},
    {"gone-during", FaultKind::gone_during, 0},
    {"gone-after", FaultKind::gone_after, 0},
    {"stuck", FaultKind::stuck, 0},
};

} // namespace

Fault parse_fault(std::string_view text)
{
    const size_t colon = text.find(':');
    std::string_view name = text.substr(0, colon);
    const std::string_view command = colon == std::string_view::npos ? "" : text.substr(colon + 1);
    const size_t equals = name.find('=');
    const std::string_view number = equals == std::string_view::npos ? "" : name.substr(equals + 1);
    name = name.substr(0, equals);
    for (const FaultName &known : fault_names) {
        if (known.name != name)
            continue;
        Fault fault{known.kind, known.number, Pattern(command)};
        if (equals == std::string_view::npos)
            return fault;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), fault.number);
        if (error != std::errc{} || end != number.data() + number.size() || fault.number < 0 ||
            fault.number > 10'000'000)
            throw std::invalid_argument("bad number '" + std::string(number) + "' of the fault " + std::string(name));
        return fault;
    }
    throw std::invalid_argument("unknown fault '" + std::string(name) + "'");
}

} // namespace simulator
