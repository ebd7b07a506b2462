#include <cstring>

#include "tree.h"

using namespace host_uci;

namespace {

char *cut_at(char *text, char separator)
{
    char *found = strchr(text, separator);
    if (found == nullptr)
        return nullptr;
    *found = '\0';
    return found + 1;
}

void set_flag(uci_ptr &ptr, int flag)
{
    ptr.flags = static_cast<decltype(ptr.flags)>(ptr.flags | flag);
}

int parse(uci_ptr *ptr, char *str, bool extended)
{
    *ptr = {};
    if (!is_value(str))
        return UCI_ERR_PARSE;
    ptr->value = cut_at(str, '=');
    ptr->package = str;
    char *section = cut_at(str, '.');
    char *option = section == nullptr ? nullptr : cut_at(section, '.');
    ptr->section = section;
    ptr->option = option;
    if (!is_package_name(str) || (option != nullptr && !is_name(option)))
        return UCI_ERR_PARSE;
    ptr->target = option != nullptr ? UCI_TYPE_OPTION : section != nullptr ? UCI_TYPE_SECTION : UCI_TYPE_PACKAGE;
    if (section != nullptr && *section == '@' && extended)
        set_flag(*ptr, uci_ptr::UCI_LOOKUP_EXTENDED);
    return UCI_OK;
}

// "@type[index]"; a negative index counts from the end, no type means any.
struct Place {
    std::string_view type;
    long index;
};

bool parse_place(const char *text, Place &place)
{
    const char *bracket = strchr(text, '[');
    if (bracket == nullptr)
        return false;
    char *end = nullptr;
    place.type = {text + 1, static_cast<size_t>(bracket - text - 1)};
    place.index = strtol(bracket + 1, &end, 10);
    return end != bracket + 1 && strcmp(end, "]") == 0;
}

uci_section *find_at(const uci_package &package, Place place)
{
    const auto is_counted = [&place](uci_element *section) {
        return place.type.empty() || place.type == uci_to_section(section)->type;
    };
    uci_element *element = nullptr;
    if (place.index < 0) {
        uci_foreach_element(&package.sections, element) place.index += is_counted(element) ? 1 : 0;
        if (place.index < 0)
            return nullptr;
    }
    uci_foreach_element(&package.sections, element)
    {
        if (is_counted(element) && place.index-- == 0)
            return uci_to_section(element);
    }
    return nullptr;
}

int look_up(uci_context *ctx, uci_ptr *ptr)
{
    set_flag(*ptr, uci_ptr::UCI_LOOKUP_DONE);
    ptr->p = uci_to_package(find_element(ctx->root, ptr->package));
    if (ptr->p == nullptr && uci_load(ctx, ptr->package, &ptr->p) != UCI_OK)
        return ctx->err;
    ptr->last = &ptr->p->e;
    if (ptr->section != nullptr) {
        // A name that cannot be one is wrong only in a package that exists.
        const bool extended = (ptr->flags & uci_ptr::UCI_LOOKUP_EXTENDED) != 0 && *ptr->section == '@';
        Place place{};
        if (extended ? !parse_place(ptr->section, place) : !is_name(ptr->section))
            return UCI_ERR_INVAL;
        ptr->s = extended ? find_at(*ptr->p, place) : find_section(*ptr->p, ptr->section);
        if (ptr->s == nullptr)
            return UCI_OK;
        ptr->section = ptr->s->e.name;
        ptr->last = &ptr->s->e;
    }
    if (ptr->option != nullptr) {
        ptr->o = uci_to_option(find_element(ptr->s->options, ptr->option));
        if (ptr->o == nullptr)
            return UCI_OK;
        ptr->last = &ptr->o->e;
    }
    set_flag(*ptr, uci_ptr::UCI_LOOKUP_COMPLETE);
    return UCI_OK;
}

} // namespace

int uci_lookup_ptr(uci_context *ctx, uci_ptr *ptr, char *str, bool extended)
{
    ctx->reason = nullptr;
    if (str != nullptr) {
        if (const int result = parse(ptr, str, extended); result != UCI_OK)
            return ctx->err = result;
    } else if (ptr->package == nullptr) {
        return ctx->err = UCI_ERR_INVAL;
    }
    return ctx->err = look_up(ctx, ptr);
}
