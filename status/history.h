#pragma once

#include <cstdint>

/// One minute of a modem, as `modemctl watch` saw it. A value that is not known is INT16_MIN, or 0 where 0 says
/// nothing. Packed, so that a day fits into 64 KiB.
struct [[gnu::packed]] HistorySample {
    uint32_t uptime_s; ///< of the router, at the sample
    int64_t cell_id;   ///< 0: not known
    uint64_t rx_bytes; ///< of the network device, since it came up
    uint64_t tx_bytes;
    int16_t rssi_dbm;
    int16_t rsrp_dbm;
    int16_t rsrq_db10; ///< in tenths of dB
    int16_t sinr_db10;
    uint8_t technology; ///< Technology (readings/report.h)
    uint8_t state;      ///< WatchState (watch/states.h)
    uint8_t spare[2];
};
inline constexpr int16_t not_measured = INT16_MIN;

/// A ring of 24 hours in the modem's state folder, 57 KiB.
inline constexpr uint32_t history_samples = 1440;

/// Adds a sample, over the oldest one if the ring is full. A file that is not a history becomes a new one.
/// @return 0; -1 if it cannot be written
int add_history(const char *bus, const HistorySample &sample);

/// Calls visit for each sample whose uptime is at least since_s, the oldest first. A sample that is older than the one
/// before it is left out.
/// @return the number of samples; 0 without a history
int read_history(const char *bus, int64_t since_s, void (*visit)(void *context, const HistorySample &sample),
                 void *context);
