#include "simulator/modem/profiles_folder.h"

#include <filesystem>

namespace simulator {

std::string find_profiles(const std::string &wanted)
{
    if (!wanted.empty())
        return wanted;
    std::error_code unreadable;
    return std::filesystem::is_directory(SOURCE_PROFILES, unreadable) ? SOURCE_PROFILES : INSTALLED_PROFILES;
}

} // namespace simulator
