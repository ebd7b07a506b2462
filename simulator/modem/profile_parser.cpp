#include "simulator/modem/profile_parser.h"

#include <algorithm>
#include <utility>

#include "simulator/modem/profile_words.h"
#include "simulator/modem/reply_text.h"

namespace simulator {

namespace {

constexpr int deepest_include = 8;
constexpr size_t longest_line = 4096;

std::optional<Interface::Network> find_network(std::string_view word)
{
    constexpr std::pair<std::string_view, Interface::Network> words[] = {{"ecm", Interface::Network::ecm},
                                                                         {"ncm", Interface::Network::ncm},
                                                                         {"mbim", Interface::Network::mbim},
                                                                         {"qmi", Interface::Network::qmi}};
    for (const auto &[name, network] : words)
        if (name == word)
            return network;
    return std::nullopt;
}

bool is_line(const Step &step)
{
    return step.variable.empty();
}

bool is_empty_line(const Step &step)
{
    return is_line(step) && step.text.empty() && step.cme_error < 0;
}

bool same_place(const Row &a, const Row &b)
{
    return a.command.text() == b.command.text() && a.conditions == b.conditions;
}

} // namespace

ProfileParser::ProfileParser(std::string file, const IncludeReader &read_include, int depth)
    : file_(std::move(file)), read_include_(read_include), depth_(depth)
{
}

void ProfileParser::fail(const std::string &reason) const
{
    throw ProfileError(file_ + ":" + std::to_string(line_) + ": " + reason);
}

Profile ProfileParser::parse(std::string_view text)
{
    profile_.name = file_.ends_with(".modem") ? file_.substr(0, file_.size() - 6) : file_;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        line_++;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (line.size() > longest_line)
            fail("a line of more than " + std::to_string(longest_line) + " characters");
        try {
            read_line(line);
        } catch (const std::invalid_argument &error) {
            fail(error.what());
        }
    }
    end_row();
    merge_includes();
    return std::move(profile_);
}

void ProfileParser::read_line(std::string_view line)
{
    if (line == "#" || line.starts_with("# "))
        return;
    if (line.starts_with("> "))
        begin_row(without_trailing_blanks(line.substr(2)));
    else if (in_row_ && line.starts_with("@ "))
        directive(line.substr(2));
    else if (in_row_)
        reply_line(line);
    else if (!line.empty())
        header(line);
}

void ProfileParser::header(std::string_view line)
{
    const std::string_view keyword = take_word(line);
    line = without_trailing_blanks(line);
    if (keyword == "include")
        read_include(line);
    else if (keyword == "model")
        profile_.model = line;
    else if (keyword == "about")
        profile_.about = line;
    else if (keyword == "usb")
        read_usb(line);
    else if (keyword == "interface")
        read_interface(line);
    else if (keyword == "var" || keyword == "stored")
        read_variable(line, keyword == "stored");
    else if (keyword == "urc")
        profile_.unsolicited.push_back(read_header_urc(line));
    else if (keyword == "fault")
        profile_.faults.push_back(parse_fault(line));
    else
        fail("unknown keyword '" + std::string(keyword) + "'");
}

void ProfileParser::read_include(std::string_view name)
{
    if (depth_ >= deepest_include)
        fail("includes go deeper than " + std::to_string(deepest_include) + " files");
    const std::string file = std::string(name) + (name.ends_with(".modem") ? "" : ".modem");
    std::string text;
    try {
        text = read_include_(file);
    } catch (const std::exception &error) {
        fail("cannot include '" + file + "': " + error.what());
    }
    included_.push_back(ProfileParser(file, read_include_, depth_ + 1).parse(text));
}

void ProfileParser::read_usb(std::string_view ids)
{
    const auto vendor = to_number<uint16_t>(ids.substr(0, 4), 16);
    const auto product = ids.size() == 9 && ids[4] == ':' ? to_number<uint16_t>(ids.substr(5), 16) : std::nullopt;
    if (!vendor || !product)
        fail("usb wants ids like 2c7c:0125");
    profile_.vendor_id = *vendor;
    profile_.product_id = *product;
}

