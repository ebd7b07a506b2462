#pragma once

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/paths.h"

// The tables of docs/, found and read by their headings.

using Lines = std::vector<std::string>;
using Row = std::map<std::string, std::string>; // heading to cell

inline std::string trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

inline Lines cells_of(const std::string &line)
{
    Lines cells;
    std::istringstream in{line.substr(1)};
    for (std::string cell; std::getline(in, cell, '|');)
        cells.push_back(trimmed(cell));
    return cells;
}

// The rows of every table of the document that has a column of that heading. A cell that is empty in such a column
// has the one above it.
inline std::vector<Row> rows_under(const std::string &document, const std::string &heading)
{
    std::ifstream in{SOURCE_ROOT "/docs/" + document};
    EXPECT_TRUE(in) << document;
    std::vector<Row> rows;
    Lines headings;
    std::string above;
    for (std::string line; std::getline(in, line);) {
        if (!line.starts_with("|")) {
            headings.clear();
            continue;
        }
        if (line.starts_with("|---"))
            continue;
        const Lines cells = cells_of(line);
        if (headings.empty()) {
            headings = cells;
            continue;
        }
        Row row;
        for (size_t i = 0; i < headings.size() && i < cells.size(); i++)
            row[headings[i]] = cells[i];
        if (!row.contains(heading))
            continue;
        above = row[heading].empty() ? above : row[heading];
        row[heading] = above;
        rows.push_back(row);
    }
    return rows;
}

inline Lines found_in(const std::string &text, const char *expression)
{
    const std::regex pattern{expression};
    Lines found;
    for (std::sregex_iterator match{text.begin(), text.end(), pattern}, end; match != end; ++match)
        found.push_back((*match)[1]);
    return found;
}
