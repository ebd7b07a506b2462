#pragma once

/// Brings the interface up through the network daemon and enters it into the WAN firewall zone, then asks once a
/// second, up to budget_s times and once more, whether it is up. A zone list that does not fit its command stays as it
/// is. So does one whose package cannot be written for lack of room.
/// @return 0 up, 1 pending, 2 down or unknown
int iface_up(int budget_s, const char *iface);

/// Disables the interface, asks up to polls times, a tenth of a second apart, whether it is down, and takes it out of
/// the WAN firewall zone when it is. An interface whose state is not known counts as down.
/// @return 2 down; else its state after the last poll: 0 up, 1 pending
int iface_down(int polls, const char *iface);
