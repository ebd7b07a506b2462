#pragma once

// Every line that this room gives to the shell.

// The condor board's version is in its factory partition: at 0x9c, and for its variants at 0x9d.
inline constexpr char print_board_byte[] = "hexdump -v -n 1 -s $((0x9c)) -e '1/1 \"%x\"' /dev/mtd2";
inline constexpr char print_variant_byte[] = "hexdump -v -n 1 -s $((0x9d)) -e '1/1 \"%x\"' /dev/mtd2";
