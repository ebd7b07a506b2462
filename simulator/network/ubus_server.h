#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/json.h"

namespace simulator {

struct UbusRequest;

/// A method as "ubus list -v" prints it: its arguments' names and types (blobmsg_type).
struct UbusMethod {
    std::string name;
    std::vector<std::pair<std::string, int>> arguments{};
};

struct UbusReply {
    int status = 0; ///< an ubus_msg_status
    Json data{};    ///< an object; null sends no data, as methods without an answer do
};

/// Called for the methods that the object has. arguments is an object, empty if the caller sent none.
using UbusHandler = std::function<UbusReply(const std::string &method, json_object *arguments)>;

/// ubusd and its daemons in one: serves a real ubus socket and answers for the given objects. It has no thread and
/// never waits: the owner polls descriptor() and calls on_ready().
///
///     UbusServer server("/var/run/ubus/ubus.sock");
///     server.add_object("mqtt", {{"notify", {{"text", BLOBMSG_TYPE_STRING}}}}, handler);
///     while (poll(server.descriptor()) ...) server.on_ready();
///
/// Clients can add objects of their own, which are gone when they disconnect. They cannot subscribe or listen: that is
/// answered "invalid command".
class UbusServer {
  public:
    /// Makes the socket's folder and takes the place of a dead socket. Throws std::system_error.
    explicit UbusServer(const std::string &path);
    UbusServer(const UbusServer &) = delete;
    UbusServer &operator=(const UbusServer &) = delete;
    /// Removes the socket.
    ~UbusServer();

    /// Readable whenever on_ready has something to do.
    int descriptor() const { return events_.get(); }
    void on_ready();

    /// An object of the same name is replaced and gets a new id. Both may be called from a handler.
    void add_object(const std::string &name, std::vector<UbusMethod> methods, UbusHandler handler);
    void remove_object(const std::string &name);
    bool has_object(const std::string &name) const { return objects_.count(name) != 0; }

    // Faults, all off at the start.

    /// As a stopped ubusd: clients can connect, and are heard and answered only when it is switched off again.
    void set_deaf(bool deaf);
    /// As a stopped daemon: calls of the object's methods are never answered, lookups are.
    void set_silent(const std::string &object, bool silent);
    /// Answers to calls go out this much later.
    void set_reply_delay(int64_t delay_ms) { reply_delay_ms_ = delay_ms; }
    /// As a dying ubusd: a client that calls a method loses its connection.
    void set_dying(bool dying) { dying_ = dying; }

  private:
    struct Object {
        uint32_t id;
        std::vector<UbusMethod> methods;
        UbusHandler handler;
        uint32_t owner = 0; ///< the client whose object it is; 0: the server's own
        uint32_t type = 0;  ///< of the owner's signature
        std::string path{}; ///< of a client's object; empty: only the id finds it
    };
    struct Client {
        Fd socket;
        uint32_t id;
        std::string input;
        std::string output;
        bool lost = false;
    };
    struct LateReply {
        uint32_t client;
        std::string message;
    };

    void watch(int descriptor, uint32_t events);
    void accept_clients();
    void read_from(Client &client);
    void take_messages(Client &client);
    void answer(Client &client, const UbusRequest &request, const std::string &bytes);
    void look_up(Client &client, const UbusRequest &request);
    void describe(Client &client, const UbusRequest &request, const std::string &name, const Object &object);
    void invoke(Client &client, const UbusRequest &request);
    void add_client_object(Client &client, const UbusRequest &request);
    void remove_client_object(Client &client, const UbusRequest &request);
    void pass_on(const Object &object, const Client &client, const UbusRequest &request);
    void pass_back(const Client &owner, const UbusRequest &request, std::string bytes);
    Client *find_client(uint32_t id);
    Object *find_object(const UbusRequest &request);
    void send(Client &client, const std::string &message);
    void send_later(const Client &client, std::string message);
    void send_late_replies();
    void flush(Client &client);
    void drop_lost_clients();

    std::string path_;
    Fd events_;
    Fd listener_;
    Fd timer_;
    std::map<int, Client> clients_;                  ///< by descriptor
    std::map<std::string, Object> objects_;          ///< by path; a client's without one by its id, after a zero byte
    std::map<uint32_t, std::string> signatures_;     ///< of the clients' objects, by type
    std::multimap<int64_t, LateReply> late_replies_; ///< by the time they go out
    uint32_t next_id_;
    bool deaf_ = false;
    bool dying_ = false;
    int64_t reply_delay_ms_ = 0;
    std::set<std::string> silent_;
};

} // namespace simulator
