#include <fstream>
#include <set>

#include <gtest/gtest.h>

#include "core/model/modem.h"
#include "core/table/models_file.h"
#include "core/table/modem_table.h"
#include "tests/paths.h"

namespace models_file_test {

std::string fault_of(std::string_view line)
{
    const char *fault = nullptr;
    const auto row = parse_model_row(line, fault);
    EXPECT_TRUE(!row || fault == nullptr) << line;
    return fault != nullptr ? fault : row ? "right" : "empty";
}

struct LineRow {
    const char *line;
    const char *fault;
};
const LineRow line_rows[] = {
    {"RM520N-GL 2c7c:0801 105 2 3 4 qmi quectel", "right"},
    {"  A\t1234:abcd   100  0 - -  mbim\t3gpp # with tabs\r", "right"},
    {"", "empty"},
    {" \t\r", "empty"},
    {"# RM520N-GL 2c7c:0801", "empty"},
    {"RM520N-GL", "the USB ids are not like 2c7c:0125"},
    {"A 2c7c-0801 105 2 3 4 qmi quectel", "the USB ids are not like 2c7c:0125"},
    {"A 0000:0000 105 2 3 4 qmi quectel", "the USB ids are not like 2c7c:0125"},
    {"A 2c7c:08g1 105 2 3 4 qmi quectel", "the USB ids are not like 2c7c:0125"},
    {"A 2c7c:08011 105 2 3 4 qmi quectel", "the USB ids are not like 2c7c:0125"},
    {"A 2c7c:0801 99 2 3 4 qmi quectel", "the number is not 100 to 9999, or is 255"},
    {"A 2c7c:0801 255 2 3 4 qmi quectel", "the number is not 100 to 9999, or is 255"},
    {"A 2c7c:0801 -5 2 3 4 qmi quectel", "the number is not 100 to 9999, or is 255"},
    {"A 2c7c:0801 99999999999999999999 2 3 4 qmi quectel", "the number is not 100 to 9999, or is 255"},
    {"A 2c7c:0801 105 - 3 4 qmi quectel", "the AT interface is not 0 to 31"},
    {"A 2c7c:0801 105 32 3 4 qmi quectel", "the AT interface is not 0 to 31"},
    {"A 2c7c:0801 105 2 x 4 qmi quectel", "the dial interface is not 0 to 31 or -"},
    {"A 2c7c:0801 105 2 3 -1 qmi quectel", "the control interface is not 0 to 31 or -"},
    {"A 2c7c:0801 105 2 3 4 QMI quectel", "the connection is not qmi, mbim, dhcp, ncm or ppp"},
    {"A 2c7c:0801 105 2 3 4 qmi", "the dialect is not known"},
    {"A 2c7c:0801 105 2 3 4 qmi quectel 5", "there are more than eight fields"},
    {"A;reboot 2c7c:0801 105 2 3 4 qmi quectel",
     "the name is too long, or has other characters than letters, digits and -_.+"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZ 2c7c:0801 105 2 3 4 qmi quectel",
     "the name is too long, or has other characters than letters, digits and -_.+"},
};

TEST(ModelRow, SaysWhatIsWrongWithALine)
{
    for (const auto &row : line_rows)
        EXPECT_EQ(fault_of(row.line), row.fault) << row.line;
}

TEST(ModelRow, HoldsWhatTheLineSays)
{
    const char *fault = nullptr;
    const auto row = parse_model_row("RM520N-GL 2c7c:0801 105 2 3 4 qmi quectel", fault);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, "RM520N-GL");
    EXPECT_EQ(row->vid, 0x2c7cU);
    EXPECT_EQ(row->pid, 0x0801U);
    EXPECT_EQ(row->modem_id, 105);
    EXPECT_EQ(row->control_port, 2);
    EXPECT_EQ(row->data_port, 3);
    EXPECT_EQ(row->qmi_port, 4);
    EXPECT_EQ(row->proto_flags, static_cast<uint32_t>(proto_serial | proto_qmi));
    EXPECT_STREQ(row->dialect, "quectel");
}

TEST(ModelRow, TakesAnyBytesWithoutHarm)
{
    const std::string right = "RM520N-GL 2c7c:0801 105 2 3 4 qmi quectel";
    for (size_t end = 0; end < right.size(); end++)
        EXPECT_NE(fault_of(std::string_view{right}.substr(0, end)), "right") << end;
    std::string bytes;
    for (int i = 0; i < 4096; i++)
        bytes += static_cast<char>(i * 37);
    EXPECT_NE(fault_of(bytes), "right");
}

// What the package installs: every row is right, is no built-in model's, and has a number of its own.
TEST(ShippedModels, AreAllRight)
{
    std::ifstream file{SOURCE_ROOT "/packaging/data/models"};
    std::set<int32_t> numbers;
    std::set<std::pair<uint32_t, uint32_t>> ids;
    for (std::string line; std::getline(file, line);) {
        const char *fault = nullptr;
        const auto row = parse_model_row(line, fault);
        EXPECT_STREQ(fault, nullptr) << line;
        if (!row)
            continue;
        EXPECT_EQ(find_driver_by_usb(modem_drivers(), row->vid, row->pid), nullptr)
            << "a built-in model has these USB ids: " << line;
        EXPECT_TRUE(numbers.insert(row->modem_id).second) << "another row has this number: " << line;
        EXPECT_TRUE(ids.insert({row->vid, row->pid}).second) << "another row has these USB ids: " << line;
        EXPECT_NE(line.find('#'), std::string::npos) << "a row names its source: " << line;
    }
    EXPECT_GE(numbers.size(), 40U);
}

} // namespace models_file_test
