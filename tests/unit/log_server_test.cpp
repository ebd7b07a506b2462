#include "simulator/router/log_server.h"

#include <gtest/gtest.h>

namespace log_server_test {

using simulator::LogLine;

TEST(LogLine, HasItsProgramPriorityAndText)
{
    const struct {
        const char *what;
        std::string_view datagram;
        LogLine expected;
    } rows[] = {
        {"debug", "<15>Nov 21 01:10:51 modemctl: MCU SIM ERROR\n", {"modemctl", "debug MCU SIM ERROR"}},
        {"process id", "<11>Nov  1 01:10:51 modemctl[77]: no", {"modemctl", "err no"}},
        {"colons", "<11>Nov  1 01:10:51 a: Function:f Line:1 x: y", {"a", "err Function:f Line:1 x: y"}},
        {"no priority", "Nov 21 01:10:51 modemctl: text", {}},
        {"no text", "<15>Nov 21 01:10:51 modemctl", {}},
        {"short", "<15>", {}},
        {"no number", "<>Nov 21 01:10:51 modemctl: text", {}},
        {"empty", "", {}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(simulator::parse_log_line(row.datagram), row.expected) << row.what;
}

} // namespace log_server_test
