#include <cstdio>
#include <cstring>

#include "tree.h"

using namespace host_uci;

namespace {

constexpr const char *error_texts[] = {
    "Success",   "Out of memory", "Invalid argument", "Entry not found",
    "I/O error", "Parse error",   "Duplicate entry",  "Unknown error",
};

} // namespace

uci_context *uci_alloc_context()
{
    auto *ctx = static_cast<uci_context *>(calloc(1, sizeof(uci_context)));
    if (ctx == nullptr)
        return nullptr;
    list_init(ctx->root);
    ctx->confdir = copy_text(UCI_CONFDIR).release();
    ctx->savedir = copy_text(UCI_SAVEDIR).release();
    return ctx;
}

void uci_free_context(uci_context *ctx)
{
    if (ctx == nullptr)
        return;
    while (!list_is_empty(ctx->root))
        free_package(*uci_to_package(ctx->root.next));
    free(ctx->confdir);
    free(ctx->savedir);
    free(ctx);
}

int uci_set_confdir(uci_context *ctx, const char *dir)
{
    return ctx->err = replace_text(ctx->confdir, dir) ? UCI_OK : UCI_ERR_MEM;
}

int uci_set_savedir(uci_context *ctx, const char *dir)
{
    return ctx->err = replace_text(ctx->savedir, dir) ? UCI_OK : UCI_ERR_MEM;
}

void uci_get_errorstr(uci_context *ctx, char **dest, const char *prefix)
{
    const int error = ctx == nullptr || ctx->err < 0 || ctx->err >= UCI_ERR_LAST ? UCI_ERR_UNKNOWN : ctx->err;
    char where[256] = "";
    if (error == UCI_ERR_PARSE && ctx->reason != nullptr)
        snprintf(where, sizeof where, " (%s) at line %d, byte %d", ctx->reason, ctx->line, ctx->byte);
    const char *colon = prefix == nullptr ? "" : ": ";
    const char *name = prefix == nullptr ? "" : prefix;
    if (dest == nullptr)
        fprintf(stderr, "%s%s%s%s\n", name, colon, error_texts[error], where);
    else if (asprintf(dest, "%s%s%s%s", name, colon, error_texts[error], where) < 0)
        *dest = nullptr;
}

void uci_perror(uci_context *ctx, const char *prefix)
{
    uci_get_errorstr(ctx, nullptr, prefix);
}
