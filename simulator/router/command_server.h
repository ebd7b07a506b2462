#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "simulator/router/event_loop.h"

namespace simulator {

/// What simcommand reports about the command that it was started as.
struct CommandReport {
    std::string caller;                 ///< name of the process that started it
    std::vector<std::string> arguments; ///< the command's own name first
};

/// The arguments with spaces between them; one that is empty or has other than plain characters is in single quotes.
std::string command_text(const std::vector<std::string> &arguments);

/// Splits "caller\0name\0argument\0..."; every part ends with a zero byte. No arguments if text has another form.
CommandReport parse_report(std::string_view text);

/// Receives every recorded command in the router, one after the other, and answers how it must end.
class CommandServer {
  public:
    /// @return status in the first byte, then what the command prints
    using Handler = std::function<std::string(const CommandReport &)>;

    /// Throws std::system_error.
    CommandServer(EventLoop &loop, Handler handler);
    CommandServer(const CommandServer &) = delete;
    CommandServer &operator=(const CommandServer &) = delete;
    ~CommandServer();

  private:
    struct Client {
        Fd socket;
        std::string input;
        std::string output;
    };
    void accept_clients();
    void on_client(int descriptor);
    void answer(Client &client);

    EventLoop &loop_;
    Handler handler_;
    Fd listener_;
    std::map<int, std::unique_ptr<Client>> clients_;
};

} // namespace simulator
