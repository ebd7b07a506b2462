#pragma once

#include "platform/shell_line.h"

// Every line that this room gives to the shell.

inline constexpr char read_wan_zone[] = "uci get firewall.@zone[1].network";
inline constexpr char reload_firewall[] = "/etc/init.d/firewall reload";
inline constexpr char refresh_zones[] = "zonewall";
inline constexpr char reload_led[] = "/etc/init.d/led reload 2>&1 >/dev/null";
inline constexpr char restart_multi_wan[] = "mwan3 restart";
inline constexpr char kill_qmi_clients[] = "killall uqmi 2>/dev/null";
inline constexpr char stop_shortcuts[] = "/etc/init.d/shortcut-fe stop";

/// Programs of the OpenWrt package. Elsewhere they are missing, and not run.
inline constexpr char complete_section_program[] = "/usr/libexec/modemctl/section";
inline constexpr char power_program[] = "/usr/libexec/modemctl/power";
inline constexpr char found_power_switch[] = "/var/run/modemctl-power"; ///< is there if that program has a switch

/// Adds to the interface's section what OpenWrt's handlers read and the program does not write.
ShellLine<100> compose_complete_section(const char *iface);
/// Switches the power of the modem on bus off and on again, where the board has a switch of a known name.
ShellLine<64> compose_power_program(const char *bus);
/// Asks the network daemon to bring the interface up.
ShellLine<100> compose_interface_up(const char *iface);
/// Keeps the interface from coming up again by itself.
ShellLine<100> compose_disable_interface(const char *iface);
/// Sets the networks of the WAN firewall zone to zone and iface; an empty iface leaves zone alone.
ShellLine<128> compose_set_wan_zone(std::string_view zone, std::string_view iface);
/// Prints the WAN zone's networks without iface, which is also cut out of longer names.
ShellLine<100> compose_read_wan_zone_without(const char *iface);
/// Ends the connection that the modem on the QMI control device has made by itself. The handle means all connections.
ShellLine<100> compose_stop_autoconnect(const char *device);
/// Switches a control file to one level for a second and back: 1, 0 if high, else 0, 1.
ShellLine<500> compose_power_pulse(const char *file, bool high);
/// The same for a power line in /sys/class/gpio.
ShellLine<128> compose_power_line_pulse(const char *line, bool high);
/// Commits a package, and syncs after it on a board whose flash needs that.
ShellLine<100> compose_commit(const char *package, bool sync);
