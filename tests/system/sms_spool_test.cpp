#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Removing messages of the SMS spool.

namespace sms_spool_test {

using Lines = std::vector<std::string>;

const Lines spool{"--put-text", "/etc/spool/sms/incoming/GMS99.a=new", "--put-text",
                  "/etc/spool/sms/storage/GMS99.b=seen"};

RouterRun in_spool(const std::string &call)
{
    return run_shell(spool, built_word("call_operation") + " 3 1-1.2 " + call +
                                "; cd /etc/spool/sms; ls incoming storage | sort");
}

TEST(SmsRemove, TakesAMessageFromWhicheverFolderHasIt)
{
    EXPECT_EQ(in_spool("sms_remove GMS99.a").out, "0 \n\nGMS99.b\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove GMS99.b").out, "0 \n\nGMS99.a\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove GMS99.c").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
}

TEST(SmsRemove, StaysInItsFolders)
{
    EXPECT_EQ(in_spool("sms_remove ../storage/GMS99.b").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove ''").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
}

TEST(SmsRemoveAll, EmptiesBothFolders)
{
    const RouterRun run = in_spool("sms_remove_all");
    EXPECT_EQ(run.out, "0 \n\nincoming:\nstorage:\n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"rm /etc/spool/sms/incoming/*", "rm /etc/spool/sms/storage/*"}));
}

TEST(SmsRemoveAll, RemovesNothingWhereAFolderIsMissing)
{
    const RouterRun run = run_shell(spool, "rm -r /etc/spool/sms/storage; " + built_word("call_operation") +
                                               " 3 1-1.2 sms_remove_all; ls /etc/spool/sms/incoming");
    EXPECT_EQ(run.out, "-1 \nGMS99.a\n");
}

} // namespace sms_spool_test
