#include "platform/boxwifi.h"

#include <gtest/gtest.h>

#include "tests/unit/command_path.h"

namespace boxwifi_test {

TEST(WifiRestart, RunsTheRoutersCommandAndPrintsNothing)
{
    const TemporaryDirectory directory;
    directory.script("wifi", "echo $# >\"${0%/*}/called\"; echo noise");
    const CommandPath path{directory};
    testing::internal::CaptureStdout();
    wifi_restart();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(content_of(directory.entry("called")), "0\n");
}

} // namespace boxwifi_test
