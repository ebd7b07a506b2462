#include "api/mail_client.h"

#include <cstdio>

Text<64> mail_domain(const char *address)
{
    Text<64> domain;
    sscanf(address, "%*[^@]@%63s", domain.data());
    return domain;
}

Text<2048> compose_mail_settings(const MailAccount &account)
{
    const auto domain = mail_domain(account.account);
    auto settings = Text<2048>::format("root=%s\nmailhub=%s\nrewriteDomain=%s\nhostname=%s\nAuthUser=%s\nAuthPass=%s\n",
                                       account.account, account.smtp, domain.c_str(), domain.c_str(), account.account,
                                       account.password);
    settings.append("AuthMethod=LOGIN\nUseTLS=YES\nFromLineOverride=Yes\n");
    settings.append(strstr(account.smtp, "587") != nullptr ? "UseSTARTTLS=Yes\n" : "#UseSTARTTLS=Yes\n");
    return settings;
}

Text<256> compose_mail_aliases(const MailAccount &account)
{
    return Text<256>::format("root:%s:%s", account.account, account.smtp);
}

void parse_mail_settings_line(const char *line, MailSettings &settings)
{
    Text<128> value;
    if (sscanf(line, "%*[^=]=%127s", value.data()) != 1)
        return;
    if (strstr(line, "mailhub") != nullptr)
        settings.smtp = value;
    if (strstr(line, "AuthPass") != nullptr)
        settings.password = value;
    if (strstr(line, "AuthUser") != nullptr)
        settings.account = value;
}
