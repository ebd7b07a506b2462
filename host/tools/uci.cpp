// The parts of the router's uci command that scripts and tests use.

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <uci.h>

#include "host/libuci/delta.h"

namespace {

constexpr int usage_status = 255;

struct Tool {
    uci_context *ctx;
    const char *name;
    bool quiet = false;
    bool extended = true;
    const char *delimiter = " ";

    int fail(int status = 1) const
    {
        if (!quiet)
            uci_perror(ctx, name);
        return status;
    }
    int fail_with(int error, int status = 1) const
    {
        ctx->err = error;
        return fail(status);
    }
};

int usage(const Tool &tool)
{
    fprintf(stderr,
            "Usage: %s [options] command\n\n"
            "  get path              a value, or a section's type\n"
            "  show [path]           as lines path=value\n"
            "  set path=value        an empty value deletes\n"
            "  add package type      an unnamed section; prints its name\n"
            "  add_list path=item    delete path[=position]    del_list path=item\n"
            "  changes [package]     what is saved and not committed\n"
            "  commit [package]      revert path\n"
            "  export [package]      batch (commands from standard input)\n\n"
            "A path is package.section.option, or the front of it; a section may be @type[n].\n\n"
            "  -c folder             configuration, instead of /etc/config\n"
            "  -t folder, -P folder  saved changes, instead of /tmp/.uci\n"
            "  -d text               between the items of a list\n"
            "  -q                    no error messages\n"
            "  -X                    unnamed sections by their internal name\n",
            tool.name);
    return usage_status;
}

std::string quoted(const std::string &text)
{
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? "'\\''" : std::string(1, c);
    return result + "'";
}

// An unnamed section is shown by its position, but only among the others of its package.
enum class Naming { by_position, by_name };

std::string section_name(const uci_section &section, Naming naming)
{
    if (!section.anonymous || naming == Naming::by_name)
        return section.e.name;
    int index = 0;
    uci_element *element = nullptr;
    uci_foreach_element(&section.package->sections, element)
    {
        if (element == &section.e)
            break;
        index += strcmp(uci_to_section(element)->type, section.type) == 0 ? 1 : 0;
    }
    return "@" + std::string{section.type} + "[" + std::to_string(index) + "]";
}

void show_option(const Tool &tool, const uci_option &option, Naming naming)
{
    const uci_section &section = *option.section;
    std::string values;
    if (option.type == UCI_TYPE_STRING) {
        values = quoted(option.v.string);
    } else {
        uci_element *item = nullptr;
        uci_foreach_element(&option.v.list, item) values += (values.empty() ? "" : tool.delimiter) + quoted(item->name);
    }
    printf("%s.%s.%s=%s\n", section.package->e.name, section_name(section, naming).c_str(), option.e.name,
           values.c_str());
}

void show_section(const Tool &tool, const uci_section &section, Naming naming)
{
    printf("%s.%s=%s\n", section.package->e.name, section_name(section, naming).c_str(), section.type);
    uci_element *option = nullptr;
    uci_foreach_element(&section.options, option) show_option(tool, *uci_to_option(option), naming);
}

void show_package(const Tool &tool, const uci_package &package)
{
    uci_element *section = nullptr;
    uci_foreach_element(&package.sections, section)
        show_section(tool, *uci_to_section(section), tool.extended ? Naming::by_position : Naming::by_name);
}

void print_value(const Tool &tool, const uci_option &option)
{
    if (option.type == UCI_TYPE_STRING) {
        printf("%s\n", option.v.string);
        return;
    }
    const char *between = "";
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        const bool is_plain = strpbrk(item->name, " \t\r\n") == nullptr;
        printf("%s%s", between, is_plain ? item->name : quoted(item->name).c_str());
        between = tool.delimiter;
    }
    printf("\n");
}

int get(const Tool &tool, const uci_ptr &ptr)
{
    if ((ptr.flags & uci_ptr::UCI_LOOKUP_COMPLETE) == 0)
        return tool.fail_with(UCI_ERR_NOTFOUND);
    if (ptr.o != nullptr)
        print_value(tool, *ptr.o);
    else if (ptr.s != nullptr)
        printf("%s\n", ptr.s->type);
    return 0;
}

int show(const Tool &tool, const uci_ptr &ptr)
{
    if ((ptr.flags & uci_ptr::UCI_LOOKUP_COMPLETE) == 0)
        return tool.fail_with(UCI_ERR_NOTFOUND);
    if (ptr.o != nullptr)
        show_option(tool, *ptr.o, Naming::by_name);
    else if (ptr.s != nullptr)
        show_section(tool, *ptr.s, Naming::by_name);
    else
        show_package(tool, *ptr.p);
    return 0;
}

bool is_number(const char *text)
{
    return *text != '\0' && text[strspn(text, "0123456789")] == '\0';
}

int change(const Tool &tool, uci_ptr &ptr, int (*run)(uci_context *, uci_ptr *), bool needs_value)
{
    if (needs_value && ptr.value == nullptr)
        return tool.fail_with(UCI_ERR_INVAL);
    uci_package *package = ptr.p;
    if (run == uci_delete && ptr.value != nullptr && !is_number(ptr.value))
        return 1;
    if (run(tool.ctx, &ptr) != UCI_OK)
        return tool.fail();
    return uci_save(tool.ctx, package) == UCI_OK ? 0 : tool.fail();
}

