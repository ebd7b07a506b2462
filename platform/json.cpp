#include "platform/json.h"

#include <climits>

#include "platform/text.h"

namespace {

constexpr std::string_view replacement_character = "\xEF\xBF\xBD"; // U+FFFD

// json-c counts a text's bytes in an int, and a replaced byte grows to three.
constexpr size_t longest_text = INT_MAX / replacement_character.size();

// Length of the UTF-8 sequence (RFC 3629) at the start of text, 0 if it is not valid.
size_t utf8_sequence_length(std::string_view text)
{
    const auto byte = [text](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return text.empty() ? 0 : 1;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    for (size_t i = 1; i < length; i++)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    const unsigned second = byte(1);
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool surrogate = lead == 0xED && second >= 0xA0;
    const bool beyond_unicode = lead == 0xF4 && second >= 0x90;
    return overlong || surrogate || beyond_unicode ? 0 : length;
}

// Writes text with its bad bytes replaced to out, which has room for it. @return bytes written
size_t replace_bad_bytes(std::string_view text, char *out)
{
    size_t written = 0;
    while (!text.empty()) {
        const size_t length = utf8_sequence_length(text);
        const std::string_view good = length > 0 ? first_characters(text, length) : replacement_character;
        memcpy(out + written, good.data(), good.size());
        written += good.size();
        text.remove_prefix(length > 0 ? length : 1);
    }
    return written;
}

Json json_string(const char *bytes, size_t length)
{
    return Json{json_object_new_string_len(bytes, static_cast<int>(length))};
}

// Borrowed; null when absent or null.
json_object *member(json_object *object, const char *key)
{
    json_object *value = nullptr;
    json_object_object_get_ex(object, key, &value);
    return value;
}

} // namespace

bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const size_t length = utf8_sequence_length(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

Json json_share(json_object *object)
{
    return Json{json_object_get(object)};
}

Json json_text(std::string_view text)
{
    if (text.size() > longest_text)
        return nullptr;
    if (is_utf8(text))
        return json_string(text.empty() ? "" : text.data(), text.size());
    const std::unique_ptr<char, Free> clean{static_cast<char *>(malloc(text.size() * replacement_character.size()))};
    if (!clean)
        return nullptr;
    return json_string(clean.get(), replace_bad_bytes(text, clean.get()));
}

const char *json_pretty(json_object *object)
{
    const char *text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PRETTY);
    return text ? text : "";
}

int kjson_contain_key(json_object *object, const char *key)
{
    return json_object_object_get_ex(object, key, nullptr) ? 1 : 0;
}

const char *kjson_get_string(json_object *object, const char *key)
{
    json_object *value = member(object, key);
    if (json_object_is_type(value, json_type_array) || json_object_is_type(value, json_type_object))
        return nullptr;
    return json_object_get_string(value);
}

int32_t kjson_get_int(json_object *object, const char *key)
{
    return kjson_contain_key(object, key) ? json_object_get_int(member(object, key)) : -1;
}

bool kjson_get_boolean(json_object *object, const char *key)
{
    return json_object_get_boolean(member(object, key)) != 0;
}

json_object *kjson_get_object(json_object *object, const char *key)
{
    return member(object, key);
}

int kjson_add_string(json_object *object, const char *key, std::string_view text)
{
    return kjson_add_object(object, key, json_text(text));
}

int kjson_add_string(json_object *object, const char *key, const char *text)
{
    return kjson_add_string(object, key, std::string_view{text});
}

int kjson_add_int(json_object *object, const char *key, int32_t number)
{
    return kjson_add_object(object, key, Json{json_object_new_int(number)});
}

int kjson_add_int64(json_object *object, const char *key, int64_t number)
{
    return kjson_add_object(object, key, Json{json_object_new_int64(number)});
}

int kjson_add_double(json_object *object, const char *key, double number)
{
    return kjson_add_object(object, key, Json{json_object_new_double(number)});
}

int kjson_add_boolean(json_object *object, const char *key, bool truth)
{
    return kjson_add_object(object, key, Json{json_object_new_boolean(truth)});
}

int kjson_add_object(json_object *object, const char *key, Json child)
{
    // json-c aborts the process if the container is of another type.
    if (!child || !json_object_is_type(object, json_type_object))
        return -1;
    if (json_object_object_add(object, key, child.get()) != 0)
        return -1;
    static_cast<void>(child.release());
    return 0;
}

int kjson_array_add_string(json_object *array, std::string_view text)
{
    return kjson_array_add(array, json_text(text));
}

int kjson_array_add(json_object *array, Json child)
{
    if (!child || !json_object_is_type(array, json_type_array))
        return -1;
    if (json_object_array_add(array, child.get()) != 0)
        return -1;
    static_cast<void>(child.release());
    return 0;
}

void kjson_del_key(json_object *object, const char *key)
{
    if (json_object_is_type(object, json_type_object))
        json_object_object_del(object, key);
}
