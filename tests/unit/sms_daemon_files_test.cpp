#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sms/spool.h"
#include "tests/fuzz/corpus.h"
#include "tests/paths.h"
#include "tests/unit/temporary_directory.h"

namespace sms_daemon_files_test {

// The daemon's files, unpacked.
class Spool {
  public:
    Spool()
    {
        for (const CorpusInput &file : read_named_inputs(TEST_DATA "/sms/spool"))
            directory_.file(file.name.c_str(), file.bytes);
    }
    std::string folder() const { return directory_.path().string() + "/"; }

  private:
    TemporaryDirectory directory_;
};

// One line a message, by name: the folder's own order is the file system's.
std::vector<std::string> listed(const std::string &folder)
{
    const Json array{json_object_new_array()};
    EXPECT_TRUE(sms_list_folder(folder.c_str(), "unread", array.get()));
    std::vector<std::string> lines;
    for (size_t i = 0; i < json_object_array_length(array.get()); i++)
        lines.emplace_back(json_object_to_json_string_ext(json_object_array_get_idx(array.get(), i),
                                                          JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
    const auto name_of = [](const std::string &line) { return line.substr(line.rfind("\"name\":")); };
    std::ranges::sort(lines, {}, name_of);
    return lines;
}

// The daemon writes UCS-2 and ISO 8859-15; the list is in UTF-8.
TEST(SmsDaemonFiles, AreListedInFull)
{
    const std::vector<std::string> expected = {
        // an empty text
        R"({"from":"441632960008\n","type":"international","time":"26-01-31 12:34:56\n","body":"","status":"unread",)"
        R"("name":"GMS99.1W5tnO"})",
        // Chinese
        R"({"from":"441632960003\n","type":"international","time":"26-01-31 12:34:56\n","body":"你好，世界",)"
        R"("status":"unread","name":"GMS99.G5359L"})",
        // the first part of a message that never came whole
        R"({"from":"441632960012\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. )"
        R"(Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. Wir treff",)"
        R"("status":"unread","name":"GMS99.GMXdEF"})",
        // a status report
        R"({"from":"441632960009\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"SMS STATUS REPORT\nMessage_id: 42\nDischarge_timestamp: 26-01-31 12:35:57\n)"
        R"(Status: 0,Ok,short message received by the SME","status":"unread","name":"GMS99.Jb5ufw"})",
        // three parts in UCS-2
        R"({"from":"441632960006\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"Съешь ещё этих мягких французских булок 😀 да выпей чаю )"
        R"(Съешь ещё этих мягких французских булок 😀 да выпей чаю )"
        R"(Съешь ещё этих мягких французских булок 😀 да выпей чаю ","status":"unread","name":"GMS99.KVBxBk"})",
        // to be shown at once
        R"({"from":"441632960010\n","type":"international","time":"26-01-31 12:34:56\n","body":"Сразу",)"
        R"("status":"unread","name":"GMS99.OjWKmI"})",
        // a name for a sender
        R"({"from":"Test Bank\n","type":"unknown","time":"26-01-31 12:34:56\n","body":"Your code is 1234",)"
        R"("status":"unread","name":"GMS99.VAYYTb"})",
        // three parts in the GSM alphabet
        R"({"from":"441632960005\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. )"
        R"(Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. )"
        R"(Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. )"
        R"(Wir treffen uns um acht am Bahnhof. Wir treffen uns um acht am Bahnhof. )"
        R"(Wir treffen uns um acht am Bahnhof. )"
        "Bis dann, {Grüße} für 5 €: Bis dann, {Grüße} für 5 €: Bis dann, {Grüße} für 5 €: \","
        R"("status":"unread","name":"GMS99.ZpDdgj"})",
        // a name beyond ASCII, which the daemon leaves in the GSM alphabet
        R"({"from":"Caf\u0005 ^\n","type":"unknown","time":"26-01-31 12:34:56\n",)"
        "\"body\":\"Bis später\","
        R"("status":"unread","name":"GMS99.ezg555"})",
        // a short code
        R"({"from":"70007\n","type":"unknown","time":"26-01-31 12:34:56\n","body":"Short code","status":"unread",)"
        R"("name":"GMS99.fDjPKQ"})",
        // a national number
        R"({"from":"01632960007\n","type":"national","time":"26-01-31 12:34:56\n","body":"From nearby",)"
        R"("status":"unread","name":"GMS99.fdCdoZ"})",
        // the GSM alphabet with characters of its extension
        R"({"from":"441632960001\n","type":"international","time":"26-01-31 12:34:56\n",)"
        "\"body\":\"Hello [5 €] ~ at 8?\","
        R"("status":"unread","name":"GMS99.iFdLlU"})",
        // Cyrillic
        R"({"from":"441632960002\n","type":"international","time":"26-01-31 12:34:56\n","body":"Привет, как дела?",)"
        R"("status":"unread","name":"GMS99.l2L4Pw"})",
        // surrogate pairs
        R"({"from":"441632960004\n","type":"international","time":"26-01-31 12:34:56\n","body":"On my way 😀🚗",)"
        R"("status":"unread","name":"GMS99.o2zGtW"})",
        // to be shown at once
        R"({"from":"441632960009\n","type":"international","time":"26-01-31 12:34:56\n","body":"Look at once",)"
        R"("status":"unread","name":"GMS99.zurkX5"})",
    };
    EXPECT_EQ(listed(Spool{}.folder()), expected);
}

TEST(SmsDaemonFiles, AreCountedByModemWithoutTheDaemonsOwn)
{
    const Spool spool;
    EXPECT_EQ(sms_count_folder(spool.folder().c_str(), "1-1.2"), 15);
    EXPECT_EQ(sms_count_folder(spool.folder().c_str(), "1-1.3"), 1);
}

} // namespace sms_daemon_files_test
