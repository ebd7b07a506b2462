#pragma once

/// True if something answers through the interface's own device: one of the network's name servers, or a public one,
/// answers an echo request. "Up" is no proof: many networks let a modem in with any APN, and carry nothing for it.
/// Waits for about 20 s at most.
bool carries_traffic(const char *iface);
