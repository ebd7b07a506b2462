#pragma once

#include <csignal>
#include <cstdint>

#include "platform/files.h"

// How the watch spends the time between its steps: without a wake-up, and with as little memory as it can.

/// Left in a modem's state folder to pause its watch: the uptime in seconds until which it rests.
constexpr char pause_file[] = "watch.pause";

/// The one signal after which the watch keeps what a restart of the router would lose.
sigset_t only_ending();

/// Made once: to give up an inotify descriptor takes the kernel longer than a step.
class WatchSleep {
  public:
    WatchSleep();

    /// Rests for so many seconds, or until another process calls: it pauses the watch, or reads the snapshot.
    /// @return false if the process must end: the signal is then still blocked
    bool rest(const char *bus, uint32_t seconds) const;

  private:
    bool has_call() const;

    Fd calls_;
    Fd ends_;
};

/// A step needs a document of the modem's report and deep calls; asleep, the process gives that memory back.
void give_back_memory();
