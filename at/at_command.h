#pragma once

#include <cstdint>
#include <string_view>

#include "platform/text.h"

/// A command line that is composed: the text, cut at 512 characters, with room for the CR LF that at_command appends
/// and the terminating zero.
class AtCommand {
  public:
    static constexpr size_t max_length = 512;

    /// At most longest characters of text.
    explicit AtCommand(std::string_view text, size_t longest = max_length);
    /// What printf would write.
    static AtCommand format(const char *format, ...) __attribute__((format(printf, 1, 2)));

    std::string_view view() const { return text_.view(); }
    operator std::string_view() const { return view(); }
    void append_line_end() { text_.append("\r\n"); }

  private:
    Text<max_length + sizeof "\r\n"> text_;
};

/// One transaction with the modem on port_path: opens and locks the port, sends command, cut as an AtCommand, with CR
/// LF, collects the reply until it contains "OK" or "ERROR", or fills the capacity, or the modem has been silent for 30
/// half-seconds in total (300 for AT+CFUN=1,1, 30000 for AT+COPS=?), and closes the port. The search for the end is
/// kept this simple on purpose. The rest of the line with "OK" or "ERROR" is read too, for 50 ms at most. Before it
/// locks the port, a process waits for those of the program's processes that came first, for 3 s at most. Zero bytes
/// are left out. The reply's last byte is always zero, so a reply that fills the capacity loses its last byte.
/// @param capacity  0 or less means 4096; never more than reply holds
/// @return 0 when anything arrived, which says nothing about the command's success (see reply_has_ok); -1 when the port
/// cannot be opened or nothing arrived; -2 when another process holds the port. reply is empty unless 0 is returned
[[gnu::noinline]] int at_command(const char *port_path, std::string_view command, TextOut reply, int capacity);
int at_command(const char *port_path, std::string_view command, TextOut reply);

/// After how many half-seconds of silence in total a transaction with that command gives up.
int silence_budget(std::string_view command);
