#pragma once

// Every line that this room gives to the shell.

inline constexpr char remove_incoming[] = "rm /etc/spool/sms/incoming/*";
inline constexpr char remove_stored[] = "rm /etc/spool/sms/storage/*";