int run_on_path(const Tool &tool, const std::string &command, const char *path)
{
    std::string text = path;
    uci_ptr ptr{};
    if (uci_lookup_ptr(tool.ctx, &ptr, text.data(), true) != UCI_OK)
        return tool.fail();
    if (ptr.value != nullptr && (command == "get" || command == "show"))
        return 1;
    if (command == "get")
        return get(tool, ptr);
    if (command == "show")
        return show(tool, ptr);
    if (command == "set")
        return change(tool, ptr, uci_set, true);
    if (command == "add_list")
        return change(tool, ptr, uci_add_list, true);
    if (command == "del_list")
        return change(tool, ptr, uci_del_list, true);
    if (command == "delete")
        return change(tool, ptr, uci_delete, false);
    return uci_revert(tool.ctx, &ptr) == UCI_OK ? 0 : tool.fail();
}

int add(const Tool &tool, const char *name, const char *type)
{
    uci_package *package = nullptr;
    uci_section *section = nullptr;
    if (uci_load(tool.ctx, name, &package) != UCI_OK || uci_add_section(tool.ctx, package, type, &section) != UCI_OK ||
        uci_save(tool.ctx, package) != UCI_OK)
        return tool.fail(tool.ctx->err);
    printf("%s\n", section->e.name);
    return 0;
}

int commit(const Tool &tool, const char *name)
{
    uci_package *package = nullptr;
    if (uci_load(tool.ctx, name, &package) != UCI_OK || uci_commit(tool.ctx, &package, false) != UCI_OK)
        return tool.fail();
    return 0;
}

int export_package(const Tool &tool, const char *name)
{
    uci_package *package = nullptr;
    if (uci_load(tool.ctx, name, &package) != UCI_OK)
        return tool.fail();
    printf("package %s\n", name);
    uci_element *element = nullptr;
    uci_foreach_element(&package->sections, element)
    {
        const uci_section &section = *uci_to_section(element);
        printf("\nconfig %s%s%s\n", section.type, section.anonymous ? "" : " ",
               section.anonymous ? "" : quoted(section.e.name).c_str());
        uci_element *child = nullptr;
        uci_foreach_element(&section.options, child)
        {
            const uci_option &option = *uci_to_option(child);
            if (option.type == UCI_TYPE_STRING) {
                printf("\toption %s %s\n", option.e.name, quoted(option.v.string).c_str());
                continue;
            }
            uci_element *item = nullptr;
            uci_foreach_element(&option.v.list, item)
                printf("\tlist %s %s\n", option.e.name, quoted(item->name).c_str());
        }
    }
    printf("\n");
    return 0;
}

int changes(const Tool &tool, const char *name)
{
    if (uci_load(tool.ctx, name, nullptr) != UCI_OK)
        return tool.fail();
    std::ifstream file{std::string{tool.ctx->savedir} + "/" + name, std::ios::binary};
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    host_uci::print_changes(stdout, name, text);
    return 0;
}

int show_all_of(const Tool &tool, const char *name)
{
    return run_on_path(tool, "show", name);
}

// Without a package a command is about every package there is.
int run_on_packages(const Tool &tool, int (*run)(const Tool &, const char *), const char *only)
{
    if (only != nullptr)
        return run(tool, only);
    std::set<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator{tool.ctx->confdir, error})
        if (const std::string name = entry.path().filename(); name[0] != '.' && entry.is_regular_file(error))
            names.insert(name);
    for (const std::string &name : names)
        run(tool, name.c_str());
    return 0;
}

int run_words(const Tool &tool, const std::vector<std::string> &words);

int batch(const Tool &tool)
{
    char *line = nullptr;
    size_t room = 0;
    while (getline(&line, &room, stdin) > 0) {
        std::string text = line;
        while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
            text.pop_back();
        const size_t blank = text.find(' ');
        const std::string command = text.substr(0, blank);
        std::vector<std::string> words{command};
        if (blank != std::string::npos)
            words.push_back(text.substr(blank + 1));
        // "set x.y.z='a b'": the quotes are the batch line's.
        if (words.size() == 2)
            if (const size_t quote = words[1].find("='"); quote != std::string::npos && words[1].back() == '\'')
                words[1] = words[1].substr(0, quote + 1) + words[1].substr(quote + 2, words[1].size() - quote - 3);
        if (!command.empty())
            run_words(tool, words);
    }
    free(line);
    return 0;
}

int run_words(const Tool &tool, const std::vector<std::string> &words)
{
    const std::string &command = words[0];
    const char *first = words.size() > 1 ? words[1].c_str() : nullptr;
    for (const char *on_path : {"get", "show", "set", "add_list", "del_list", "delete", "revert"})
        if (command == on_path && first != nullptr && words.size() == 2)
            return run_on_path(tool, command, first);
    if (command == "add" && words.size() == 3)
        return add(tool, first, words[2].c_str());
    constexpr std::pair<const char *, int (*)(const Tool &, const char *)> on_packages[] = {
        {"commit", commit}, {"export", export_package}, {"changes", changes}, {"show", show_all_of}};
    for (const auto &[name, run] : on_packages)
        if (command == name && words.size() <= 2)
            return run_on_packages(tool, run, first);
    if (command == "batch" && words.size() == 1)
        return batch(tool);
    return usage(tool);
}

} // namespace

int main(int argc, char **argv)
{
    Tool tool{.ctx = uci_alloc_context(), .name = argv[0]};
    for (int option; (option = getopt(argc, argv, "+c:C:t:P:p:qXsSnNmd:f:")) != -1;) {
        if (option == 'c')
            uci_set_confdir(tool.ctx, optarg);
        else if (option == 't' || option == 'P')
            uci_set_savedir(tool.ctx, optarg);
        else if (option == 'd')
            tool.delimiter = optarg;
        else if (option == 'q')
            tool.quiet = true;
        else if (option == 'X')
            tool.extended = false;
        else if (option == '?')
            return usage(tool);
    }
    if (optind >= argc)
        return usage(tool);
    const int status = run_words(tool, {argv + optind, argv + argc});
    uci_free_context(tool.ctx);
    return status;
}
