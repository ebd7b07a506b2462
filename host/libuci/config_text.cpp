#include "config_text.h"

#include <cstring>

#include "delta.h"
#include "words.h"

namespace host_uci {

namespace {

constexpr char invalid_command[] = "invalid command";
constexpr char before_first_section[] = "option/list command found before the first section";

class ConfigReader {
  public:
    explicit ConfigReader(uci_package &package) : package_(package) {}

    // @return why the command is wrong, null when it is not
    const char *run(const Words &words)
    {
        const std::string_view command = words.word[0];
        if (command == "package")
            return words.count < 2 ? invalid_command : nullptr;
        if (command == "config" || command == "c")
            return start_section(words);
        if (command == "option" || command == "o")
            return add_option(words);
        if (command == "list" || command == "l")
            return add_to_list(words);
        return invalid_command;
    }

  private:
    const char *start_section(const Words &words)
    {
        if (words.count < 2)
            return invalid_command;
        const char *type = words.word[1];
        const char *name = words.count > 2 && *words.word[2] != '\0' ? words.word[2] : nullptr;
        if (!is_type(type))
            return "invalid character in type field";
        if (name != nullptr && !is_name(name))
            return "invalid character in name field";
        auto *found = name == nullptr ? nullptr : uci_to_section(find_element(package_.sections, name));
        if (found != nullptr && strcmp(found->type, type) != 0)
            return "section of different type overwrites prior section with same name";
        section_ = found != nullptr ? found : new_section(package_, type, name);
        return section_ == nullptr ? "out of memory" : nullptr;
    }

    const char *check_value(const Words &words) const
    {
        if (section_ == nullptr)
            return before_first_section;
        if (words.count < 2)
            return invalid_command;
        return is_name(words.word[1]) ? nullptr : "invalid character in name field";
    }

    const char *add_option(const Words &words)
    {
        if (const char *error = check_value(words); error != nullptr)
            return error;
        const char *value = words.count > 2 ? words.word[2] : "";
        return set_in_tree(package_, section_->e.name, words.word[1], value) == UCI_OK ? nullptr : "out of memory";
    }

    const char *add_to_list(const Words &words)
    {
        if (const char *error = check_value(words); error != nullptr)
            return error;
        const char *value = words.count > 2 ? words.word[2] : "";
        return add_to_list_in_tree(*section_, words.word[1], value) == UCI_OK ? nullptr : "out of memory";
    }

    uci_package &package_;
    uci_section *section_ = nullptr;
};

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
        ctx.reason = reader.error() != nullptr ? reader.error() : config.run(words);
        if (ctx.reason == nullptr)
            continue;
        // What is wrong with the command itself is told at its start, the rest at its end.
        const bool at_start = ctx.reason == invalid_command || ctx.reason == before_first_section;
        ctx.line = words.line;
        ctx.byte = static_cast<int>((at_start ? words.start : words.end) - words.line_start);
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
