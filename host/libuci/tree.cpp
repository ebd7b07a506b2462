#include "tree.h"

#include "delta.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace host_uci {

namespace {

// Every element begins with its links and its name; the rest is zero.
template <typename T> T *new_element(uci_type type, std::string_view name)
{
    Owned<char> name_copy = copy_text(name);
    auto *element = static_cast<T *>(calloc(1, sizeof(T)));
    if (name_copy == nullptr || element == nullptr) {
        free(element);
        return nullptr;
    }
    auto *base = reinterpret_cast<uci_element *>(element);
    list_init(base->list);
    base->type = type;
    base->name = name_copy.release();
    return element;
}

void free_element(uci_element &element)
{
    list_remove(element);
    free(element.name);
    free(&element);
}

template <typename FreeOne> void free_all(uci_list &list, FreeOne free_one)
{
    uci_element *element = nullptr;
    uci_element *next = nullptr;
    uci_foreach_element_safe(&list, next, element) free_one(*element);
}

void free_items(uci_option &option)
{
    if (option.type == UCI_TYPE_LIST)
        free_all(option.v.list, [](uci_element &item) { free_item(item); });
    else
        free(option.v.string);
}

// What is behind a section and a package of the header: sections that share a hash of their names are in one chain.
struct NamedSection {
    uci_section section;
    NamedSection *next;
};
struct IndexedPackage {
    uci_package package;
    NamedSection **chains; // null until the first section, or without memory for them
    size_t chain_count;    // a power of two
    size_t section_count;
};

NamedSection *&chain_of(const IndexedPackage &package, std::string_view name)
{
    uint32_t hash = 2166136261; // FNV-1a
    for (const char c : name)
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
    return package.chains[hash & (package.chain_count - 1)];
}

void link_section(const IndexedPackage &package, uci_element &section)
{
    auto &named = reinterpret_cast<NamedSection &>(section);
    NamedSection *&chain = chain_of(package, section.name);
    named.next = chain;
    chain = &named;
}

// Twice as many chains; where there is no memory for them, those that are there get longer.
bool grow(IndexedPackage &package)
{
    const size_t count = package.chain_count == 0 ? 64 : 2 * package.chain_count;
    auto **chains = static_cast<NamedSection **>(calloc(count, sizeof(NamedSection *)));
    if (chains == nullptr)
        return false;
    free(package.chains);
    package.chains = chains;
    package.chain_count = count;
    uci_element *section = nullptr;
    uci_foreach_element(&package.package.sections, section) link_section(package, *section);
    return true;
}

// The section is in the package's list already.
void add_to_index(uci_section &section)
{
    auto &package = reinterpret_cast<IndexedPackage &>(*section.package);
    package.section_count++;
    if (package.section_count > package.chain_count && grow(package))
        return;
    if (package.chains != nullptr)
        link_section(package, section.e);
}

void remove_from_index(const uci_section &section)
{
    auto &package = reinterpret_cast<IndexedPackage &>(*section.package);
    package.section_count--;
    if (package.chains == nullptr)
        return;
    for (NamedSection **link = &chain_of(package, section.e.name); *link != nullptr; link = &(*link)->next) {
        if (&(*link)->section == &section) {
            *link = (*link)->next;
            return;
        }
    }
}

unsigned hash_type(const char *type)
{
    unsigned hash = 5381;
    for (; *type != '\0'; type++)
        hash = hash * 33 + static_cast<unsigned>(static_cast<signed char>(*type));
    return hash & 0xffff;
}

bool is_letter_or_digit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

} // namespace

Owned<char> copy_text(std::string_view text)
{
    Owned<char> copy{static_cast<char *>(malloc(text.size() + 1))};
    if (copy != nullptr) {
        std::copy(text.begin(), text.end(), copy.get());
        copy.get()[text.size()] = '\0';
    }
    return copy;
}

bool replace_text(char *&text, std::string_view value)
{
    Owned<char> copy = copy_text(value);
    if (copy == nullptr)
        return false;
    free(text);
    text = copy.release();
    return true;
}

void list_init(uci_list &list)
{
    list.next = list.prev = &list;
}

void list_append(uci_list &list, uci_element &element)
{
    element.list.next = &list;
    element.list.prev = list.prev;
    list.prev->next = &element.list;
    list.prev = &element.list;
}

void list_remove(uci_element &element)
{
    element.list.prev->next = element.list.next;
    element.list.next->prev = element.list.prev;
    list_init(element.list);
}

uci_element *find_element(const uci_list &list, std::string_view name)
{
    uci_element *element = nullptr;
    uci_foreach_element(&list, element) if (name == element->name) return element;
    return nullptr;
}