void ProfileParser::read_interface(std::string_view fields)
{
    Interface interface;
    interface.number = static_cast<int>(take_number(fields, highest_interface, "interface number"));
    const std::string_view kind = take_word(fields);
    if (kind == "ttyUSB")
        interface.kind = Interface::Kind::ttyUSB;
    else if (kind == "ttyACM")
        interface.kind = Interface::Kind::ttyACM;
    else if (kind == "cdc-wdm")
        interface.kind = Interface::Kind::cdc_wdm;
    else if (kind != "none")
        fail("an interface is ttyUSB, ttyACM, cdc-wdm or none, not '" + std::string(kind) + "'");
    const bool tty = interface.kind == Interface::Kind::ttyUSB || interface.kind == Interface::Kind::ttyACM;
    while (!fields.empty()) {
        const std::string_view word = take_word(fields);
        if (word == "netdev" && !fields.empty())
            interface.netdev = take_word(fields);
        else if (tty && word == "at")
            interface.role = Interface::Role::at;
        else if (tty && word == "talks")
            interface.role = Interface::Role::talks;
        else if (const auto network = find_network(word))
            interface.network = *network;
        else if (word != "silent")
            fail("unknown word '" + std::string(word) + "' of an interface");
    }
    if (profile_.interface(interface.number) != nullptr)
        fail("interface " + std::to_string(interface.number) + " is there twice");
    profile_.interfaces.push_back(interface);
}

void ProfileParser::read_variable(std::string_view fields, bool stored)
{
    Variable variable{.name = std::string(take_word(fields)), .initial = {}, .allowed = {}, .stored = stored};
    if (!is_variable_name(variable.name))
        fail("bad variable name '" + variable.name + "'");
    if (fields.find('|') != std::string_view::npos)
        variable.allowed = split(fields, '|');
    variable.initial = variable.allowed.empty() ? std::string(fields) : variable.allowed.front();
    for (const Variable &other : profile_.variables)
        if (other.name == variable.name)
            fail("variable '" + variable.name + "' is there twice");
    profile_.variables.push_back(std::move(variable));
}

void ProfileParser::begin_row(std::string_view command)
{
    end_row();
    if (command.empty())
        fail("a row without a command");
    in_row_ = true;
    Row row;
    row.command = Pattern(command);
    row.file = file_;
    row.line = line_;
    profile_.rows.push_back(std::move(row));
}

void ProfileParser::directive(std::string_view line)
{
    Row &row = profile_.rows.back();
    const std::string_view keyword = take_word(line);
    if (keyword == "when" || keyword == "unless") {
        row.conditions.push_back(read_condition(line, keyword == "unless"));
    } else if (keyword == "if" || keyword == "ifnot") {
        next_step_.conditions.push_back(read_condition(line, keyword == "ifnot"));
    } else if (keyword == "set" || keyword == "add") {
        assign(line, keyword == "add");
    } else if (keyword == "delay") {
        row.delay_ms = take_number(line, longest_time_ms, "delay");
    } else if (keyword == "urc") {
        row.unsolicited.push_back(read_row_urc(line));
    } else if (keyword == "prompt") {
        read_prompt(line);
    } else if (keyword == "detach") {
        read_detach(line);
    } else if (keyword == "call") {
        read_call(line);
    } else if (keyword == "data") {
        read_data(line);
    } else if (keyword == "each") {
        read_each(line);
    } else if (keyword == "cme") {
        next_step_.cme_error = static_cast<int>(take_number(line, 9999, "error code"));
        add_step(line);
    } else {
        fail("unknown directive '" + std::string(keyword) + "'");
    }
}

void ProfileParser::add_step(std::string_view text)
{
    names_in(text);
    next_step_.text = text;
    profile_.rows.back().steps.push_back(std::move(next_step_));
    next_step_ = {};
}

void ProfileParser::reply_line(std::string_view text)
{
    const Row &row = profile_.rows.back();
    // A pasted capture begins with the echo of the command; the modem's own echo takes its place.
    if (text == row.command.text() && std::none_of(row.steps.begin(), row.steps.end(), is_line))
        return;
    add_step(text);
}

void ProfileParser::assign(std::string_view fields, bool add)
{
    next_step_.variable = take_word(fields);
    next_step_.add = add;
    if (next_step_.variable.empty())
        fail(std::string(add ? "add" : "set") + " wants a variable and a value");
    names_in(next_step_.variable);
    add_step(fields);
}

void ProfileParser::read_prompt(std::string_view name)
{
    if (!is_variable_name(name))
        fail("prompt wants a name for what the host writes");
    profile_.rows.back().prompt = name;
}

void ProfileParser::end_row()
{
    if (next_step_ != Step{})
        fail("'@ if' or '@ each' without a line behind it");
    if (!in_row_)
        return;
    in_row_ = false;
    // Empty lines at the end only part this row from the next one.
    std::vector<Step> &steps = profile_.rows.back().steps;
    const auto last_line = std::find_if(steps.rbegin(), steps.rend(),
                                        [](const Step &step) { return is_line(step) && !is_empty_line(step); });
    steps.erase(std::remove_if(last_line.base(), steps.end(), is_empty_line), steps.end());
    for (size_t i = 0; i + 1 < profile_.rows.size(); i++)
        if (same_place(profile_.rows[i], profile_.rows.back()))
            repeated(profile_.rows[i], profile_.rows.back());
}

