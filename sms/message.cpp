#include "sms/message.h"

#include "at/reply.h"
#include "platform/files.h"
#include "sms/latin9.h"
#include "sms/ucs2.h"

namespace {

constexpr size_t body_capacity = 2048;
constexpr size_t label_length = sizeof "From: " - 1;

using Line = Text<1024>;

bool holds(const Line &line, std::string_view part)
{
    return str_contains(line.view(), part);
}

// A line with its line end; the part that does not fit is skipped. @return false at the end of the file
bool read_line(FILE *file, Line &line)
{
    line.clear();
    size_t length = 0;
    int character = getc(file);
    if (character == EOF)
        return false;
    for (; character != EOF; character = getc(file)) {
        if (length + 1 < Line::capacity())
            line.data()[length++] = static_cast<char>(character);
        if (character == '\n')
            break;
    }
    return true;
}

struct Body {
    bool is_ucs2 = false;
    bool is_latin9 = false; // the daemon calls ISO 8859-15 "ISO"
    int32_t length = 0;
    Text<body_capacity + 1> bytes{};
    size_t size = 0;
};

// @return false at the end of the headers
bool read_header(const Line &line, json_object *message, Body &body)
{
    if (holds(line, "From: "))
        kjson_add_string(message, "from", without_first(line.view(), label_length));
    else if (holds(line, "Sent: "))
        kjson_add_string(message, "time", without_first(line.view(), label_length));
    else if (holds(line, "From_TOA: "))
        kjson_add_string(message, "type", parse_number_type(line.view()));
    else if (holds(line, "Alphabet: ")) {
        body.is_ucs2 = body.is_ucs2 || holds(line, "UCS2");
        body.is_latin9 = holds(line, "ISO");
    } else if (holds(line, "Length: "))
        parse_length(line.view(), body.length);
    else if (line == "\n")
        return false;
    return true;
}

void add_body(json_object *message, const Body &body)
{
    const std::string_view text = body.bytes.view();
    if (body.is_ucs2) {
        kjson_add_string(message, "body", convert_ucs2({body.bytes.c_str(), body.size}, body.length).c_str());
    } else if (body.is_latin9 && !is_utf8(text)) { // a body that another program wrote in UTF-8 stays as it is
        Text<3 * body_capacity + 1> letters;
        convert_latin9(text, letters);
        kjson_add_string(message, "body", letters.c_str());
    } else {
        kjson_add_string(message, "body", text);
    }
}

} // namespace

const char *parse_number_type(std::string_view line)
{
    for (const char *type : {"international", "national"})
        if (str_contains(line, type))
            return type;
    return "unknown";
}

void parse_length(std::string_view line, int32_t &length)
{
    constexpr std::string_view label = "Length: ";
    if (line.starts_with(label))
        int_after_label(line, label, length);
}

Json read_message(const char *path)
{
    const File file = open_regular_file(path);
    if (file == nullptr)
        return nullptr;
    Json message{json_object_new_object()};
    Body body;
    Line line;
    while (read_line(file.get(), line)) {
        if (read_header(line, message.get(), body))
            continue;
        body.size = fread(body.bytes.data(), 1, body_capacity, file.get());
        break;
    }
    add_body(message.get(), body);
    return message;
}