uci_section *find_section(const uci_package &package, std::string_view name)
{
    const auto &indexed = reinterpret_cast<const IndexedPackage &>(package);
    if (indexed.chains == nullptr)
        return uci_to_section(find_element(package.sections, name));
    NamedSection *found = nullptr;
    for (NamedSection *named = chain_of(indexed, name); named != nullptr; named = named->next) {
        if (name != named->section.e.name)
            continue;
        // Renaming can give two the same name. Then the list knows which one comes first.
        if (found != nullptr)
            return uci_to_section(find_element(package.sections, name));
        found = named;
    }
    return found == nullptr ? nullptr : &found->section;
}

uci_package *new_package(uci_context &ctx, std::string_view name, std::string_view path)
{
    auto *indexed = new_element<IndexedPackage>(UCI_TYPE_PACKAGE, name);
    if (indexed == nullptr)
        return nullptr;
    uci_package *package = &indexed->package;
    package->ctx = &ctx;
    package->path = copy_text(path).release();
    list_init(package->sections);
    list_init(package->delta);
    list_init(package->saved_delta);
    return package;
}

uci_section *new_section(uci_package &package, const char *type, const char *name)
{
    char made_name[32];
    package.n_section++;
    snprintf(made_name, sizeof made_name, "cfg%02x%04x", static_cast<unsigned>(package.n_section), hash_type(type));
    auto *named = new_element<NamedSection>(UCI_TYPE_SECTION, name != nullptr ? name : made_name);
    if (named == nullptr)
        return nullptr;
    uci_section *section = &named->section;
    section->package = &package;
    section->anonymous = name == nullptr;
    section->type = copy_text(type).release();
    list_init(section->options);
    list_append(package.sections, section->e);
    add_to_index(*section);
    return section;
}

bool rename_section(uci_section &section, std::string_view name)
{
    remove_from_index(section);
    const bool is_renamed = replace_text(section.e.name, name);
    add_to_index(section);
    return is_renamed;
}

uci_option *new_option(uci_section &section, const char *name, const char *value)
{
    auto *option = new_element<uci_option>(UCI_TYPE_OPTION, name);
    if (option == nullptr)
        return nullptr;
    option->section = &section;
    option->type = UCI_TYPE_STRING;
    option->v.string = copy_text(value).release();
    list_append(section.options, option->e);
    return option;
}

uci_option *new_list(uci_section &section, const char *name)
{
    auto *option = new_element<uci_option>(UCI_TYPE_OPTION, name);
    if (option == nullptr)
        return nullptr;
    option->section = &section;
    option->type = UCI_TYPE_LIST;
    list_init(option->v.list);
    list_append(section.options, option->e);
    return option;
}

bool add_item(uci_option &list, const char *value)
{
    auto *item = new_element<uci_element>(UCI_TYPE_ITEM, value);
    if (item == nullptr)
        return false;
    list_append(list.v.list, *item);
    return true;
}

bool make_list(uci_option &option)
{
    if (option.type == UCI_TYPE_LIST)
        return true;
    Owned<char> value{option.v.string};
    option.type = UCI_TYPE_LIST;
    list_init(option.v.list);
    return add_item(option, value.get());
}

bool set_value(uci_option &option, const char *value)
{
    Owned<char> copy = copy_text(value);
    if (copy == nullptr)
        return false;
    free_items(option);
    option.type = UCI_TYPE_STRING;
    option.v.string = copy.release();
    return true;
}

void free_item(uci_element &item)
{
    free_element(item);
}

void free_option(uci_option &option)
{
    free_items(option);
    free_element(option.e);
}

void free_section(uci_section &section)
{
    free_all(section.options, [](uci_element &option) { free_option(*uci_to_option(&option)); });
    remove_from_index(section);
    free(section.type);
    free_element(section.e);
}

void free_package(uci_package &package)
{
    free_all(package.sections, [](uci_element &section) { free_section(*uci_to_section(&section)); });
    free_changes(package.delta);
    free_changes(package.saved_delta);
    free(reinterpret_cast<IndexedPackage &>(package).chains);
    free(package.path);
    free_element(package.e);
}

bool is_name(std::string_view text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return is_letter_or_digit(c) || c == '_'; });
}

bool is_package_name(std::string_view text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return is_letter_or_digit(c) || c == '_' || c == '-'; });
}

bool is_type(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

bool is_value(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= ' ' || c == '\t' || c == '\n' || c == '\r';
    });
}

} // namespace host_uci
