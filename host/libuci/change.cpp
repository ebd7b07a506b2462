#include <cstring>

#include "delta.h"

using namespace host_uci;

namespace {

uci_section *section_of(const uci_ptr &ptr)
{
    return ptr.s != nullptr ? ptr.s : find_section(*ptr.p, ptr.section);
}

uci_option *option_of(uci_section &section, const uci_ptr &ptr)
{
    return ptr.option == nullptr ? nullptr : uci_to_option(find_element(section.options, ptr.option));
}

// Loads the package if the caller has not looked it up.
int complete(uci_context *ctx, uci_ptr *ptr)
{
    if (ptr->p != nullptr)
        return UCI_OK;
    return uci_lookup_ptr(ctx, ptr, nullptr, false);
}

void look_up_again(uci_ptr &ptr)
{
    ptr.s = find_section(*ptr.p, ptr.section);
    ptr.o = ptr.s == nullptr ? nullptr : option_of(*ptr.s, ptr);
    ptr.last = ptr.o != nullptr ? &ptr.o->e : ptr.s != nullptr ? &ptr.s->e : nullptr;
}

bool is_unchanged(uci_section *section, const uci_option *option, const uci_ptr &ptr)
{
    if (ptr.option == nullptr)
        return section != nullptr && strcmp(section->type, ptr.value) == 0;
    return option != nullptr && option->type == UCI_TYPE_STRING && strcmp(option->v.string, ptr.value) == 0;
}

int set(uci_context *ctx, uci_ptr *ptr)
{
    if (const int result = complete(ctx, ptr); result != UCI_OK)
        return result;
    if (ptr->section == nullptr || ptr->value == nullptr)
        return UCI_ERR_INVAL;
    uci_section *section = section_of(*ptr);
    if (section == nullptr && ptr->option != nullptr)
        return UCI_ERR_INVAL;
    uci_option *option = section == nullptr ? nullptr : option_of(*section, *ptr);
    if (*ptr->value == '\0')
        return (ptr->option == nullptr ? section != nullptr : option != nullptr) ? uci_delete(ctx, ptr) : UCI_OK;
    if (is_unchanged(section, option, *ptr))
        return UCI_OK;
    const char *name = section == nullptr ? ptr->section : section->e.name;
    if (const int result = set_in_tree(*ptr->p, name, ptr->option, ptr->value); result != UCI_OK)
        return result;
    const bool recorded = record_change(*ptr->p, ChangeKind::set, name, ptr->option, ptr->value);
    look_up_again(*ptr);
    return recorded ? UCI_OK : UCI_ERR_MEM;
}

// What both list operations need: an option's name, a section that exists, and a value.
int find_list_section(uci_context *ctx, uci_ptr *ptr, uci_section *&section)
{
    if (const int result = complete(ctx, ptr); result != UCI_OK)
        return result;
    if (ptr->section == nullptr || ptr->option == nullptr || ptr->value == nullptr)
        return UCI_ERR_INVAL;
    section = section_of(*ptr);
    return section == nullptr ? UCI_ERR_INVAL : UCI_OK;
}

int change_list(uci_context *ctx, uci_ptr *ptr, ChangeKind kind)
{
    uci_section *section = nullptr;
    if (const int result = find_list_section(ctx, ptr, section); result != UCI_OK)
        return result;
    const uci_option *option = option_of(*section, *ptr);
    if (kind == ChangeKind::remove_from_list && (option == nullptr || option->type != UCI_TYPE_LIST))
        return UCI_OK;
    const int result = kind == ChangeKind::add_to_list ? add_to_list_in_tree(*section, ptr->option, ptr->value)
                                                       : remove_from_list_in_tree(*section, ptr->option, ptr->value);
    if (result != UCI_OK)
        return result;
    const bool recorded = record_change(*ptr->p, kind, section->e.name, ptr->option, ptr->value);
    look_up_again(*ptr);
    return recorded ? UCI_OK : UCI_ERR_MEM;
}

// "delete t.sec.l=0": the item at that position; a position that no item has deletes nothing.
int delete_item(uci_ptr *ptr, uci_option &option)
{
    char *end = nullptr;
    const long position = strtol(ptr->value, &end, 10);
    if (end == ptr->value || *end != '\0')
        return UCI_ERR_INVAL;
    if (!remove_item_in_tree(option, position))
        return UCI_OK;
    return record_change(*ptr->p, ChangeKind::remove, ptr->s->e.name, ptr->option, ptr->value) ? UCI_OK : UCI_ERR_MEM;
}

int remove(uci_context *ctx, uci_ptr *ptr)
{
    if (const int result = complete(ctx, ptr); result != UCI_OK)
        return result;
    if (ptr->section == nullptr)
        return UCI_ERR_INVAL;
    ptr->s = section_of(*ptr);
    if (ptr->s == nullptr)
        return UCI_ERR_NOTFOUND;
    ptr->o = option_of(*ptr->s, *ptr);
    if (ptr->option != nullptr && ptr->o == nullptr)
        return UCI_ERR_NOTFOUND;
    if (ptr->o != nullptr && ptr->value != nullptr && *ptr->value != '\0')
        return delete_item(ptr, *ptr->o);
    const bool recorded = record_change(*ptr->p, ChangeKind::remove, ptr->s->e.name, ptr->option, nullptr);
    const int result = remove_from_tree(*ptr->p, ptr->s->e.name, ptr->option);
    ptr->o = nullptr;
    if (ptr->option == nullptr) {
        ptr->s = nullptr;
        ptr->section = nullptr; // it may have been the section's own name
    }
    return recorded ? result : UCI_ERR_MEM;
}

} // namespace

int uci_set(uci_context *ctx, uci_ptr *ptr)
{
    return ctx->err = set(ctx, ptr);
}

int uci_add_list(uci_context *ctx, uci_ptr *ptr)
{
    return ctx->err = change_list(ctx, ptr, ChangeKind::add_to_list);
}

int uci_del_list(uci_context *ctx, uci_ptr *ptr)
{
    return ctx->err = change_list(ctx, ptr, ChangeKind::remove_from_list);
}

int uci_delete(uci_context *ctx, uci_ptr *ptr)
{
    return ctx->err = remove(ctx, ptr);
}

int uci_add_section(uci_context *ctx, uci_package *p, const char *type, uci_section **res)
{
    *res = nullptr;
    *res = new_section(*p, type, nullptr);
    const bool done = *res != nullptr && record_change(*p, ChangeKind::add_section, (*res)->e.name, nullptr, type);
    return ctx->err = done ? UCI_OK : UCI_ERR_MEM;
}
