#pragma once

#include <cctype>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "tests/paths.h"
#include "tests/system/harness.h"

/// What docs/faults.md says of each fault: the rows of the table under that heading. Two tables may name the same
/// fault.
inline std::map<std::string, std::string> documented_faults(std::string_view heading)
{
    std::map<std::string, std::string> outcomes;
    bool is_under_heading = false;
    for (const std::string &line : lines_of(read_text(SOURCE_ROOT "/docs/faults.md"))) {
        if (line.starts_with("## "))
            is_under_heading = line.starts_with(heading);
        const size_t border = line.find(" | ");
        if (is_under_heading && line.starts_with("| ") && line.ends_with(" |") && border != std::string::npos)
            outcomes[line.substr(2, border - 2)] = line.substr(border + 3, line.size() - border - 5);
    }
    outcomes.erase("fault"); // the table's head
    return outcomes;
}

/// A fault's words without what a test's name may not have.
inline std::string test_name_of(std::string_view fault)
{
    std::string name;
    for (const char character : fault)
        if (isalnum(static_cast<unsigned char>(character)) != 0)
            name += character;
    return name;
}

inline std::set<std::string> names_of(const std::map<std::string, std::string> &outcomes)
{
    std::set<std::string> names;
    for (const auto &[name, outcome] : outcomes)
        names.insert(name);
    return names;
}
