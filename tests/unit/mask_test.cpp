#include <gtest/gtest.h>

#include "readings/dialects.h"
#include "readings/mask.h"
#include "transcripts.h"

namespace mask_test {

std::string masked(std::string text, int64_t cell = 0, Mask::Addresses addresses = Mask::Addresses::masked)
{
    Mask mask;
    Report report;
    if (cell != 0)
        report.serving.tell(Quantity::cell_id, cell);
    mask.learn_cells(report);
    mask.apply(text, addresses);
    return text;
}

struct MaskRow {
    const char *what;
    const char *text;
    int64_t cell;
    const char *expected;
};
const MaskRow mask_rows[] = {
    {"IMEI", "\r\n861536030123456\r\n\r\nOK\r\n", 0, "\r\n861536000000019\r\n\r\nOK\r\n"},
    {"IMEI, tag", "+CGSN: \"490154203237518\"", 0, "+CGSN: \"490154000000010\""},
    {"IMEI, label", "IMEI: 490154203237518", 0, "IMEI: 490154000000010"},
    {"IMSI", "232031234567890", 0, "232031000000013"},
    {"ICCID of 19 digits", "+CCID: 8943010012345678901", 0, "+CCID: 8943010000000000019"},
    {"ICCID with filler", "+QCCID: 8943010012345678901F", 0, "+QCCID: 8943010000000000019F"},
    {"ICCID, lower-case", "^ICCID: 8943010012345678901f", 0, "^ICCID: 8943010000000000019f"},
    {"number with plus", "+CNUM: ,\"+436601234567\",145", 0, "+CNUM: ,\"+430000000017\",145"},
    {"number without", "+CNUM: \"A\",\"06601234567\",129", 0, "+CNUM: \"A\",\"06000000015\",129"},
    {"short number", "+CNUM: \"\",\"12345\",129", 0, "+CNUM: \"\",\"12013\",129"},
    {"number anywhere", "Service +436601234567 says", 0, "Service +430000000017 says"},
    {"twice the same", "490154203237518,490154203237518", 0, "490154000000010,490154000000010"},
    {"two numbers", "490154203237518,490154203237519", 0, "490154000000010,490154000000028"},
    {"operator's number", "+COPS: 0,2,\"23203\",7", 0, "+COPS: 0,2,\"23203\",7"},
    {"mask of bands", "+QCFG: \"band\",0x260,0x20000000000000000", 0, "+QCFG: \"band\",0x260,0x20000000000000000"},
    {"bands", "1:3:7:8:20:28:32:38:40:41", 0, "1:3:7:8:20:28:32:38:40:41"},
    {"IPv4", "+CGPADDR: 1,\"10.64.31.117\"", 0, "+CGPADDR: 1,\"10.10.10.101\""},
    {"no IPv4", "0.0.0.0", 0, "0.0.0.0"},
    {"IPv4 and its mask", "10.64.3.17.255.255.255.0", 0, "10.10.0.10.100.100.100.1"},
    {"IPv6", "\"2001:db8:1:2::17\"", 0, "\"2001:000:0:0::01\""},
    {"version, letters", "SWI9X30C_02.24.05.06", 0, "SWI9X30C_02.24.05.06"},
    {"version, long", "81600.0000.00.29.19.13", 0, "81600.0000.00.29.19.13"},
    {"cell, hexadecimal", "+CEREG: 2,1,\"2616\",\"1D6A90B\",7", 0x1d6a90b, "+CEREG: 2,1,\"2616\",\"1000001\",7"},
    {"cell, decimal", "LTE,Online,232-03,0x2616,30845195", 0x1d6a90b, "LTE,Online,232-03,0x2616,16777217"},
    {"cell, both forms", "Cell ID: 01a2d001 (27447297)", 27447297, "Cell ID: 01000001 (16777217)"},
    {"cell, with 0x", "0x01A2D001", 27447297, "0x01000001"},
    {"cell, 2G", "\"0587\",\"293A\"", 0x293a, "\"0587\",\"2711\""},
    {"cell, padded", "00A3,163", 0x1a3, "00A3,163"},
    {"cell, short", "01A3,419,0,1A3", 0x1a3, "0101,419,0,1A3"},
    {"NR cell", "\"00\",\"2F8A70001\"", 0x2f8a70001, "\"00\",\"2540BE401\""},
    {"nothing", "", 0, ""},
    {"bytes", "\xff\x01\x7f:::...+++,,,", 0, "\xff\x01\x7f:::...+++,,,"},
};

TEST(Mask, PutsOtherNumbersOfTheSameLengthInPlace)
{
    for (const auto &row : mask_rows)
        EXPECT_EQ(masked(row.text, row.cell), row.expected) << row.what;
}

TEST(Mask, LeavesTheVersionOfAFirmwareAsItIs)
{
    EXPECT_EQ(masked("Revision: 11.22.33.44", 0, Mask::Addresses::none), "Revision: 11.22.33.44");
}

TEST(Mask, KeepsWorkingWithMoreNumbersThanItHasPlacesFor)
{
    std::string text;
    for (int i = 0; i < 200; i++)
        text += "49015420323" + std::to_string(1000 + i) + "\n";
    const std::string result = masked(text);
    EXPECT_EQ(result.size(), text.size());
    for (size_t line = 0; line < text.size(); line += 16)
        EXPECT_NE(result.substr(line, 15), text.substr(line, 15));
}

// A reading of what a modem said, and of the same with other numbers, differ in these numbers alone.
TEST(Mask, ChangesNothingElseThatAReplyTells)
{
    size_t cells = 0;
    for (const TranscriptScene &scene : transcript_scenes())
        for (const TranscriptBlock &block : scene.blocks)
            for (const Dialect &dialect : dialects())
                for (const Question &question : dialect.questions) {
                    if (block.command != question.command)
                        continue;
                    Report report;
                    question.read(block.reply, report);
                    Mask mask;
                    mask.learn_cells(report);
                    std::string text = block.reply;
                    mask.apply(text, Mask::Addresses::masked);
                    Report again;
                    question.read(text, again);
                    for (int i = 1; i < static_cast<int>(Quantity::count); i++)
                        EXPECT_EQ(again.serving.get(static_cast<Quantity>(i)),
                                  report.serving.get(static_cast<Quantity>(i)))
                            << scene.name << text;
                    const auto id = report.serving.get(Quantity::cell_id);
                    EXPECT_EQ(again.serving.get(Quantity::cell_id).has_value(), id.has_value()) << scene.name << text;
                    if (id && *id >= 0x100) {
                        EXPECT_NE(again.serving.get(Quantity::cell_id), id) << scene.name << text;
                        cells++;
                    }
                    EXPECT_EQ(again.neighbours.size, report.neighbours.size) << scene.name;
                    EXPECT_EQ(again.carriers.size, report.carriers.size) << scene.name;
                }
    EXPECT_GT(cells, 30U);
}

} // namespace mask_test
