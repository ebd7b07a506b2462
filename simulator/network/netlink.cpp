#include "simulator/network/netlink.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <system_error>

namespace simulator {

std::string netlink_attribute(uint16_t type, const std::string &data)
{
    rtattr attribute{};
    attribute.rta_len = static_cast<uint16_t>(RTA_LENGTH(data.size()));
    attribute.rta_type = type;
    std::string bytes = netlink_bytes(attribute) + data;
    bytes.resize(RTA_ALIGN(bytes.size()));
    return bytes;
}

void NetlinkRequest::start(uint16_t type, uint16_t flags, const std::string &header)
{
    nlmsghdr message{};
    message.nlmsg_type = type;
    message.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
    bytes_ = netlink_bytes(message) + header;
    bytes_.resize(NLMSG_ALIGN(bytes_.size()));
}

std::string NetlinkRequest::bytes() const
{
    std::string bytes = bytes_;
    const auto size = static_cast<uint32_t>(bytes.size());
    memcpy(bytes.data() + offsetof(nlmsghdr, nlmsg_len), &size, sizeof size);
    return bytes;
}

NetlinkSocket::NetlinkSocket() : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE))
{
    if (!socket_)
        throw std::system_error(errno, std::generic_category(), "rtnetlink");
}

bool NetlinkSocket::send(const NetlinkRequest &request)
{
    const std::string bytes = request.bytes();
    std::array<char, 8192> answer;
    if (::send(socket_.get(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        return false;
    const ssize_t count = recv(socket_.get(), answer.data(), answer.size(), 0);
    if (count < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr))))
        return false;
    nlmsghdr header;
    nlmsgerr error;
    memcpy(&header, answer.data(), sizeof header);
    memcpy(&error, answer.data() + NLMSG_HDRLEN, sizeof error);
    return header.nlmsg_type == NLMSG_ERROR && error.error == 0;
}

} // namespace simulator
