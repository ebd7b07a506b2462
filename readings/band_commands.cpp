#include "readings/band_commands.h"

#include "readings/fields.h"

namespace {

// Appends each band of set, counted from base on, with before in front.
void append_bands(const BandSet &set, const char *before, int base, TextOut out)
{
    for (int band = 1; band <= highest_band; band++)
        if (set.has(band))
            out.append(Text<16>::format("%s%d", before, base + band).view());
}

// The bands from first to last as a hexadecimal mask.
void append_mask(const BandSet &set, int first, int last, int least_digits, TextOut out)
{
    bool has_begun = false;
    for (int top = last; top > first; top -= 4) {
        int digit = 0;
        for (int bit = 0; bit < 4; bit++)
            digit = digit * 2 + (set.has(top - bit) ? 1 : 0);
        has_begun = has_begun || digit != 0 || top - first < least_digits * 4;
        if (has_begun)
            out.append({&"0123456789ABCDEF"[digit], 1});
    }
}

constexpr int masked_bands = 256;

struct ListMark {
    char mark;
    char mark_of_others;
    BandSet BandSettings::*set;
};
constexpr ListMark list_marks[] = {
    {'L', 'l', &BandSettings::lte}, {'N', 'n', &BandSettings::nr}, {'A', 'a', &BandSettings::nr_nsa}};

// @return false if it is an empty list
bool append_list(char mark, const BandSettings &settings, const BandSettings &has, TextOut out)
{
    for (const ListMark &row : list_marks) {
        const BandSet &wanted = settings.*row.set;
        if (!wanted.told || (mark != row.mark && mark != row.mark_of_others))
            continue;
        Text<600> list;
        append_bands(mark == row.mark ? wanted : without(has.*row.set, wanted), ":", 0, list);
        out.append(without_first(list.view(), 1));
        return !list.empty();
    }
    return false;
}

// What stands for a mark. @return false if its line is left out
bool append_mark(char mark, const BandSettings &settings, const BandSettings &has, TextOut out)
{
    std::string_view others = settings.rest.view();
    const std::string_view first = take_until(others, ",");
    switch (mark) {
    case 'r':
        out.append(settings.rest.view());
        return true;
    case '1':
        out.append(first);
        return true;
    case '2':
        out.append(without_first(settings.rest.view(), first.size()));
        return true;
    case 't':
        out.append(others.empty() ? "" : ",0,1");
        return true;
    case 'm':
    case 'M':
        append_mask(settings.lte, 1, masked_bands, mark == 'm' ? 1 : 16, out);
        return true;
    case 'p':
        for (const BandSet *set : {&settings.lte, &settings.nr_nsa, &settings.nr})
            for (int start = 1; set->told && start <= 65; start += 64) {
                out.append(",");
                append_mask(*set, start, start + 63, 1, out);
            }
        return true;
    case 'c':
        append_bands(settings.lte, ",", 100, out);
        append_bands(settings.nr, ",50", 0, out);
        return true;
    default:
        return append_list(mark, settings, has, out);
    }
}

} // namespace

CommandLines compose_bands(const char *pattern, const BandSettings &settings, const BandSettings &has)
{
    CommandLines lines;
    for (std::string_view rest = pattern; !rest.empty();) {
        std::string_view left = take_until(rest, "\n");
        Text<700> line;
        bool is_whole = true;
        while (!left.empty()) {
            line.append(take_until(left, "%"));
            if (!left.empty())
                is_whole = append_mark(left.front(), settings, has, line) && is_whole;
            left = without_first(left, 1);
        }
        if (is_whole) {
            lines.append(line.view());
            lines.append("\n");
        }
    }
    return lines;
}
