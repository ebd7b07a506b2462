#include "delta.h"

#include <cstring>

#include "words.h"

namespace host_uci {

namespace {

struct Change {
    uci_element e; // its name is the section
    ChangeKind kind;
    char *option;
    char *value;
};

// A change, read from its line: "<kind>package.section.option='value'".
struct ChangeLine {
    ChangeKind kind;
    const char *package;
    const char *section;
    const char *option; // null for the section itself
    const char *value;  // empty if the line has none
};

char *cut_at(char *text, char separator)
{
    char *found = strchr(text, separator);
    if (found == nullptr)
        return nullptr;
    *found = '\0';
    return found + 1;
}

// True if a change of this kind can apply to what the line names, with the line's value.
bool makes_sense(const ChangeLine &line, bool has_value)
{
    switch (line.kind) {
    case ChangeKind::remove:
        return true;
    case ChangeKind::reorder:
        return has_value && line.option == nullptr;
    case ChangeKind::add_to_list:
    case ChangeKind::remove_from_list:
        return has_value && line.option != nullptr;
    case ChangeKind::rename:
        return is_name(line.value);
    case ChangeKind::add_section:
    case ChangeKind::set:
        break;
    }
    return has_value;
}

// Cuts word to pieces.
bool parse_change(char *word, ChangeLine &line)
{
    const bool has_kind = *word != '\0' && strchr("+-@^|~", *word) != nullptr;
    line.kind = has_kind ? static_cast<ChangeKind>(*word) : ChangeKind::set;
    line.package = word + (has_kind ? 1 : 0);
    const char *value = cut_at(word, '=');
    line.value = value == nullptr ? "" : value;
    char *section = cut_at(word, '.');
    char *option = section == nullptr ? nullptr : cut_at(section, '.');
    line.section = section;
    line.option = option;
    return is_package_name(line.package) && section != nullptr && is_name(section) &&
           (option == nullptr || is_name(option)) && is_value(line.value) && makes_sense(line, value != nullptr);
}

int rename_in_tree(uci_package &package, const ChangeLine &line)
{
    auto *section = find_section(package, line.section);
    if (section == nullptr || !is_name(line.value))
        return UCI_ERR_NOTFOUND;
    if (line.option == nullptr) {
        section->anonymous = false;
        return rename_section(*section, line.value) ? UCI_OK : UCI_ERR_MEM;
    }
    uci_element *option = find_element(section->options, line.option);
    if (option == nullptr)
        return UCI_ERR_NOTFOUND;
    return replace_text(option->name, line.value) ? UCI_OK : UCI_ERR_MEM;
}

int reorder_in_tree(uci_package &package, const ChangeLine &line)
{
    uci_section *section = find_section(package, line.section);
    if (section == nullptr)
        return UCI_ERR_NOTFOUND;
    list_remove(section->e);
    uci_list *before = package.sections.next;
    for (int position = atoi(line.value); position > 0 && before != &package.sections; position--)
        before = before->next;
    list_append(*before, section->e);
    return UCI_OK;
}

int add_section_in_tree(uci_package &package, const ChangeLine &line)
{
    if (!is_type(line.value) || find_section(package, line.section) != nullptr)
        return UCI_ERR_INVAL;
    uci_section *section = new_section(package, line.value, line.section);
    if (section == nullptr)
        return UCI_ERR_MEM;
    section->anonymous = true;
    return UCI_OK;
}

int remove(uci_package &package, uci_section *section, const ChangeLine &line)
{
    if (*line.value == '\0' || section == nullptr || line.option == nullptr)
        return remove_from_tree(package, line.section, line.option);
    auto *option = uci_to_option(find_element(section->options, line.option));
    return option != nullptr && remove_item_in_tree(*option, atol(line.value)) ? UCI_OK : UCI_ERR_NOTFOUND;
}

int apply(uci_package &package, const ChangeLine &line)
{
    auto *section = find_section(package, line.section);
    switch (line.kind) {
    case ChangeKind::set:
        return set_in_tree(package, line.section, line.option, line.value);
    case ChangeKind::add_section:
        return line.option == nullptr ? add_section_in_tree(package, line)
                                      : set_in_tree(package, line.section, line.option, line.value);
    case ChangeKind::remove:
        return remove(package, section, line);
    case ChangeKind::rename:
        return rename_in_tree(package, line);
    case ChangeKind::reorder:
        return reorder_in_tree(package, line);
    case ChangeKind::add_to_list:
    case ChangeKind::remove_from_list:
        break;
    }
    if (section == nullptr || line.option == nullptr)
        return UCI_ERR_NOTFOUND;
    return line.kind == ChangeKind::add_to_list ? add_to_list_in_tree(*section, line.option, line.value)
                                                : remove_from_list_in_tree(*section, line.option, line.value);
}

// Calls visit with every line of a delta file that is one, and with its text.
template <typename Visit> void for_each_change(std::string_view text, Visit visit)
{
    WordReader reader{text};
    Words words;
    while (reader.next(words)) {
        ChangeLine line;
        const bool is_change =
            reader.error() == nullptr && words.count == 1 && parse_change(const_cast<char *>(words.word[0]), line);
        visit(is_change ? &line : nullptr, std::string_view{text.data() + words.start, words.end - words.start});
    }
}

} // namespace

bool record_change(uci_package &package, ChangeKind kind, const char *section, const char *option, const char *value)
{
    auto *change = static_cast<Change *>(calloc(1, sizeof(Change)));
    if (change == nullptr)
        return false;
    list_init(change->e.list);
    change->e.type = UCI_TYPE_DELTA;
    change->kind = kind;
    change->e.name = copy_text(section).release();
    change->option = option == nullptr ? nullptr : copy_text(option).release();
    change->value = value == nullptr ? nullptr : copy_text(value).release();
    list_append(package.delta, change->e);
    return true;
}

void free_changes(uci_list &changes)
{
    uci_element *element = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&changes, next, element)
    {
        auto *change = reinterpret_cast<Change *>(element);
        list_remove(*element);
        free(change->e.name);
        free(change->option);
        free(change->value);
        free(change);
    }
}

