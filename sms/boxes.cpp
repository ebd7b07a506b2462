#include "sms/boxes.h"

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <span>
#include <sys/stat.h>

#include "platform/files.h"
#include "sms/message.h"
#include "sms/parts.h"
#include "sms/spool.h"

namespace {

struct Box {
    char name[7];
    char folder[12];
};

// A message that was read stays in the box "in". What the daemon has taken out of outgoing waits in checked.
constexpr Box boxes[] = {{"in", "incoming"}, {"in", "storage"}, {"out", "outgoing"},
                         {"out", "checked"}, {"sent", "sent"},  {"failed", "failed"}};
constexpr size_t unread_box = 0;
constexpr size_t read_box = 1;

using SpoolPath = Text<180>;

SpoolPath folder_path(size_t box)
{
    return SpoolPath::format("/etc/spool/sms/%s/", boxes[box].folder);
}

struct Entry {
    int64_t time;
    uint8_t box;
    Text<100> name;
};

// The newest messages of all boxes, the newest first.
class Newest {
  public:
    explicit Newest(size_t most) : entries_(static_cast<Entry *>(calloc(most, sizeof(Entry)))), most_(most) {}

    void add(const Entry &entry)
    {
        size_t place = size_;
        while (place > 0 && begin()[place - 1].time < entry.time)
            place--;
        if (place == most_ || entries_ == nullptr)
            return;
        size_ += size_ < most_ ? 1 : 0;
        memmove(begin() + place + 1, begin() + place, (size_ - place - 1) * sizeof(Entry));
        begin()[place] = entry;
    }

    std::span<const Entry> entries() const { return {begin(), size_}; }

  private:
    Entry *begin() const { return entries_.get(); }

    std::unique_ptr<Entry, Free> entries_;
    size_t most_;
    size_t size_ = 0;
};

void add_names(Newest &newest, size_t box)
{
    const Directory directory{opendir(folder_path(box).c_str())};
    while (const dirent *found = directory ? readdir(directory.get()) : nullptr) {
        struct stat status;
        Entry entry{.time = 0, .box = static_cast<uint8_t>(box), .name = {}};
        if (found->d_name[0] == '.' || !entry.name.assign(found->d_name) || !is_utf8(found->d_name) ||
            fstatat(dirfd(directory.get()), found->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(status.st_mode))
            continue;
        entry.time = status.st_mtime;
        newest.add(entry);
    }
}

std::string_view without_line_end(std::string_view text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.remove_suffix(1);
    return text;
}

// The headers of a message that the router sends, which read_message leaves out.
void add_headers_of_sent(json_object *message, const char *path)
{
    static constexpr struct {
        std::string_view label;
        const char *key;
    } headers[] = {{"To: ", "from"}, {"To_TOA: ", "type"}, {"Fail_reason: ", "error"}};
    Text<1024> text;
    read_file(path, text.capacity() - 1, text);
    std::string_view rest = text.view();
    while (!rest.empty()) {
        const std::string_view line = first_characters(rest, rest.find('\n'));
        rest = without_first(rest, line.size() + 1);
        if (without_line_end(line).empty())
            return;
        for (const auto &header : headers)
            if (line.starts_with(header.label))
                kjson_add_string(message, header.key, without_first(line, header.label.size()));
    }
}

// The daemon's "26-11-21 01:02:03", else the time of the file.
Text<24> time_of(const char *daemons, int64_t file_time)
{
    const std::string_view given = daemons == nullptr ? "" : without_line_end(daemons);
    if (given.size() == 17 && given[2] == '-' && given[5] == '-')
        return Text<24>::format("20%.17s", given.data());
    tm parts{};
    const time_t seconds = file_time;
    localtime_r(&seconds, &parts);
    return Text<24>::format("%04d-%02d-%02d %02d:%02d:%02d", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                            parts.tm_hour, parts.tm_min, parts.tm_sec);
}

Json describe(const Entry &entry)
{
    auto path = folder_path(entry.box);
    path.append(entry.name.view());
    const Json message = read_message(path.c_str());
    if (message == nullptr)
        return nullptr;
    const bool is_incoming = entry.box <= read_box;
    if (!is_incoming)
        add_headers_of_sent(message.get(), path.c_str());
    Json object{json_object_new_object()};
    const char *box = boxes[entry.box].name;
    kjson_add_string(object.get(), "id", SpoolPath::format("%s/%s", box, entry.name.c_str()).view());
    kjson_add_string(object.get(), "box", box);
    for (const auto &[key, member] :
         {std::pair{"number", "from"}, {"type", "type"}, {"text", "body"}, {"error", "error"}})
        if (const char *text = kjson_get_string(message.get(), member); text != nullptr)
            kjson_add_string(object.get(), key, without_line_end(text));
    kjson_add_string(object.get(), "time", time_of(kjson_get_string(message.get(), "time"), entry.time).view());
    kjson_add_boolean(object.get(), "unread", entry.box == unread_box);
    const char *text = kjson_get_string(object.get(), "text");
    kjson_add_int(object.get(), "parts", count_sms_parts(text == nullptr ? "" : text));
    return object;
}

// The name of the file in an id, if it is of that box; else null.
const char *name_in(const char *id, const char *box)
{
    const size_t length = strlen(box);
    if (strncmp(id, box, length) != 0 || id[length] != '/')
        return nullptr;
    const char *name = id + length + 1;
    return *name == '\0' || *name == '.' || strchr(name, '/') != nullptr ? nullptr : name;
}

} // namespace

void sms_list_boxes(json_object *array, size_t most)
{
    Newest newest{most};
    for (size_t box = 0; box < std::size(boxes); box++)
        add_names(newest, box);
    constexpr size_t most_bytes = size_t{256} * 1024;
    size_t bytes = 0;
    for (const Entry &entry : newest.entries()) {
        Json message = describe(entry);
        if (message == nullptr)
            continue;
        bytes += strlen(json_object_to_json_string_ext(message.get(), JSON_C_TO_STRING_PLAIN));
        if (bytes > most_bytes)
            return;
        kjson_array_add(array, std::move(message));
    }
}

int sms_remove_from_box(const char *id)
{
    for (size_t box = 0; box < std::size(boxes); box++) {
        const char *name = name_in(id, boxes[box].name);
        auto path = folder_path(box);
        if (name != nullptr && path.append(name) && unlink(path.c_str()) == 0)
            return 0;
    }
    return -1;
}

int sms_mark_box_read(const char *id)
{
    const char *name = name_in(id, boxes[unread_box].name);
    return name == nullptr ? -1 : sms_mark_read(name);
}
