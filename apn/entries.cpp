#include "apn/entries.h"

#include <cstring>

#include "platform/text.h"

// The database is read entry by entry and only the entries of the SIM's network are kept: the whole tree of three
// megabytes of text would take most of a router's memory.

namespace {

constexpr size_t short_mnc_length = 2;

bool is_blank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// What == does, by a call less for each of thousands of texts.
bool is_same(std::string_view text, std::string_view other)
{
    return text.size() == other.size() && memcmp(text.data(), other.data(), text.size()) == 0;
}

struct TokenerFree {
    void operator()(json_tokener *tokener) const { json_tokener_free(tokener); }
};

// Reads a JSON text from front to back. json-c parses the wanted values; this code reads the frame around them.
class JsonReader {
  public:
    explicit JsonReader(std::string_view text) : rest_(text), tokener_(json_tokener_new()) {}

    // Skips white space and comments, then takes the next character if it is this one.
    bool take(char character)
    {
        pass_blanks();
        if (!rest_.starts_with(character))
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    // @return false if no value follows; JSON's null is a value, and becomes a null pointer
    bool take_value(Json &value)
    {
        json_tokener_reset(tokener_.get());
        value.reset(json_tokener_parse_ex(tokener_.get(), rest_.data(), static_cast<int>(rest_.size())));
        if (json_tokener_get_error(tokener_.get()) != json_tokener_success)
            return false;
        rest_ = without_first(rest_, json_tokener_get_parse_end(tokener_.get()));
        return true;
    }

    // Takes an object of texts without escapes in which member is missing or is not text. Most of a database is this,
    // and to parse it would take twenty times as long. Anything else is left for take_value.
    bool pass_object_without(std::string_view member, std::string_view text)
    {
        pass_blanks();
        PlainText plain{rest_.data(), rest_.data() + rest_.size()};
        bool is_without = true;
        if (!plain.take('{'))
            return false;
        do {
            std::string_view key;
            std::string_view value;
            if (!plain.take_text(key) || !plain.take(':') || !plain.take_text(value))
                return false;
            if (is_same(key, member))
                is_without = !is_same(value, text);
        } while (plain.take(','));
        if (!plain.take('}') || !is_without)
            return false;
        rest_.remove_prefix(static_cast<size_t>(plain.at - rest_.data()));
        return true;
    }

    // Calls on_item before each item of a list between open and close; it takes the item and returns false if it
    // cannot.
    template <typename OnItem> bool take_list(char open, char close, OnItem on_item)
    {
        if (!take(open))
            return false;
        do {
            if (take(close)) // an empty list, and a comma after the last item
                return true;
            if (!on_item())
                return false;
        } while (take(','));
        return take(close);
    }

    // Takes an object in which one member matters: on_wanted takes the value of that member.
    template <typename OnWanted> bool take_object(std::string_view wanted, OnWanted on_wanted)
    {
        return take_list('{', '}', [&] {
            Json key;
            if (!take_value(key) || !json_object_is_type(key.get(), json_type_string) || !take(':'))
                return false;
            if (json_object_get_string(key.get()) == wanted)
                return on_wanted();
            Json other;
            return take_value(other);
        });
    }

  private:
    // Bytes that are looked at one by one, hundreds of thousands of them.
    struct PlainText {
        const char *at;
        const char *end;

        [[gnu::always_inline]] bool take(char mark)
        {
            while (at < end && *at != mark && is_blank(*at))
                at++;
            if (at == end || *at != mark)
                return false;
            at++;
            return true;
        }

        bool take_text(std::string_view &text)
        {
            if (!take('"'))
                return false;
            const char *last = at;
            for (const char *const stop = end; last < stop && *last != '"'; last++) {
                const auto byte = static_cast<unsigned char>(*last);
                if (byte <= '\\' && (byte == '\\' || byte < ' ')) // most are letters
                    return false;
            }
            if (last == end)
                return false;
            text = {at, static_cast<size_t>(last - at)};
            at = last + 1;
            return true;
        }
    };

    // A comment without an end leaves an empty rest, so no list can end after it.
    void pass_blanks()
    {
        for (;;) {
            while (!rest_.empty() && is_blank(rest_[0]))
                rest_.remove_prefix(1);
            if (!rest_.starts_with('/'))
                return;
            const std::string_view end = rest_.starts_with("/*") ? "*/" : rest_.starts_with("//") ? "\n" : "";
            if (end.empty())
                return;
            rest_.remove_prefix(2);
            rest_ = without_first(without_first(rest_, find_text(rest_, end)), end.size());
        }
    }

    std::string_view rest_;
    std::unique_ptr<json_tokener, TokenerFree> tokener_;
};

bool is_text(json_object *entry, const char *key, std::string_view wanted)
{
    const char *text = kjson_get_string(entry, key);
    return text != nullptr && text == wanted;
}

int append(json_object *candidates, json_object *entries)
{
    const size_t count = json_object_array_length(entries);
    for (size_t i = 0; i < count; i++)
        kjson_array_add(candidates, json_share(json_object_array_get_idx(entries, i)));
    return static_cast<int>(count);
}

} // namespace

int pick_apn_entries(std::string_view database, std::string_view mcc, std::string_view mnc, json_object *candidates)
{
    JsonReader reader{database};
    const std::string_view short_mnc = first_characters(mnc, short_mnc_length);
    Json whole;       // entries of the network code as it is; null until there is a list
    Json shortened{}; // entries of the shorter one
    const auto sort_entry = [&] {
        if (reader.pass_object_without("-mcc", mcc))
            return true;
        Json entry;
        if (!reader.take_value(entry))
            return false;
        if (!is_text(entry.get(), "-mcc", mcc))
            return true;
        if (is_text(entry.get(), "-mnc", mnc))
            kjson_array_add(whole.get(), std::move(entry));
        else if (is_text(entry.get(), "-mnc", short_mnc))
            kjson_array_add(shortened.get(), std::move(entry));
        return true;
    };
    const auto read_list = [&] {
        whole.reset(json_object_new_array());
        shortened.reset(json_object_new_array());
        return reader.take_list('[', ']', sort_entry);
    };
    const auto read_apns = [&] {
        whole.reset(); // of two members with the same name the last one counts, even if it is not a list
        return reader.take_object("apn", read_list);
    };
    const bool is_read = reader.take_object("apns", read_apns) && whole != nullptr;
    if (!is_read)
        return -1;
    const int count = append(candidates, whole.get());
    return count > 0 ? count : append(candidates, shortened.get());
}
