#include "connection/setting_options.h"

Text<64> read_setting(const Uci &uci, const char *iface, const SettingOption &setting, size_t capacity)
{
    const bool is_path = strchr(setting.option, '.') != nullptr;
    const auto path = is_path ? Text<64>{setting.option} : Text<64>::format("network.%s.%s", iface, setting.option);
    Text<64> value;
    kuci2_get(uci, path.c_str(), TextOut{value.data(), capacity});
    return value;
}
