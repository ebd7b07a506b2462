#include "platform/shell_line.h"

#include "platform/interface_state.h"

std::string_view Piece::text() const
{
    return {source_.start, source_.size == Source::up_to_zero ? strlen(source_.start) : source_.size};
}

bool Piece::is_harmless() const
{
    static constexpr char others[][6] = {"", ".:", "-.", "_-.", "_-./:", "_-. "}; // in the order of Class
    const std::string_view checked = text();
    if (class_ == Class::as_it_came)
        return true;
    if (checked.empty())
        return class_ == Class::plain;
    if (class_ == Class::interface && checked.size() > longest_interface_name)
        return false;
    return checked.front() != '-' && !str_contains(checked, "/..") &&
           is_made_of(checked, others[static_cast<size_t>(class_)]);
}

void fill_shell_line(TextOut out, const char *pattern, const Piece *pieces, WhenTooLong when_too_long)
{
    out.clear();
    bool is_good = true;
    bool is_whole = true;
    for (const char *hole = strstr(pattern, "{}"); hole != nullptr; hole = strstr(pattern, "{}")) {
        is_good &= pieces->is_harmless();
        is_whole &= out.append({pattern, hole}) && out.append(pieces->text());
        pattern = hole + strlen("{}");
        pieces++;
    }
    is_whole &= out.append(pattern);
    if (!is_good || (!is_whole && when_too_long == WhenTooLong::empty))
        out.clear();
}
