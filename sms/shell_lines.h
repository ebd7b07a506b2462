#pragma once

// Every line that this room hands to the shell.

inline constexpr char remove_incoming[] = "rm /etc/spool/sms/incoming/*";
inline constexpr char remove_stored[] = "rm /etc/spool/sms/storage/*";
