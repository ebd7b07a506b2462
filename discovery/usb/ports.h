#pragma once

#include <cstdint>

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

/// Searches directory and below (1000 visits at most, counted by visits) for directories named name. out (50 bytes)
/// becomes the nearest directory above the match whose name looks like a USB bus or interface ("1-1.2:1.4").
/// @return matches; 0 or below when there is none
int find_usb_node(const char *directory, const char *name, TextOut out, int &visits);

/// The device on a bus, found by one walk of the tree. Its functions return what read_usb_ids, bus_list_ports and
/// at_port_path return, which walk the whole tree each, and their budgets count the same visits: an interface's folder
/// is in its device's folder, so only that one is searched again, on top of what was visited outside.
class UsbDevice {
  public:
    explicit UsbDevice(const char *bus, const char *root = platform_devices);

    int read_ids(uint32_t &vid, uint32_t &pid) const;
    int list_ports(json_object *array) const;
    int port_path(int ifnum, TextOut out) const;

  private:
    int find_folder(TextOut out) const;

    const char *bus_;
    const char *root_;
    Text<512> path_; ///< empty: not there, or the tree is an odd one and each function searches by itself
    int visits_ = 0; ///< outside of the device's folder
    bool is_there_ = false;
};
