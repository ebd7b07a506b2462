#include "config_text.h"

#include <algorithm>
#include <cstring>

#include "delta.h"
#include "words.h"

namespace host_uci {

namespace {

// What is wrong with a command, and at which position in the text.
struct Complaint {
    const char *reason = nullptr;
    size_t position = 0;
};

Complaint too_many(const Words &words, int most)
{
    return words.count > most ? Complaint{"too many arguments", words.after[most]} : Complaint{};
}

class ConfigReader {
  public:
    explicit ConfigReader(uci_package &package) : package_(package) {}

    // If the text itself is wrong, words ends there, with text_error.
    Complaint run(const Words &words, const char *text_error)
    {
        const std::string_view command = words.count == 0 ? "" : words.word[0];
        const bool is_section = command == "config" || command == "c";
        const bool is_list = command == "list" || command == "l";
        const bool is_known = is_section || is_list || command == "option" || command == "o" || command == "package";
        // The rest of the command is not looked at when its start is wrong.
        if ((words.count > 0 && !is_known) || (words.count < 2 && text_error == nullptr))
            return {"invalid command", words.start};
        if (words.count > 1)
            if (const Complaint complaint = check(words, is_section, command == "package"); complaint.reason != nullptr)
                return complaint;
        if (text_error != nullptr)
            return {text_error, words.end};
        if (command == "package")
            return {};
        return {is_section ? start_section(words) : add_value(words, is_list), words.end};
    }

  private:
    Complaint check(const Words &words, bool is_section, bool is_package) const
    {
        if (is_package && !is_package_name(words.word[1]))
            return {"invalid character in name field", words.after[1]};
        if (is_package)
            return too_many(words, 2);
        if (!is_section && section_ == nullptr)
            return {"option/list command found before the first section", words.start};
        const char *first = words.word[1];
        if (*first == '\0')
            return {"insufficient arguments", words.after[1]};
        if (is_section && !is_type(first))
            return {"invalid character in type field", words.after[1]};
        if (!is_section && !is_name(first))
            return {"invalid character in name field", words.after[1]};
        if (is_section && words.count > 2 && *words.word[2] != '\0' && !is_name(words.word[2]))
            return {"invalid character in name field", words.after[2]};
        return too_many(words, 3);
    }

    const char *start_section(const Words &words)
    {
        const char *type = words.word[1];
        const char *name = words.count > 2 && *words.word[2] != '\0' ? words.word[2] : nullptr;
        auto *found = name == nullptr ? nullptr : find_section(package_, name);
        if (found != nullptr && strcmp(found->type, type) != 0)
            return "section of different type overwrites prior section with same name";
        section_ = found != nullptr ? found : new_section(package_, type, name);
        return section_ == nullptr ? "out of memory" : nullptr;
    }

    const char *add_value(const Words &words, bool is_list)
    {
        const char *value = words.count > 2 ? words.word[2] : "";
        if (!is_list && *value == '\0')
            return nullptr; // an empty option is no option, and takes none away
        const int result = is_list ? add_to_list_in_tree(*section_, words.word[1], value)
                                   : set_option_in_tree(*section_, words.word[1], value);
        return result == UCI_OK ? nullptr : "out of memory";
    }

    uci_package &package_;
    uci_section *section_ = nullptr;
};

// How many lines have been read when position is reached; a last one without a line end is not counted.
int lines_until(std::string_view text, size_t position)
{
    const size_t line_end = text.find('\n', position == 0 ? 0 : position - 1);
    const size_t end = line_end == text.npos ? text.size() : line_end + 1;
    return static_cast<int>(std::count(text.data(), text.data() + end, '\n'));
}

void write_option(FILE *file, const uci_option &option)
{
    if (option.type == UCI_TYPE_STRING) {
        fprintf(file, "\toption %s ", option.e.name);
        write_quoted(file, option.v.string);
        fputc('\n', file);
        return;
    }
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        fprintf(file, "\tlist %s ", option.e.name);
        write_quoted(file, item->name);
        fputc('\n', file);
    }
}

} // namespace

int read_config(uci_package &package, std::string_view text)
{
    WordReader reader{text};
    ConfigReader config{package};
    Words words;
    uci_context &ctx = *package.ctx;
    while (reader.next(words)) {
        const Complaint complaint = config.run(words, reader.error());
        ctx.reason = complaint.reason;
        if (complaint.reason == nullptr)
            continue;
        const bool at_start = complaint.position == words.start;
        ctx.line = lines_until(text, complaint.position + (at_start ? 1 : 0));
        ctx.byte = static_cast<int>(complaint.position - words.line_start);
        return UCI_ERR_PARSE;
    }
    return UCI_OK;
}

void write_config(FILE *file, const uci_package &package)
{
    uci_element *element = nullptr;
    uci_foreach_element(&package.sections, element)
    {
        const uci_section &section = *uci_to_section(element);
        fputs("\nconfig ", file);
        write_escaped(file, section.type);
        if (!section.anonymous)
            fprintf(file, " '%s'", section.e.name);
        fputc('\n', file);
        uci_element *option = nullptr;
        uci_foreach_element(&section.options, option) write_option(file, *uci_to_option(option));
    }
    fputc('\n', file);
}

} // namespace host_uci
