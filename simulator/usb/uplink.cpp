#include "simulator/usb/uplink.h"

#include <array>
#include <sys/epoll.h>
#include <unistd.h>

#include "simulator/usb/bytes.h"
#include "simulator/usb/operator_network.h"

namespace simulator {

namespace {

constexpr size_t most_packet = 2048; ///< the lines are made for 1500
constexpr int packets_at_once = 16;  ///< other modems want their turn

} // namespace

Session session_of(int number)
{
    const std::string subnet = "10.64." + std::to_string(number) + '.';
    const std::string subnet6 = "fd64:" + std::to_string(number) + "::";
    return {.address = subnet + '2',
            .gateway = subnet + '1',
            .name_servers = {OperatorNetwork::name_server, OperatorNetwork::second_name_server},
            .address6 = subnet6 + '2',
            .gateway6 = subnet6 + '1',
            .name_server6 = OperatorNetwork::name_server6};
}

bool lets_in(const LinkDemand &demand, const Credentials &credentials)
{
    const InterfaceSection section{.name = "modem",
                                   .options = {{"proto", {credentials.path == LinkDemand::Path::qmi ? "qmi" : "3g"}},
                                               {"apn", {credentials.apn}},
                                               {"username", {credentials.user}},
                                               {"password", {credentials.password}}}};
    return meets_demand(section, demand, [&](const std::string &name) {
        return name.starts_with("apn_") ? credentials.context_apn : std::string();
    });
}

bool is_from(const Session &session, std::string_view packet)
{
    if (packet.size() >= 20 && packet[0] >> 4 == 4)
        return packet.substr(12, 4) == address_bytes(session.address);
    return packet.size() >= 40 && packet[0] >> 4 == 6 && packet.substr(8, 16) == address_bytes(session.address6);
}

Uplink::Uplink(EventLoop &loop, Fd line, int number, LinkDemand demand)
    : loop_(loop), line_(std::move(line)), session_(session_of(number)), demand_(std::move(demand))
{
}

Uplink::~Uplink()
{
    close();
}

std::optional<Session> Uplink::open(const Credentials &credentials, Take take)
{
    if (!lets_in(demand_, credentials)) {
        close();
        return std::nullopt;
    }
    take_ = std::move(take);
    held_ = false;
    watch();
    return session_;
}

void Uplink::close()
{
    take_ = nullptr;
    watch();
}

void Uplink::hold(bool held)
{
    held_ = held;
    watch();
}

void Uplink::send(std::string_view packet)
{
    // What the network cannot take at once is lost, as on the air.
    if (is_open() && is_from(session_, packet) && write(line_.get(), packet.data(), packet.size()) < 0)
        return;
}

void Uplink::watch()
{
    const bool wanted = is_open() && !held_;
    if (wanted == watched_)
        return;
    watched_ = wanted;
    if (wanted)
        loop_.watch(line_.get(), EPOLLIN, [this](uint32_t) { on_ready(); });
    else
        loop_.unwatch(line_.get());
}

void Uplink::on_ready()
{
    std::array<char, most_packet> packet;
    for (int taken = 0; taken < packets_at_once && watched_; taken++) {
        const ssize_t count = read(line_.get(), packet.data(), packet.size());
        if (count <= 0)
            return;
        take_({packet.data(), static_cast<size_t>(count)});
    }
}

} // namespace simulator
