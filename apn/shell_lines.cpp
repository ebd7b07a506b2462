#include "apn/shell_lines.h"

namespace {

bool is_plain(std::string_view value)
{
    return !value.empty() && is_made_of(value, "");
}

} // namespace

Text<100> compose_keep_imsi(std::string_view imsi, const char *bus)
{
    if (!is_plain(imsi))
        return {};
    const int length = static_cast<int>(imsi.size());
    return Text<100>::format("echo \"%.*s\" >/tmp/modem.%s/cimi", length, imsi.data(), bus);
}

Text<100> compose_find_operator(std::string_view code)
{
    if (!is_plain(code))
        return {};
    const int length = static_cast<int>(code.size());
    return Text<100>::format("cat /usr/share/modem/operator.dat|grep %.*s|cut -d ',' -f 2", length, code.data());
}
