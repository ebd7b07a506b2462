#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <span>
#include <string_view>

#include "platform/text.h"
#include "watch/decide.h"

// Whether the network answers: one question to a name server, or an echo, through the interface's own device. Any
// answer is life, a refusal too: it has come through the network.

/// What is sent to a server on port 53; an IPv4 or IPv6 address, since a name would need a name server.
enum class ProbeKind : uint8_t { dns, ping };

/// Waits 3 s for an answer. device (may be empty) is the only one that the packets use.
bool ask_server(ProbeKind kind, const char *device, const char *address);

/// Asks each address (empty: none) in turn, by the ways that probe names, until one answers.
/// @return that one; null if none answers
const char *probe_network(WatchProbe probe, const char *device, std::span<const char *const> addresses);

/// The router's own address for what it sends to the Internet by IPv4; INADDR_ANY without a route. Nothing is sent.
in_addr_t find_way_out();

/// The question for the address of a.root-servers.net, which every resolver has at hand: 36 bytes. @return its length
size_t compose_dns_question(uint16_t id, std::span<uint8_t, 40> out);
bool is_dns_answer(std::span<const uint8_t> packet, uint16_t id);

/// An ICMP echo request of 16 bytes; family is AF_INET or AF_INET6.
size_t compose_echo(int family, uint16_t id, std::span<uint8_t, 40> out);
/// packet is what a raw socket of the family receives, for IPv4 with its IP header.
bool is_echo_answer(int family, std::span<const uint8_t> packet, uint16_t id);
