#pragma once

/// Generation of a mobile network. The numbers are those of the operations and of the web interface.
enum class Generation { unrated = 0, g2 = 2, g3 = 3, g4 = 4 };

/// "2G", "3G" or "4G", as every report prints it; empty for an unrated one.
constexpr const char *name_of(Generation generation)
{
    switch (generation) {
    case Generation::g2:
        return "2G";
    case Generation::g3:
        return "3G";
    case Generation::g4:
        return "4G";
    case Generation::unrated:
        break;
    }
    return "";
}
