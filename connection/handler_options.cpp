#include "connection/handler_options.h"

namespace {

// In the order of TextUse.
constexpr std::string_view refused_characters[] = {"", "\"", " *?[", " \"$&'();<>\\`|~"};

// The web interface offers it. A handler that splits it sees a method and two words that it passes over.
constexpr std::string_view both_methods = "PAP or CHAP";

bool is_harmless(std::string_view text, TextUse use)
{
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < ' ' || code == 0x7f ||
            refused_characters[static_cast<size_t>(use)].find(character) != std::string_view::npos)
            return false;
    }
    return true;
}

} // namespace

const SettingOption *find_refused_setting(const char *proto, const ConnectSettings &settings)
{
    const HandlerRow *handler = handlers.data();
    while (*handler->proto != '\0' && strcmp(handler->proto, proto) != 0)
        handler++;
    for (size_t i = 0; i < setting_options.size(); i++) {
        const auto member = setting_options[i].member;
        const char *text = settings.*member;
        if (text == nullptr || (member == &ConnectSettings::auth && text == both_methods))
            continue;
        if (!is_harmless(text, handler->uses[i]))
            return &setting_options[i];
    }
    return nullptr;
}
