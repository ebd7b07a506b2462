#include <algorithm>
#include <utility>

#include "simulator/modem/profile_parser.h"
#include "simulator/modem/profile_words.h"
#include "simulator/modem/reply_text.h"

// What a modem prints unasked: the "urc" lines of a profile's header and of its rows.

namespace simulator {

UnsolicitedLine ProfileParser::read_row_urc(std::string_view fields)
{
    UnsolicitedLine line{};
    if (!next_step_.each.empty())
        fail("a urc cannot follow '@ each'");
    line.conditions = std::exchange(next_step_.conditions, {});
    const std::string_view where = take_word(fields);
    if (where == "before") {
        line.when = UnsolicitedLine::When::before;
    } else if (where == "inside") {
        line.when = UnsolicitedLine::When::inside;
        line.position = static_cast<int>(take_number(fields, 100'000, "line number"));
    } else if (where == "after") {
        line.when = UnsolicitedLine::When::after;
        line.at_ms = take_number(fields, longest_time_ms, "time");
    } else {
        fail("a row's urc comes before, inside or after its reply, not '" + std::string(where) + "'");
    }
    finish_urc(line, fields);
    return line;
}

UnsolicitedLine ProfileParser::read_header_urc(std::string_view fields)
{
    UnsolicitedLine line{};
    const std::string_view when = take_word(fields);
    if (when == "at" || when == "boot") {
        line.when = when == "at" ? UnsolicitedLine::When::at : UnsolicitedLine::When::boot;
        line.at_ms = take_number(fields, longest_time_ms, "time");
    } else if (when == "every") {
        line.when = UnsolicitedLine::When::every;
        line.at_ms = take_number(fields, longest_time_ms, "time");
    } else if (when == "random") {
        line.when = UnsolicitedLine::When::random;
        std::string_view range = take_word(fields);
        const size_t dash = std::min(range.find('-'), range.size());
        std::string_view first = range.substr(0, dash);
        std::string_view last = range.substr(std::min(dash + 1, range.size()));
        line.at_ms = take_number(first, longest_time_ms, "time");
        line.until_ms = take_number(last, longest_time_ms, "time");
    } else {
        fail("a urc comes at, boot, every or random, not '" + std::string(when) + "'");
    }
    const bool repeats = line.when == UnsolicitedLine::When::every || line.when == UnsolicitedLine::When::random;
    if (repeats && line.at_ms == 0)
        fail("a urc that repeats needs a time above 0");
    if (line.when == UnsolicitedLine::When::random && line.until_ms < line.at_ms)
        fail("a random urc wants a range like 100-900");
    finish_urc(line, fields);
    return line;
}

void ProfileParser::finish_urc(UnsolicitedLine &line, std::string_view fields)
{
    if (fields.starts_with("on ")) {
        take_word(fields);
        line.interface = static_cast<int>(take_number(fields, highest_interface, "interface number"));
    }
    if (fields.empty())
        fail("a urc without a text");
    names_in(fields);
    line.text = fields;
}

} // namespace simulator
