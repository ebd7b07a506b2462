#pragma once

#include <memory>

#include "platform/text.h"

// UCI by libuci's own rules: an option is set only in a section that exists (setting a section's type brings it into
// being), an empty or null value deletes the option, a missing option reads as an empty text. A package without a file
// gets an empty one (mode 0600) before the first write, so that no setting is lost on a router that does not ship it.
// Names and paths are "package.section.option"; a section may be "@type[0]".
//
// Writes stay in the context until they are committed. From the first write to the commit the context holds the
// package's writer lock ("/var/lock/modemctl.<package>.lock"), so that two calls of the program that change one package
// at the same time both keep their changes. If the lock is not free after 5 s, or cannot be made, the context goes on
// without it. The first write also reads the package again, so it builds on what other programs have committed since; a
// package that is still as this context has committed it is not read twice. A context can hold max_written_packages
// between first write and commit, and refuses the next one.
//
// A commit writes the new file next to the old one, and replaces the old one when the new one is whole on the flash. If
// there is no room, if the file size limit is too small or if a write fails, the commit fails: the old file stays as it
// is, and the writes stay in the context for a later commit.

inline constexpr int max_written_packages = 8;

struct UciContext;
struct UciFree {
    void operator()(UciContext *context) const;
};
/// A context. Every function accepts a null context and fails.
struct Uci : std::unique_ptr<UciContext, UciFree> {
    using unique_ptr::unique_ptr;

    /// The text at path as kuci2_get reads it; empty when it is missing.
    template <size_t N> Text<N> text(const char *path) const;
    /// True if the option at path is "1".
    bool is_on(const char *path) const { return text<8>(path) == "1"; }
};

// The functions that the program uses.

Uci kuci2_init();
void kuci2_free(Uci context);
/// out is empty if the option is missing; a list reads as its items with a space between them. A path of a section only
/// reads its type.
/// @return 0; -1 when missing
int kuci2_get(const Uci &context, const char *path, TextOut out);
/// The same by parts; a null option reads the section's type.
int kuci2_get_name(const Uci &context, const char *package, const char *section, const char *option, TextOut out);
template <size_t N> Text<N> Uci::text(const char *path) const
{
    Text<N> value;
    kuci2_get(*this, path, value);
    return value;
}
/// Item index (from 0) of a list option; a single value is a list of one. @return 0; -1 when missing, out is then empty
int kuci2_get_list_index(const Uci &context, const char *path, int index, TextOut out);
/// Takes the package's writer lock and reads the package, as its first write would: what is read from now on is what
/// the writes change, and the package is read once.
void kuci2_begin(const Uci &context, const char *package);
/// @return 0; -1 if libuci refuses, or if value has a control character that its files cannot hold
int kuci2_set(const Uci &context, const char *path, const char *value);
/// A null option sets the section's type, which creates the section.
int kuci2_set_name(const Uci &context, const char *package, const char *section, const char *option, const char *value);
int kuci2_add_list(const Uci &context, const char *path, const char *value);
/// Deletes an option or a section. @return 0; -1 when it is not there
int kuci2_delete(const Uci &context, const char *path);
/// Writes the context's changes to package, and the saved changes of all programs, into the file. Readers see the old
/// file or the new file, never a part. @return 0; -1 if the file cannot be written, it is then unchanged
int kuci2_commit(const Uci &context, const char *package);

// The same functions under the names of the router maker's library for writers of one configuration. Code that was
// written for that library builds with them; this program uses the functions above.

inline Uci kuci_init()
{
    return kuci2_init();
}
inline int kuci_set(const Uci &context, const char *path, const char *value)
{
    return kuci2_set(context, path, value);
}
inline int kuci_set_name(const Uci &context, const char *package, const char *section, const char *option,
                         const char *value)
{
    return kuci2_set_name(context, package, section, option, value);
}
inline int kuci_delete(const Uci &context, const char *path)
{
    return kuci2_delete(context, path);
}
inline int kuci_commit(const Uci &context, const char *package)
{
    return kuci2_commit(context, package);
}
inline void kuci_free(Uci context)
{
    kuci2_free(static_cast<Uci &&>(context));
}
