#pragma once

#include "platform/text.h"

// The configuration of the mail client (ssmtp) that forwards messages.

/// What a user says about the account that sends.
struct MailAccount {
    const char *account;
    const char *password;
    const char *smtp; ///< host, or host:port
};

/// The text after the first '@' of a mail address, up to a space; empty without an '@', or with nothing before it.
Text<64> mail_domain(const char *address);

/// Content of ssmtp.conf: TLS from the start, or by STARTTLS if smtp contains "587". Cut at 2047 bytes.
Text<2048> compose_mail_settings(const MailAccount &account);

/// Content of revaliases, which has no line end. Cut at 255 bytes.
Text<256> compose_mail_aliases(const MailAccount &account);

/// What ssmtp.conf says.
struct MailSettings {
    Text<128> account;
    Text<128> password;
    Text<128> smtp;
};

/// Copies what one line of ssmtp.conf says into settings: the text after its first '=', up to a space, for each of the
/// three names that the line contains anywhere. A line without such a text changes nothing.
void parse_mail_settings_line(const char *line, MailSettings &settings);
