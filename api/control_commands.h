#pragma once

#include "platform/text.h"

// What the control handlers hand to the shell. A bus is checked where it is read from the request.

inline constexpr char stop_shortcuts[] = "/etc/init.d/shortcut-fe stop";
inline constexpr char reload_led_later[] = "sleep 10 ;/etc/init.d/led reload 2>&1 >/dev/null";
inline constexpr char kill_qmi_clients[] = "killall uqmi 2>/dev/null";
inline constexpr char kill_other_instances[] = "killall -9 modemctl 2>/dev/null";
inline constexpr char refresh_carrier_settings[] = "/usr/bin/mbn_refresh";
inline constexpr char check_carrier_later[] = "sleep 20 && /usr/bin/carrier_check &";
inline constexpr char start_sms_daemon_later[] = "sleep 3 && /etc/init.d/smstools3 start";
inline constexpr char export_sim_gpio[] = "echo 1 >/sys/class/gpio/export";
inline constexpr char direct_sim_gpio[] = "echo out >/sys/class/gpio/gpio1/direction";
// The modem of the dual-SIM holder sits on this bus, whichever bus was asked for.
inline constexpr char forget_signal[] = "rm -rf /tmp/modem.2-1.2/signal*";
inline constexpr char forget_imsi[] = "rm -rf /tmp/modem.2-1.2/cimi";

Text<100> compose_auto_connect(const char *bus);
/// Ends the multi-WAN tracker of an interface.
Text<100> compose_kill_tracker(const char *iface);
Text<100> compose_interface_down(const char *ident);
Text<100> compose_interface_start(const char *ident);
/// Drops everything that is kept about the modem on bus.
Text<100> compose_forget_modem(const char *bus);
Text<256> compose_set_sim_gpio(bool second, const char *file);
Text<100> compose_show_signal_later(const char *bus);
/// Prints the LAN bridge's line that holds the gateway. Empty, and not run, when gateway is no address.
Text<256> compose_find_gateway(const char *gateway);
