#pragma once

// Every line that this room gives to the shell. The files are the SIM watcher's: "ready" or what is wrong, and the
// card's operator where modems need to know it ("verizon").

inline constexpr char sim_status_file[] = "/tmp/sim_status";
inline constexpr char print_sim_status[] = "cat /tmp/sim_status";
inline constexpr char sim_type_file[] = "/tmp/sim_type";
inline constexpr char print_sim_type[] = "cat /tmp/sim_type";
