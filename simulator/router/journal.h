#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

namespace simulator {

/// One line of text made from any bytes: backslash, line breaks and other control characters become \\, \n, \r, \x1b.
/// Tabs separate fields and become \t; quotes and bytes from 0x80 stay.
std::string one_line(std::string_view bytes);

/// A file that grows line by line while the simulated router runs. Without a file nothing is written. A file that takes
/// no more (a full disk outside) does not stop the router: that is said once on standard error, and the file is let go.
class LineFile {
  public:
    LineFile() = default;
    /// Empties path, or appends to it. Throws std::system_error.
    LineFile(const std::string &path, bool append);

    void write(std::string line);
    explicit operator bool() const { return static_cast<bool>(file_); }

  private:
    Fd file_;
    std::string path_;
};

/// What happened in the router, in order: "<kind><tab><who><tab><text>", each on one line.
class Journal {
  public:
    Journal() = default;
    explicit Journal(LineFile file) : file_(std::move(file)) {}

    void add(std::string_view kind, std::string_view who, std::string_view text);

  private:
    LineFile file_;
};

/// Every byte between the modems and the router: "<seconds><blank><port><blank><direction><blank><bytes>", one line per
/// piece.
class TrafficLog {
  public:
    TrafficLog() = default;
    /// Times are counted from start_ms of the monotonic clock.
    TrafficLog(LineFile file, int64_t start_ms) : file_(std::move(file)), start_ms_(start_ms) {}

    /// direction: ">" to the modem, "<" from it, "lost" from it without a reader, "!" a remark.
    void add(std::string_view port, std::string_view direction, std::string_view bytes);

  private:
    LineFile file_;
    int64_t start_ms_ = 0;
};

} // namespace simulator
