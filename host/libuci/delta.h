#pragma once

// Changes to a package: those that a context has made and not saved, and those in the package's delta file.

#include <cstdio>

#include "tree.h"

namespace host_uci {

/// What a change does; its line in the delta file starts with this character.
enum class ChangeKind : char {
    set = '\0',
    add_section = '+',
    remove = '-',
    rename = '@',
    reorder = '^',
    add_to_list = '|',
    remove_from_list = '~',
};

/// Remembers a change until it is saved. @return false when memory ran out
bool record_change(uci_package &package, ChangeKind kind, const char *section, const char *option, const char *value);

void free_changes(uci_list &changes);

/// Writes the package's recorded changes as lines of a delta file.
void write_changes(FILE *file, const uci_package &package);

/// Applies the lines of a delta file to package; a line that cannot be parsed or applied is skipped.
/// @return how many could be applied
int apply_delta(uci_package &package, std::string_view text);

/// Prints the lines of a delta file that concern package, for people: "t.s.l+='x'" for an item that is added to a list.
void print_changes(FILE *file, const char *package, std::string_view text);

/// Writes the lines of a delta file but those that concern section (and option), null for any; an unreadable line
/// stays.
void write_delta_without(FILE *file, const char *package, std::string_view text, const char *section,
                         const char *option);

/// value in the form that it has between single quotes.
void write_escaped(FILE *file, const char *value);
/// value in single quotes.
void write_quoted(FILE *file, const char *value);

// Changes to the tree, without recording them. @return a code of uci.h

int set_in_tree(uci_package &package, const char *section, const char *option, const char *value);
int set_option_in_tree(uci_section &section, const char *option, const char *value);
int add_to_list_in_tree(uci_section &section, const char *option, const char *value);
int remove_from_list_in_tree(uci_section &section, const char *option, const char *value);
/// Removes the item at position of a list. @return whether there was one
bool remove_item_in_tree(uci_option &option, long position);
int remove_from_tree(uci_package &package, const char *section, const char *option);

} // namespace host_uci