void write_escaped(FILE *file, const char *value)
{
    for (; *value != '\0'; value++) {
        if (*value == '\'')
            fputs("'\\''", file);
        else
            fputc(*value, file);
    }
}

void write_quoted(FILE *file, const char *value)
{
    fputc('\'', file);
    write_escaped(file, value);
    fputc('\'', file);
}

void write_changes(FILE *file, const uci_package &package)
{
    uci_element *element = nullptr;
    uci_foreach_element(&package.delta, element)
    {
        const auto *change = reinterpret_cast<const Change *>(element);
        if (change->kind != ChangeKind::set)
            fputc(static_cast<char>(change->kind), file);
        fprintf(file, "%s.%s", package.e.name, change->e.name);
        if (change->option != nullptr)
            fprintf(file, ".%s", change->option);
        if (change->value != nullptr) {
            fputc('=', file);
            write_quoted(file, change->value);
        }
        fputc('\n', file);
    }
}

int apply_delta(uci_package &package, std::string_view text)
{
    int applied = 0;
    for_each_change(text, [&](const ChangeLine *line, std::string_view) {
        if (line != nullptr && strcmp(line->package, package.e.name) == 0 && apply(package, *line) == UCI_OK)
            applied++;
    });
    return applied;
}

void print_changes(FILE *file, const char *package, std::string_view text)
{
    for_each_change(text, [&](const ChangeLine *line, std::string_view) {
        if (line == nullptr || strcmp(line->package, package) != 0)
            return;
        const bool is_removal = line->kind == ChangeKind::remove;
        fprintf(file, "%s%s.%s", is_removal ? "-" : "", package, line->section);
        if (line->option != nullptr)
            fprintf(file, ".%s", line->option);
        if (!is_removal) {
            const bool grows = line->kind == ChangeKind::add_to_list;
            fputs(grows ? "+=" : line->kind == ChangeKind::remove_from_list ? "-=" : "=", file);
            write_quoted(file, line->value);
        }
        fputc('\n', file);
    });
}

void write_delta_without(FILE *file, const char *package, std::string_view text, const char *section,
                         const char *option)
{
    for_each_change(text, [&](const ChangeLine *line, std::string_view as_it_stands) {
        const bool concerns = line != nullptr && strcmp(line->package, package) == 0 &&
                              (section == nullptr || strcmp(line->section, section) == 0) &&
                              (option == nullptr || (line->option != nullptr && strcmp(line->option, option) == 0));
        if (concerns)
            return;
        while (!as_it_stands.empty() && as_it_stands.back() == '\n')
            as_it_stands.remove_suffix(1);
        fwrite(as_it_stands.data(), 1, as_it_stands.size(), file);
        fputc('\n', file);
    });
}

int set_in_tree(uci_package &package, const char *section_name, const char *option_name, const char *value)
{
    auto *section = find_section(package, section_name);
    if (option_name == nullptr) {
        if (*value == '\0')
            return section == nullptr ? UCI_OK : remove_from_tree(package, section_name, nullptr);
        if (!is_type(value))
            return UCI_ERR_INVAL;
        if (section != nullptr)
            return replace_text(section->type, value) ? UCI_OK : UCI_ERR_MEM;
        return new_section(package, value, section_name) != nullptr ? UCI_OK : UCI_ERR_MEM;
    }
    return section == nullptr ? UCI_ERR_INVAL : set_option_in_tree(*section, option_name, value);
}

int set_option_in_tree(uci_section &section, const char *option_name, const char *value)
{
    auto *option = uci_to_option(find_element(section.options, option_name));
    if (*value == '\0') {
        if (option != nullptr)
            free_option(*option);
        return UCI_OK;
    }
    if (option != nullptr)
        return set_value(*option, value) ? UCI_OK : UCI_ERR_MEM;
    return new_option(section, option_name, value) != nullptr ? UCI_OK : UCI_ERR_MEM;
}

int add_to_list_in_tree(uci_section &section, const char *option_name, const char *value)
{
    auto *option = uci_to_option(find_element(section.options, option_name));
    if (option == nullptr)
        option = new_list(section, option_name);
    return option != nullptr && make_list(*option) && add_item(*option, value) ? UCI_OK : UCI_ERR_MEM;
}

int remove_from_list_in_tree(uci_section &section, const char *option_name, const char *value)
{
    auto *option = uci_to_option(find_element(section.options, option_name));
    if (option == nullptr || option->type != UCI_TYPE_LIST)
        return UCI_OK;
    uci_element *item = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&option->v.list, next, item) if (strcmp(item->name, value) == 0) free_item(*item);
    return UCI_OK;
}

bool remove_item_in_tree(uci_option &option, long position)
{
    if (option.type != UCI_TYPE_LIST)
        return false;
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        if (position-- == 0) {
            free_item(*item);
            return true;
        }
    }
    return false;
}

int remove_from_tree(uci_package &package, const char *section_name, const char *option_name)
{
    auto *section = find_section(package, section_name);
    if (section == nullptr)
        return UCI_ERR_NOTFOUND;
    if (option_name == nullptr) {
        free_section(*section);
        return UCI_OK;
    }
    auto *option = uci_to_option(find_element(section->options, option_name));
    if (option == nullptr)
        return UCI_ERR_NOTFOUND;
    free_option(*option);
    return UCI_OK;
}

} // namespace host_uci
