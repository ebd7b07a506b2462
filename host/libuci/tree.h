#pragma once

// The tree that a context holds: packages, sections, options, items. Everything is from the heap; a null result means
// that memory ran out.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <uci.h>

namespace host_uci {

struct Free {
    void operator()(void *memory) const { free(memory); }
};
template <typename T> using Owned = std::unique_ptr<T, Free>;

Owned<char> copy_text(std::string_view text);
/// Replaces what text holds. @return false when memory ran out, text is then as it was
bool replace_text(char *&text, std::string_view value);

void list_init(uci_list &list);
void list_append(uci_list &list, uci_element &element);
void list_remove(uci_element &element);
inline bool list_is_empty(const uci_list &list)
{
    return list.next == &list;
}

uci_element *find_element(const uci_list &list, std::string_view name);
/// The first section of that name. It takes as long in a package of 30,000 sections as in a small one.
uci_section *find_section(const uci_package &package, std::string_view name);

uci_package *new_package(uci_context &ctx, std::string_view name, std::string_view path);
/// Without a name the section is anonymous and gets one made of its number and type.
uci_section *new_section(uci_package &package, const char *type, const char *name);
uci_option *new_option(uci_section &section, const char *name, const char *value);
uci_option *new_list(uci_section &section, const char *name);
bool add_item(uci_option &list, const char *value);
/// A single value becomes a list that holds it.
bool make_list(uci_option &option);
bool set_value(uci_option &option, const char *value);

/// @return false when memory ran out, the section then keeps its name
bool rename_section(uci_section &section, std::string_view name);

void free_package(uci_package &package);
void free_section(uci_section &section);
void free_option(uci_option &option);
void free_item(uci_element &item);

/// Letters, digits and '_': sections and options.
bool is_name(std::string_view text);
/// The same and '-': packages.
bool is_package_name(std::string_view text);
/// Anything visible: section types.
bool is_type(std::string_view text);
/// Anything but control characters other than tab, line feed and carriage return: values.
bool is_value(std::string_view text);

} // namespace host_uci
