#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include <json-c/json.h>

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace {

// A received message may nest attributes of 8 bytes for a megabyte: deeper than this is written as null, so that the
// stack holds. json-c reads 32 levels.
constexpr int max_depth = 128;

constexpr int max_tabs = 16;

/// A text that grows. After the first failed allocation it takes nothing and gives null.
class Writer {
  public:
    Writer(blobmsg_json_format_t callback, void *priv, int indent)
        : callback_(callback), priv_(priv), indented_(indent >= 0), level_(indent >= 0 ? indent : 0)
    {
    }

    void put_list(const blob_attr *list, bool array, int depth);
    void put_element(blob_attr *attr, bool with_name, int depth);
    /// The text with its zero byte, the caller's to free.
    char *take();

  private:
    void put(const char *text, size_t length);
    void put(const char *text) { put(text, strlen(text)); }
    void put_string(const char *text);
    void put_value(const blob_attr *attr, int depth);
    void put_line_break();

    blobmsg_json_format_t callback_;
    void *priv_;
    bool indented_;
    int level_;
    char *text_ = nullptr;
    size_t length_ = 0;
    size_t capacity_ = 0;
    bool failed_ = false;
};

void Writer::put(const char *text, size_t length)
{
    if (failed_)
        return;
    if (length > capacity_ - length_) {
        const size_t capacity = 2 * capacity_ + length + 64;
        char *larger = static_cast<char *>(realloc(text_, capacity));
        if (!larger) {
            failed_ = true;
            return;
        }
        text_ = larger;
        capacity_ = capacity;
    }
    memcpy(text_ + length_, text, length);
    length_ += length;
}

char *Writer::take()
{
    put("", 1);
    if (failed_) {
        free(text_);
        return nullptr;
    }
    return text_;
}

void Writer::put_line_break()
{
    if (!indented_)
        return;
    put("\n");
    for (int i = 0; i < level_ && i < max_tabs; i++)
        put("\t");
}

void Writer::put_string(const char *text)
{
    put("\"");
    for (; *text != '\0'; text++) {
        const unsigned char character = static_cast<unsigned char>(*text);
        char escape[8] = {'\\', *text, '\0'};
        switch (character) {
        case '\b':
            escape[1] = 'b';
            break;
        case '\n':
            escape[1] = 'n';
            break;
        case '\t':
            escape[1] = 't';
            break;
        case '\r':
            escape[1] = 'r';
            break;
        case '"':
        case '\\':
            break;
        default:
            if (character < ' ')
                snprintf(escape, sizeof(escape), "\\u%04x", character);
            else
                memcpy(escape, text, 1), escape[1] = '\0';
        }
        put(escape);
    }
    put("\"");
}

void Writer::put_list(const blob_attr *list, bool array, int depth)
{
    put(array ? "[" : "{");
    level_++;
    put_line_break();
    bool first = true;
    blob_attr *child;
    size_t rest = blobmsg_data_len(list);
    __blob_for_each_attr(child, blobmsg_data(list), rest)
    {
        if (!first) {
            put(",");
            put_line_break();
        }
        put_element(child, !array, depth + 1);
        first = false;
    }
    level_--;
    put_line_break();
    put(array ? "]" : "}");
}

void Writer::put_element(blob_attr *attr, bool with_name, int depth)
{
    if (!blobmsg_check_attr(attr, false))
        return;
    const char *name = blobmsg_name(attr);
    if (with_name && name[0] != '\0') {
        put_string(name);
        put(indented_ ? ": " : ":");
    }
    const char *text = callback_ ? callback_(priv_, attr) : nullptr;
    if (text)
        put(text);
    else
        put_value(attr, depth);
}

void Writer::put_value(const blob_attr *attr, int depth)
{
    char number[317] = "null"; // the real library cuts the longest negative number here too
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_INT8:
        snprintf(number, sizeof(number), "%s", blobmsg_get_bool(attr) ? "true" : "false");
        break;
    case BLOBMSG_TYPE_INT16:
        snprintf(number, sizeof(number), "%" PRId16, static_cast<int16_t>(blobmsg_get_u16(attr)));
        break;
    case BLOBMSG_TYPE_INT32:
        snprintf(number, sizeof(number), "%" PRId32, static_cast<int32_t>(blobmsg_get_u32(attr)));
        break;
    case BLOBMSG_TYPE_INT64:
        snprintf(number, sizeof(number), "%" PRId64, static_cast<int64_t>(blobmsg_get_u64(attr)));
        break;
    case BLOBMSG_TYPE_DOUBLE:
        snprintf(number, sizeof(number), "%f", blobmsg_get_double(attr));
        break;
    case BLOBMSG_TYPE_STRING:
        put_string(blobmsg_get_string(attr));
        return;
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE:
        if (depth >= max_depth)
            break;
        put_list(attr, blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY, depth);
        return;
    default:
        break;
    }
    put(number);
}

bool add_nested(blob_buf *buf, const char *name, json_object *value)
{
    const bool array = json_object_is_type(value, json_type_array);
    void *cookie = blobmsg_open_nested(buf, name, array);
    bool added = cookie != nullptr;
    if (!array)
        added = added && blobmsg_add_object(buf, value);
    for (size_t i = 0; array && added && i < json_object_array_length(value); i++)
        added = blobmsg_add_json_element(buf, nullptr, json_object_array_get_idx(value, i));
    blob_nest_end(buf, cookie);
    return added;
}

int add_integer(blob_buf *buf, const char *name, int64_t number)
{
    if (number >= INT32_MIN && number <= INT32_MAX)
        return blobmsg_add_u32(buf, name, static_cast<uint32_t>(number));
    return blobmsg_add_u64(buf, name, static_cast<uint64_t>(number));
}

} // namespace

char *blobmsg_format_json_with_cb(blob_attr *attr, bool list, blobmsg_json_format_t callback, void *priv, int indent)
{
    if (!attr)
        return nullptr;
    Writer writer(callback, priv, indent);
    if (list)
        writer.put_list(attr, blob_is_extended(attr) && blobmsg_type(attr) == BLOBMSG_TYPE_ARRAY, 0);
    else
        writer.put_element(attr, true, 0);
    return writer.take();
}

bool blobmsg_add_object(blob_buf *buf, json_object *object)
{
    json_object_object_foreach(object, key, value)
    {
        if (!blobmsg_add_json_element(buf, key, value))
            return false;
    }
    return true;
}

bool blobmsg_add_json_element(blob_buf *buf, const char *name, json_object *value)
{
    switch (json_object_get_type(value)) {
    case json_type_object:
    case json_type_array:
        return add_nested(buf, name, value);
    case json_type_string:
        return blobmsg_add_string(buf, name, json_object_get_string(value)) == 0;
    case json_type_boolean:
        return blobmsg_add_u8(buf, name, json_object_get_boolean(value) ? 1 : 0) == 0;
    case json_type_int:
        return add_integer(buf, name, json_object_get_int64(value)) == 0;
    case json_type_double:
        return blobmsg_add_double(buf, name, json_object_get_double(value)) == 0;
    default:
        return blobmsg_add_field(buf, BLOBMSG_TYPE_UNSPEC, name, nullptr, 0) == 0;
    }
}

bool blobmsg_add_json_from_string(blob_buf *buf, const char *text)
{
    json_object *object = json_tokener_parse(text);
    const bool added = json_object_is_type(object, json_type_object) && blobmsg_add_object(buf, object);
    json_object_put(object);
    return added;
}
