#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <json-c/json.h>

struct JsonPut {
    void operator()(json_object *object) const { json_object_put(object); }
};
/// A JSON value owned here. A plain json_object pointer is always borrowed.
using Json = std::unique_ptr<json_object, JsonPut>;

/// A new reference to a value that another object owns.
Json json_share(json_object *object);

/// text as a JSON string of valid UTF-8. Every byte outside a valid sequence becomes U+FFFD, so that no bytes of a
/// modem or a file can break the document.
Json json_text(std::string_view text);

/// True if the whole text is valid UTF-8, or empty.
bool is_utf8(std::string_view text);

/// The value as json-c's pretty text. Borrowed from object, valid until object changes or is released.
const char *json_pretty(json_object *object);

// Members of an object. A null object has no members and takes none.

/// @return 1 when the member exists (also with the value null), else 0
int kjson_contain_key(json_object *object, const char *key);
/// The member's text, borrowed from object; numbers and booleans as json-c writes them. Null when the member is absent,
/// null, an array or an object.
const char *kjson_get_string(json_object *object, const char *key);
/// The member by json-c's conversion (a text by strtol's rule, 0 without digits); -1 when absent.
int32_t kjson_get_int(json_object *object, const char *key);
/// The member by json-c's conversion; false when absent.
bool kjson_get_boolean(json_object *object, const char *key);
/// The member itself, borrowed; null when absent.
json_object *kjson_get_object(json_object *object, const char *key);

/// Replaces a member of the same name. @return 0; -1 without memory, or if the container is not an object (or array)
int kjson_add_string(json_object *object, const char *key, std::string_view text);
int kjson_add_string(json_object *object, const char *key, const char *text);
int kjson_add_int(json_object *object, const char *key, int32_t number);
int kjson_add_int64(json_object *object, const char *key, int64_t number);
int kjson_add_double(json_object *object, const char *key, double number);
int kjson_add_boolean(json_object *object, const char *key, bool truth);
/// Takes child over, also on failure.
int kjson_add_object(json_object *object, const char *key, Json child);
int kjson_array_add_string(json_object *array, std::string_view text);
/// Takes child over, also on failure.
int kjson_array_add(json_object *array, Json child);
/// Nothing happens when the member is absent.
void kjson_del_key(json_object *object, const char *key);