void ProfileParser::repeated(const Row &first, const Row &second)
{
    line_ = second.line;
    fail("the row of line " + std::to_string(first.line) + " has the same command and the same conditions");
}

Condition ProfileParser::read_condition(std::string_view fields, bool negated)
{
    const std::string_view name = take_word(fields);
    if (name.empty())
        fail("a condition wants a variable");
    names_in(name);
    Condition condition{std::string(name), fields.empty() ? std::vector<std::string>{} : split(fields, '|'), negated};
    for (const std::string &value : condition.values)
        names_in(value);
    return condition;
}

void ProfileParser::read_detach(std::string_view fields)
{
    Detach detach{.in_ms = take_number(fields, longest_time_ms, "detach"), .away_ms = -1, .renumbered = false};
    if (fields.starts_with("never"))
        take_word(fields);
    else
        detach.away_ms = take_number(fields, longest_time_ms, "detach");
    const std::string_view word = take_word(fields);
    detach.renumbered = word == "renumbered";
    if (!word.empty() && !detach.renumbered)
        fail("unknown word '" + std::string(word) + "' of detach");
    profile_.rows.back().detach = detach;
}

void ProfileParser::read_call(std::string_view fields)
{
    const std::string_view what = take_word(fields);
    CallOrder call{.kind = CallOrder::Kind::end};
    if (what == "dial")
        call = {.kind = CallOrder::Kind::dial, .context = std::string(fields)};
    else if (what == "resume")
        call.kind = CallOrder::Kind::resume;
    else if (what != "end")
        fail("a call can dial, resume or end, not '" + std::string(what) + "'");
    if (fields.empty() == (what == "dial"))
        fail("dial wants a PDP context, and only dial");
    names_in(call.context);
    profile_.rows.back().call = call;
}

void ProfileParser::read_data(std::string_view fields)
{
    const std::string_view what = take_word(fields);
    if ((what != "open" && what != "close") || fields.empty())
        fail("data wants open or close, and a PDP context");
    names_in(fields);
    profile_.rows.back().data = DataOrder{.opens = what == "open", .context = std::string(fields)};
}

void ProfileParser::read_each(std::string_view fields)
{
    next_step_.each = take_word(fields);
    const size_t dash = std::min(fields.find('-'), fields.size());
    next_step_.first = to_number<int>(fields.substr(0, dash)).value_or(-1);
    next_step_.last = fields.substr(std::min(dash + 1, fields.size()));
    const int last = to_number<int>(next_step_.last).value_or(-1);
    const bool good_range = !names_in(next_step_.last).empty() || (next_step_.first <= last && last <= highest_each);
    if (!is_variable_name(next_step_.each) || next_step_.first < 0 || !good_range)
        fail("each wants a name and a range like 1-16, at most to 1000");
}

int64_t ProfileParser::take_number(std::string_view &fields, int64_t highest, const char *what)
{
    const std::string_view word = take_word(fields);
    const auto number = to_number<int64_t>(word);
    if (!number || *number < 0 || *number > highest)
        fail(std::string(what) + ": a number from 0 to " + std::to_string(highest) + " is needed, not '" +
             std::string(word) + "'");
    return *number;
}

void ProfileParser::merge_includes()
{
    for (Profile &base : included_) {
        if (profile_.model.empty())
            profile_.model = base.model;
        if (profile_.about.empty())
            profile_.about = base.about;
        if (profile_.vendor_id == 0) {
            profile_.vendor_id = base.vendor_id;
            profile_.product_id = base.product_id;
        }
        if (profile_.interfaces.empty())
            profile_.interfaces = base.interfaces;
        for (Variable &variable : base.variables)
            if (std::none_of(profile_.variables.begin(), profile_.variables.end(),
                             [&](const Variable &own) { return own.name == variable.name; }))
                profile_.variables.push_back(std::move(variable));
        profile_.unsolicited.insert(profile_.unsolicited.end(), base.unsolicited.begin(), base.unsolicited.end());
        profile_.faults.insert(profile_.faults.end(), base.faults.begin(), base.faults.end());
        for (Row &row : base.rows)
            if (std::none_of(profile_.rows.begin(), profile_.rows.end(),
                             [&](const Row &own) { return same_place(own, row); }))
                profile_.rows.push_back(std::move(row));
    }
}

} // namespace simulator
