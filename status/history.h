#pragma once

#include <cstdint>

inline constexpr int16_t not_measured = INT16_MIN;

/// One minute of a modem, as `modemctl watch` saw it. A value that is not known is not_measured, or 0 where 0 says
/// nothing. In an order without gaps, so that a day fits into 64 KiB.
struct HistorySample {
    int64_t cell_id = 0;   ///< 0: not known
    uint64_t rx_bytes = 0; ///< of the network device, since it came up
    uint64_t tx_bytes = 0;
    int32_t uptime_s = 0; ///< of the router, at the sample; negative only in a history that is made up
    int16_t rssi_dbm = not_measured;
    int16_t rsrp_dbm = not_measured;
    int16_t rsrq_db10 = not_measured; ///< in tenths of dB
    int16_t sinr_db10 = not_measured;
    uint8_t technology = 0; ///< Technology (readings/report.h)
    uint8_t state = 0;      ///< WatchState (watch/states.h)
    uint8_t spare[2] = {};
};
static_assert(sizeof(HistorySample) == 40);

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
