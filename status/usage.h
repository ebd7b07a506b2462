#pragma once

#include <array>
#include <cstdint>
#include <ctime>

#include "platform/text.h"

// How much data each SIM card has used in each month, counted by the network device's 64-bit counters. Operators round
// up, so this is an estimate.

struct UsageEntry {
    Text<24> iccid;     ///< empty: the card was not known yet
    uint32_t month = 0; ///< 202611; 0: the clock was not set yet
    uint64_t rx_bytes = 0;
    uint64_t tx_bytes = 0;

    bool operator==(const UsageEntry &other) const
    {
        return iccid == other.iccid.view() && month == other.month && rx_bytes == other.rx_bytes &&
               tx_bytes == other.tx_bytes;
    }
};

/// The last twelve entries; a further one takes the place of the oldest month.
struct UsageBook {
    std::array<UsageEntry, 12> entries{};
    size_t size = 0;

    /// Bytes without a card or a month go to the next that is known.
    void add(std::string_view iccid, uint32_t month, uint64_t rx_bytes, uint64_t tx_bytes);
    void add(const UsageBook &other);
    /// Both directions.
    uint64_t total(std::string_view iccid, uint32_t month) const;
    uint64_t total() const;
};

/// Lines "iccid month received sent", with "-" for no card. A line that is not of this form is left out.
UsageBook parse_usage(std::string_view text);
using UsageText = Text<size_t{12} * 80>;
UsageText compose_usage(const UsageBook &book);

/// What a counter has gone on by. A smaller value is that of a device that has started anew, never an overflow.
constexpr uint64_t counted_since(uint64_t before, uint64_t now)
{
    return now < before ? now : now - before;
}

/// The month in which the billing month began that now is in, 202611; 0 for a clock that is not set.
uint32_t billing_month(time_t now, uint32_t first_day);

/// The book of this router, in the flash.
UsageBook read_kept_usage();
/// Adds to it. Two processes may do so at the same time. @return false if it cannot be written
bool keep_usage(const UsageBook &more);

/// What is not in the flash yet.
UsageBook read_new_usage(const char *bus);
void write_new_usage(const char *bus, const UsageBook &book);
