#pragma once

#include <string_view>

#include "platform/text.h"

// Every line that this room hands to the shell. A value that could mean something to the shell, or does not fit whole,
// gives an empty command, which run_composed does not run.

using ShellCommand = Text<128>;

inline constexpr char read_wan_zone[] = "uci get firewall.@zone[1].network";
inline constexpr char reload_firewall[] = "/etc/init.d/firewall reload";
inline constexpr char refresh_zones[] = "zonewall";
inline constexpr char reload_led[] = "/etc/init.d/led reload 2>&1 >/dev/null";
inline constexpr char restart_multi_wan[] = "mwan3 restart";
inline constexpr char kill_qmi_clients[] = "killall uqmi 2>/dev/null";
inline constexpr char stop_shortcuts[] = "/etc/init.d/shortcut-fe stop";

/// Runs a command of those below in the shell, and nothing where it is empty.
void run_composed(const char *command);

/// Asks the network daemon to bring the interface up.
ShellCommand compose_interface_up(const char *iface);
/// Keeps the interface from coming up again by itself.
ShellCommand compose_disable_interface(const char *iface);
/// Sets the networks of the WAN firewall zone to zone and iface; an empty iface leaves zone alone.
ShellCommand compose_set_wan_zone(std::string_view zone, std::string_view iface);
/// Prints the WAN zone's networks without iface, also where it is part of a longer name.
ShellCommand compose_read_wan_zone_without(const char *iface);
/// Ends the connection that the modem on the QMI control device holds by itself; the handle is that of all connections.
ShellCommand compose_stop_autoconnect(const char *device);
/// Switches a control file to one level for a second and back: 1, 0 where high, else 0, 1.
Text<500> compose_power_pulse(const char *file, bool high);
/// Commits a package, and syncs after it on a board whose flash needs that.
ShellCommand compose_commit(const char *package, bool sync);
