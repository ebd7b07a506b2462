#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/paths.h"
#include "tests/unit/temporary_directory.h"

// The sources of the product, for tests that read them.

inline const std::filesystem::path source_root = SOURCE_ROOT;

// The files of the rooms of rooms.txt, by path from the root.
inline std::vector<std::string> product_files()
{
    std::vector<std::string> files;
    std::ifstream rooms{source_root / "rooms.txt"};
    for (std::string line; std::getline(rooms, line);) {
        if (line.starts_with('#') || line.find(' ') == std::string::npos)
            continue;
        for (const auto &entry : std::filesystem::directory_iterator{source_root / line.substr(0, line.find(' '))})
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
                files.push_back(entry.path().lexically_relative(source_root));
    }
    return files;
}
