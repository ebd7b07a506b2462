#pragma once

#include <cstring>
#include <endian.h>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <vector>

#include "simulator/network/ubus_server.h"
#include "tests/unit/temporary_directory.h"

/// A ubus server that answers in its own thread.
class ServedUbus {
  public:
    ServedUbus() : thread_([this] { serve(); }) {}
    ~ServedUbus()
    {
        (void)!eventfd_write(stop_.get(), 1);
        thread_.join();
    }

    const std::string &path() const { return path_; }

    /// Changes the server while it answers no call.
    template <typename Action> auto with(Action action)
    {
        const std::lock_guard lock(mutex_);
        return action(server_);
    }

  private:
    void serve()
    {
        pollfd entries[2] = {{server_.descriptor(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
        while (poll(entries, 2, -1) < 0 || entries[1].revents == 0) {
            const std::lock_guard lock(mutex_);
            server_.on_ready();
        }
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.entry("ubus.sock");
    simulator::UbusServer server_{path_};
    Fd stop_{eventfd(0, EFD_CLOEXEC)};
    std::mutex mutex_;
    std::thread thread_;
};

/// A recorded conversation with the real ubusd: lines "client <hex>", "server <hex>" and "output <hex>", the last one
/// being what the real ubus command printed.
struct RecordedLine {
    std::string who;
    std::string bytes;
};

inline std::string bytes_of_hex(const std::string &hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

inline std::vector<RecordedLine> read_recording(const std::string &path)
{
    std::vector<RecordedLine> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (const size_t blank = line.find(' '); !line.empty() && line[0] != '#' && blank != std::string::npos)
            lines.push_back({line.substr(0, blank), bytes_of_hex(line.substr(blank + 1))});
    return lines;
}

/// A stream socket bound to path that listens.
inline Fd listen_on(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    Fd listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (bind(listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener.get(), 1) != 0)
        throw std::runtime_error("cannot listen on " + path);
    return listener;
}

/// A ubusd that sends given texts to one client, whatever it asks, and records what it receives. Each text goes out
/// after one message of the client's, the first one at once. Then it keeps the connection, or closes it.
class ScriptedUbusd {
  public:
    explicit ScriptedUbusd(std::vector<std::string> says, bool keeps_connection = true)
        : thread_([this, says = std::move(says), keeps_connection] { talk(says, keeps_connection); })
    {
    }
    ~ScriptedUbusd() { finish(); }

    const std::string &path() const { return path_; }
    /// What the client sent, message by message. Waits for the client to close.
    const std::vector<std::string> &finish()
    {
        if (thread_.joinable())
            thread_.join();
        return heard_;
    }

  private:
    void talk(const std::vector<std::string> &says, bool keeps_connection)
    {
        Fd client{accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
        bool first = true;
        for (const std::string &text : says) {
            if (!first && !hear(client))
                return;
            first = false;
            (void)!send(client.get(), text.data(), text.size(), MSG_NOSIGNAL);
        }
        while (keeps_connection && hear(client))
            continue;
    }

    bool hear(const Fd &client)
    {
        std::string message = receive(client, 12);
        if (message.size() < 12)
            return false;
        uint32_t word;
        memcpy(&word, message.data() + 8, sizeof(word));
        heard_.push_back(message + receive(client, (be32toh(word) & 0xffffff) - 4));
        return true;
    }

    static std::string receive(const Fd &client, size_t size)
    {
        std::string bytes(size, '\0');
        const ssize_t length = size == 0 ? 0 : recv(client.get(), bytes.data(), size, MSG_WAITALL);
        bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
        return bytes;
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.entry("ubus.sock");
    Fd listener_ = listen_on(path_);
    std::vector<std::string> heard_;
    std::thread thread_;
};

/// The first message of every ubusd.
inline const std::string hello_message("\0\0\0\0\x12\x34\x56\x78\0\0\0\4", 12);

/// An object that knows the awkward methods: "status" answers with a table, "quiet" with no data, "empty" with an empty
/// table, "refuse" with status 6, "echo" with its arguments.
inline void add_test_object(simulator::UbusServer &server, const std::string &name)
{
    server.add_object(name, {{"status"}, {"quiet"}, {"empty"}, {"refuse"}, {"echo", {{"text", 3}, {"number", 5}}}},
                      [](const std::string &method, json_object *arguments) -> simulator::UbusReply {
                          if (method == "status")
                              return {0, Json{json_tokener_parse("{\"up\":true,\"mask\":24,\"list\":[1,\"two\"]}")}};
                          if (method == "empty")
                              return {0, Json{json_object_new_object()}};
                          if (method == "echo")
                              return {0, Json{json_object_get(arguments)}};
                          return {method == "refuse" ? 6 : 0};
                      });
}
