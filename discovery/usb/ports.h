#pragma once

#include "platform/json.h"
#include "platform/text.h"

// Where the kernel shows the modem's devices: searches of the sysfs tree, depth first, in directory order, over
// directories only (symbolic links are not followed). A search visits 1000 directories at most, counted by visits,
// which starts at 0. All give the number of matches; 0 without one; -1 for a null bus, a root that cannot be opened or
// a spent budget. Output is written by a match only; a caller takes 0 and below as not found.

/// Where every search for a bus starts.
inline constexpr char platform_devices[] = "/sys/devices/platform";

/// The directory whose name equals name, below root. Each level ends with its first match; a later match in a sibling
/// subtree replaces an earlier one. out (512 bytes) becomes its path.
int find_sysfs_dir(const char *root, const char *name, TextOut out, int &visits);

/// The first directory whose name contains "ttyUSB", "cdc-wdm" or "ttyACM", below directory. out becomes "/dev/<name>".
int find_tty_in(const char *directory, TextOut out, int &visits);

/// The first directory whose name contains kind, below directory. out becomes its bare name.
int find_netdev_in(const char *directory, const char *kind, TextOut out, int &visits);

/// Appends "/dev/<name>" of every port below directory to array, each port once.
int list_ports_in(const char *directory, json_object *array, int &visits);

/// The device of interface ifnum of the modem on bus ("/dev/ttyUSB2"); out has at least 30 bytes.
int at_port_path(const char *bus, int ifnum, TextOut out);

/// The device of a USB interface by its directory's name ("1-1.2:1.2").
int interface_port_path(const char *interface_name, TextOut out);

/// The first port device of the modem on bus.
int bus_first_port(const char *bus, TextOut out);

/// Every port device of the modem on bus.
int bus_list_ports(const char *bus, json_object *array);

/// The network device of the modem on bus whose name contains kind ("eth", "wwan").
int bus_netdev(const char *bus, const char *kind, TextOut out);

/// Every port device of the bus's own USB interfaces, in their order: a hub has none, whatever is plugged into it.
int bus_own_ports(const char *bus, json_object *array);

/// The first network device of the bus's own USB interfaces ("usb0"). @return whether there is one
bool bus_own_netdev(const char *bus, TextOut out);
