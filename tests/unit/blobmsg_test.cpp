#include <gtest/gtest.h>

#include <random>

extern "C" {
#include <libubox/blobmsg_json.h>
}

#include "platform/shell.h"
#include "tests/paths.h"
#include "tests/unit/ubus_fixture.h"

namespace blobmsg_test {

class Message {
  public:
    Message() { blob_buf_init(&buffer, 0); }
    ~Message() { blob_buf_free(&buffer); }
    std::string bytes() const { return {reinterpret_cast<char *>(buffer.head), blob_raw_len(buffer.head)}; }
    blob_buf buffer{};
};

/// The bytes of a message in memory of exactly their size, so that a sanitizer sees every step beyond them.
class Received {
  public:
    explicit Received(const std::string &bytes) : size_(bytes.size()), memory_(malloc(size_ > 0 ? size_ : 1))
    {
        memcpy(memory_.get(), bytes.data(), size_);
    }
    blob_attr *attr() const { return static_cast<blob_attr *>(memory_.get()); }
    size_t size() const { return size_; }

  private:
    size_t size_;
    std::unique_ptr<void, Free> memory_;
};

std::string json_of(blob_attr *attr, bool list = true, int indent = -1)
{
    const HeapText text{blobmsg_format_json_indent(attr, list, indent)};
    return text ? text.get() : "(null)";
}

std::string number_bytes(uint32_t word)
{
    word = htobe32(word);
    return {reinterpret_cast<char *>(&word), sizeof(word)};
}

struct RecordedMessage {
    std::string given;
    std::string message;
    std::string json;
    std::string indented;
};

std::vector<RecordedMessage> recorded_messages()
{
    std::vector<RecordedMessage> messages;
    std::ifstream file(TEST_DATA "/ubus/messages.txt");
    for (std::string line; std::getline(file, line);) {
        const std::string kind = line.substr(0, line.find(' '));
        const std::string rest = line.substr(line.find(' ') + 1);
        if (kind == "given")
            messages.push_back({rest, {}, {}, {}});
        else if (kind == "message")
            messages.back().message = bytes_of_hex(rest);
        else if (kind == "json")
            messages.back().json = rest;
        else if (kind == "indented")
            messages.back().indented = bytes_of_hex(rest);
    }
    return messages;
}

TEST(Blobmsg, MakesTheBytesThatTheRealLibraryMakes)
{
    const auto recorded = recorded_messages();
    ASSERT_GE(recorded.size(), 12U);
    for (const RecordedMessage &row : recorded) {
        Message message;
        EXPECT_TRUE(blobmsg_add_json_from_string(&message.buffer, row.given.c_str())) << row.given;
        EXPECT_EQ(message.bytes(), row.message) << row.given;
    }
}

TEST(Blobmsg, PrintsTheJsonThatTheRealLibraryPrints)
{
    for (const RecordedMessage &row : recorded_messages()) {
        const Received received(row.message);
        EXPECT_EQ(json_of(received.attr()), row.json);
        EXPECT_EQ(json_of(received.attr(), true, 0), row.indented);
    }
}

TEST(Blobmsg, PrintsIntegersSignedWhateverTheirSize)
{
    Message message;
    blobmsg_add_u16(&message.buffer, "a", 65535);
    blobmsg_add_u32(&message.buffer, "b", 4294967295U);
    blobmsg_add_u64(&message.buffer, "c", UINT64_MAX);
    blobmsg_add_u8(&message.buffer, "d", 2);
    EXPECT_EQ(json_of(message.buffer.head), R"({"a":-1,"b":-1,"c":-1,"d":true})");
}

TEST(Blobmsg, PrintsBrokenUtf8AsItIs)
{
    Message message;
    blobmsg_add_string(&message.buffer, "a", "\xff\xc3");
    EXPECT_EQ(json_of(message.buffer.head), "{\"a\":\"\xff\xc3\"}");
}

TEST(Blobmsg, PrintsAMessageThatIsNotNamedAsAListOnlyWhenAskedTo)
{
    Message message;
    blobmsg_add_u8(&message.buffer, "up", 1);
    EXPECT_EQ(json_of(message.buffer.head), R"({"up":true})");
    EXPECT_EQ(json_of(message.buffer.head, false), "null");
    EXPECT_EQ(json_of(nullptr), "(null)");
}

TEST(Blobmsg, TakesOnlyAnObjectFromAJsonText)
{
    for (const char *text : {"", "[1]", "1", "\"a\"", "null", "{\"a\":", "notjson"}) {
        Message message;
        EXPECT_FALSE(blobmsg_add_json_from_string(&message.buffer, text)) << text;
        EXPECT_EQ(blob_len(message.buffer.head), 0U) << text;
    }
}

TEST(Blobmsg, FindsMembersByNameAndType)
{
    Message message;
    blobmsg_add_json_from_string(&message.buffer, R"({"name":5,"interface":"lan","name":"x","name":"y"})");
    blobmsg_add_string(&message.buffer, "name", "x");
    const blobmsg_policy policy[] = {
        {"interface", BLOBMSG_TYPE_STRING}, {"name", BLOBMSG_TYPE_INT32}, {"missing", BLOBMSG_TYPE_UNSPEC}};
    blob_attr *found[3];
    ASSERT_EQ(blobmsg_parse(policy, 3, found, blob_data(message.buffer.head),
                            static_cast<unsigned>(blob_len(message.buffer.head))),
              0);
    EXPECT_STREQ(blobmsg_get_string(found[0]), "lan");
    EXPECT_EQ(found[1], nullptr); // json-c keeps the last of a doubled name, which is a text
    EXPECT_EQ(found[2], nullptr);
}

TEST(Blobmsg, RefusesToParseAnAttributeThatLies)
{
    const blobmsg_policy policy = {"up", BLOBMSG_TYPE_INT8};
    blob_attr *found = nullptr;
    struct Row {
        const char *what;
        std::string bytes;
    };
    const Row rows[] = {
        {"number of the wrong size", number_bytes(0x8700000e) + std::string("\0\2up\0\0\0\0\1\1\0\0", 12)},
        {"name longer than the attribute", number_bytes(0x8700000d) + std::string("\xff\xffup\0\0\0\0\1\0\0\0", 12)},
        {"name without an end", number_bytes(0x8700000d) + std::string("\0\2upxxxx\1\0\0\0", 12)},
        {"text without an end", number_bytes(0x8300000d) + std::string("\0\2up\0\0\0\0x\0\0\0", 12)},
        {"unknown type", number_bytes(0xff00000d) + std::string("\0\2up\0\0\0\0\1\0\0\0", 12)},
    };
    for (const Row &row : rows) {
        const Received received(row.bytes);
        EXPECT_EQ(blobmsg_parse(&policy, 1, &found, received.attr(), static_cast<unsigned>(received.size())), -1)
            << row.what;
        EXPECT_EQ(found, nullptr) << row.what;
    }
}

TEST(Blobmsg, StopsAtAnAttributeThatIsLongerThanWhatIsThere)
{
    const blobmsg_policy policy = {"up", BLOBMSG_TYPE_INT8};
    blob_attr *found = nullptr;
    for (const uint32_t word : {0x87ffffffU, 0x87000000U, 0x87000011U}) {
        const Received received(number_bytes(word) + std::string("\0\2up\0\0\0\0\1\0\0\0", 12));
        EXPECT_EQ(blobmsg_parse(&policy, 1, &found, received.attr(), static_cast<unsigned>(received.size())), 0);
        EXPECT_EQ(found, nullptr) << word;
    }
    EXPECT_LT(blobmsg_parse(&policy, 1, &found, nullptr, 0), 0);
}

TEST(Blobmsg, ReadsNothingBeyondAttributesOfRandomBytes)
{
    std::mt19937 random(1);
    for (int round = 0; round < 20000; round++) {
        std::string bytes(4 + random() % 60, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random() % 3 == 0 ? random() : random() % 8);
        // The outer length is what the receiver has checked.
        bytes.replace(0, 4, number_bytes((random() & 0xff000000U) | static_cast<uint32_t>(bytes.size())));
        const Received received(bytes);
        json_of(received.attr());
        json_of(received.attr(), false, 0);
        const blobmsg_policy policy[] = {{"", BLOBMSG_TYPE_UNSPEC}, {"\1", BLOBMSG_TYPE_STRING}};
        blob_attr *found[2];
        blobmsg_parse(policy, 2, found, blob_data(received.attr()), static_cast<unsigned>(blob_len(received.attr())));
        blob_attr *attributes[4];
        blob_parse_untrusted(received.attr(), received.size(), attributes, nullptr, 4);
    }
}

TEST(Blobmsg, ReadsNothingBeyondAMessageWithOneWrongByte)
{
    for (const RecordedMessage &row : recorded_messages())
        for (size_t place = 4; place < row.message.size(); place++)
            for (const char value : {'\0', '\1', '\x7f', '\x80', '\xff'}) {
                std::string bytes = row.message;
                bytes[place] = value;
                const Received received(bytes);
                json_of(received.attr());
            }
}

TEST(Blobmsg, WritesWhatIsNestedTooDeepAsNull)
{
    std::string bytes;
    for (int i = 0; i < 100000; i++)
        bytes += number_bytes(0x81000000U | static_cast<uint32_t>(8 * (100000 - i))) + std::string(4, '\0');
    const Received received(number_bytes(static_cast<uint32_t>(bytes.size() + 4)) + bytes);
    EXPECT_EQ(json_of(received.attr()), "{" + std::string(127, '[') + "null" + std::string(127, ']') + "}");
}

TEST(Blobmsg, RefusesWhatNoMessageHasRoomFor)
{
    Message message;
    const std::string long_name(70000, 'n');
    EXPECT_EQ(blobmsg_add_u8(&message.buffer, long_name.c_str(), 1), -1);
    const std::string long_text(0x1000000, 't');
    EXPECT_EQ(blobmsg_add_string(&message.buffer, "a", long_text.c_str()), -1);
    EXPECT_EQ(blobmsg_add_u8(&message.buffer, "b", 1), 0);
    EXPECT_EQ(json_of(message.buffer.head), R"({"b":true})");
}

TEST(Blobmsg, GivesZeroForANumberThatIsTooShort)
{
    const Received received(number_bytes(0x05000006) + "xx");
    EXPECT_EQ(blobmsg_get_u32(received.attr()), 0U);
    EXPECT_EQ(blobmsg_get_u64(received.attr()), 0U);
    EXPECT_EQ(blobmsg_get_u16(received.attr()), 0x7878);
    EXPECT_EQ(blob_get_u32(received.attr()), 0U);
}

TEST(Blob, TakesOnlyAttributesOfTheTypeAskedFor)
{
    Message message;
    blob_put_u32(&message.buffer, 1, 7);
    blob_put(&message.buffer, 2, "no end", 6);
    blob_put_string(&message.buffer, 3, "text");
    blob_put(&message.buffer, 90, nullptr, 0);
    const blob_attr_info info[5] = {{}, {BLOB_ATTR_INT32}, {BLOB_ATTR_STRING}, {BLOB_ATTR_INT32}, {BLOB_ATTR_INT8}};
    blob_attr *found[5];
    EXPECT_EQ(blob_parse_untrusted(message.buffer.head, blob_raw_len(message.buffer.head), found, info, 5), 1);
    EXPECT_EQ(blob_get_u32(found[1]), 7U);
    EXPECT_EQ(found[2], nullptr);
    EXPECT_EQ(found[3], nullptr);
}

TEST(Blob, FindsNothingInAMessageLongerThanItsBytes)
{
    Message message;
    blob_put_u32(&message.buffer, 1, 7);
    blob_attr *found[2];
    EXPECT_EQ(blob_parse_untrusted(message.buffer.head, blob_raw_len(message.buffer.head) - 1, found, nullptr, 2), 0);
    EXPECT_EQ(blob_parse_untrusted(message.buffer.head, 3, found, nullptr, 2), 0);
    EXPECT_EQ(blob_parse_untrusted(nullptr, 100, found, nullptr, 2), 0);
    EXPECT_EQ(found[1], nullptr);
}

} // namespace blobmsg_test
