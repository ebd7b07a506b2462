#pragma once

/* The part of libuci that configuration programs use: the same names, results and file formats as on OpenWrt. */

#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define UCI_CONFDIR "/etc/config"
#define UCI_SAVEDIR "/tmp/.uci"

enum {
    UCI_OK = 0,
    UCI_ERR_MEM,
    UCI_ERR_INVAL,
    UCI_ERR_NOTFOUND,
    UCI_ERR_IO,
    UCI_ERR_PARSE,
    UCI_ERR_DUPLICATE,
    UCI_ERR_UNKNOWN,
    UCI_ERR_LAST
};

struct uci_list {
    struct uci_list *next;
    struct uci_list *prev;
};

enum uci_type {
    UCI_TYPE_UNSPEC = 0,
    UCI_TYPE_DELTA = 1,
    UCI_TYPE_PACKAGE = 2,
    UCI_TYPE_SECTION = 3,
    UCI_TYPE_OPTION = 4,
    UCI_TYPE_ITEM = 7,
};

enum uci_option_type { UCI_TYPE_STRING = 0, UCI_TYPE_LIST = 1 };

/** Any named thing; the first member of every kind of element. */
struct uci_element {
    struct uci_list list;
    enum uci_type type;
    char *name;
};

struct uci_context {
    struct uci_list root; /**< loaded packages */
    char *confdir;
    char *savedir;
    int err;            /**< result of the last call */
    const char *reason; /**< why the last text could not be parsed, null for no reason */
    int line;           /**< where, from 1 */
    int byte;           /**< in that line, from 0 */
};

struct uci_package {
    struct uci_element e;
    struct uci_list sections;
    struct uci_context *ctx;
    char *path;
    int n_section;
    struct uci_list delta;       /**< changes that are not saved yet */
    struct uci_list saved_delta; /**< changes that are in a file */
};

struct uci_section {
    struct uci_element e;
    struct uci_list options;
    struct uci_package *package;
    bool anonymous;
    char *type;
};

struct uci_option {
    struct uci_element e;
    struct uci_section *section;
    enum uci_option_type type;
    union {
        struct uci_list list; /**< elements of UCI_TYPE_ITEM */
        char *string;
    } v;
};

/** What a path names: "package.section.option=value". */
struct uci_ptr {
    enum uci_type target;
    enum {
        UCI_LOOKUP_DONE = (1 << 0),
        UCI_LOOKUP_COMPLETE = (1 << 1),
        UCI_LOOKUP_EXTENDED = (1 << 2),
    } flags;
    struct uci_package *p;
    struct uci_section *s;
    struct uci_option *o;
    struct uci_element *last;
    const char *package;
    const char *section;
    const char *option;
    const char *value;
};

struct uci_context *uci_alloc_context(void);
void uci_free_context(struct uci_context *ctx);
int uci_set_confdir(struct uci_context *ctx, const char *dir);
int uci_set_savedir(struct uci_context *ctx, const char *dir);

/** Reads a package and everybody's saved changes to it. UCI_ERR_DUPLICATE when it is loaded already. */
int uci_load(struct uci_context *ctx, const char *name, struct uci_package **package);
int uci_unload(struct uci_context *ctx, struct uci_package *p);

/** Finds what str (or, where it is null, what ptr already names) points at, loading its package. A missing section or
 * option is no error: UCI_LOOKUP_COMPLETE is then off. str is cut to pieces, and ptr points into it. */
int uci_lookup_ptr(struct uci_context *ctx, struct uci_ptr *ptr, char *str, bool extended);

int uci_set(struct uci_context *ctx, struct uci_ptr *ptr);
int uci_add_list(struct uci_context *ctx, struct uci_ptr *ptr);
int uci_del_list(struct uci_context *ctx, struct uci_ptr *ptr);
int uci_delete(struct uci_context *ctx, struct uci_ptr *ptr);
int uci_add_section(struct uci_context *ctx, struct uci_package *p, const char *type, struct uci_section **res);

/** Appends the changes to the package's delta file. */
int uci_save(struct uci_context *ctx, struct uci_package *p);
/** Makes the changes, and everybody's saved ones, the package's file. *p is read again. */
int uci_commit(struct uci_context *ctx, struct uci_package **p, bool overwrite);
/** Writes a package as its file has it, after a line with its name where header is set. Who calls has to ask the stream
 * for errors. */
int uci_export(struct uci_context *ctx, FILE *stream, struct uci_package *package, bool header);
/** Drops the saved changes of what ptr names. */
int uci_revert(struct uci_context *ctx, struct uci_ptr *ptr);

void uci_perror(struct uci_context *ctx, const char *str);
void uci_get_errorstr(struct uci_context *ctx, char **dest, const char *str);

#define uci_list_to_element(ptr) ((struct uci_element *)(void *)(ptr))
#define uci_to_package(ptr) ((struct uci_package *)(void *)(ptr))
#define uci_to_section(ptr) ((struct uci_section *)(void *)(ptr))
#define uci_to_option(ptr) ((struct uci_option *)(void *)(ptr))

#define uci_foreach_element(_list, _ptr)                                                                               \
    for (_ptr = uci_list_to_element((_list)->next); &_ptr->list != (_list); _ptr = uci_list_to_element(_ptr->list.next))

#define uci_foreach_element_safe(_list, _tmp, _ptr)                                                                    \
    for (_ptr = uci_list_to_element((_list)->next), _tmp = uci_list_to_element(_ptr->list.next);                       \
         &_ptr->list != (_list); _ptr = _tmp, _tmp = uci_list_to_element(_ptr->list.next))

#ifdef __cplusplus
}
#endif
