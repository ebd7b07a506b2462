#pragma once

#include "platform/text.h"

// The configuration of the mail client (ssmtp) that forwards messages.

/// What a user tells of the account that sends.
struct MailAccount {
    const char *account;
    const char *password;
    const char *smtp; ///< host, or host:port
};

/// What stands behind the first '@' of a mail address, up to a blank; empty without one, or with nothing before it.
Text<64> mail_domain(const char *address);

/// Content of ssmtp.conf: TLS from the start, or by STARTTLS where smtp holds "587". Cut at 2047 bytes.
Text<2048> compose_mail_settings(const MailAccount &account);

/// Content of revaliases, which has no line end. Cut at 255 bytes.
Text<256> compose_mail_aliases(const MailAccount &account);

/// What ssmtp.conf tells.
struct MailSettings {
    Text<128> account;
    Text<128> password;
    Text<128> smtp;
};

/// Takes what one line of ssmtp.conf tells over into settings: the text behind its first '=', up to a blank, for each
/// of the three names that the line holds, wherever. A line without a text there changes nothing.
void parse_mail_settings_line(const char *line, MailSettings &settings);
