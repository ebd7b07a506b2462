#include "readings/sim.h"

#include "readings/fields.h"

namespace {

struct State {
    std::string_view word;
    SimState state;
};
// Asked in order; a longer word comes before one that it contains.
constexpr State states[] = {
    {"READY", SimState::ready},
    {"SIM PUK2", SimState::puk2},
    {"SIM PUK", SimState::puk},
    {"SIM PIN", SimState::pin},
    {"PH-NET", SimState::network_lock},
    {"PH-SIM", SimState::network_lock},
    {"PH-SP", SimState::network_lock},
    {"PH-CORP", SimState::network_lock},
    {"NOT INSERTED", SimState::not_inserted},
    {"SIM REMOVED", SimState::not_inserted},
};
constexpr State errors[] = {
    {"SIM NOT INSERTED", SimState::not_inserted},
    {"SIM FAILURE", SimState::failure},
    {"SIM BUSY", SimState::busy},
    {"SIM WRONG", SimState::failure},
    {"SIM PIN REQUIRED", SimState::pin},
    {"SIM PUK REQUIRED", SimState::puk},
};
struct Code {
    int64_t code;
    SimState state;
};
// +CME ERROR codes of 3GPP TS 27.007, 9.2.
constexpr Code error_codes[] = {
    {5, SimState::network_lock}, {10, SimState::not_inserted}, {11, SimState::pin},     {12, SimState::puk},
    {13, SimState::failure},     {14, SimState::busy},         {15, SimState::failure}, {18, SimState::puk2},
};

SimState state_of_error(std::string_view error)
{
    if (const auto code = decimal(error))
        for (const Code &row : error_codes)
            if (row.code == *code)
                return row.state;
    for (const State &row : errors)
        if (starts_with_word(error, row.word))
            return row.state;
    return SimState::error;
}

bool is_digits(std::string_view text)
{
    return starts_with_digits(text, text.size());
}

// The first line that is a number of so many digits, after a tag or without one. @return false without such a line
bool tell_long_number(std::string_view reply, size_t shortest, size_t longest, TextOut out)
{
    for (std::string_view line; next_line(reply, line);) {
        std::string_view rest = unquote(without_first(line, line.find(':') + 1)); // npos + 1 is 0
        const std::string_view digits = take_until(rest, "\",Ff");
        if (digits.size() < shortest || digits.size() > longest || !is_digits(digits))
            continue;
        tell_text(out, digits);
        return true;
    }
    return false;
}

} // namespace

bool read_cpin(std::string_view reply, Report &report)
{
    SimState found = SimState::untold;
    std::string_view rest = reply;
    for (std::string_view record; next_record(rest, "+CPIN:", record);) {
        const std::string_view word = unquote(record);
        for (const State &row : states)
            if (starts_with_word(word, row.word) && found != SimState::ready) {
                found = row.state;
                break;
            }
    }
    if (found == SimState::untold)
        for (std::string_view line; next_line(reply, line);) {
            constexpr std::string_view tag = "+CME ERROR:";
            if (starts_with_word(line, tag))
                found = state_of_error(trim(without_first(line, tag.size())));
        }
    if (report.sim_state == SimState::untold)
        report.sim_state = found;
    return found != SimState::untold;
}

// +QCCID: 8910390000012345678F     (EM06: 19 digits and a filler)
// +ICCID: 89701010050012345678     (FM350)
// +CCID: 89332401000000000006,89033240817620060000000000000026     (WP7702: and the number of the eUICC)
bool read_iccid(std::string_view reply, Report &report)
{
    return tell_long_number(reply, 18, 22, report.iccid);
}

bool read_imsi(std::string_view reply, Report &report)
{
    return tell_long_number(reply, 14, 15, report.imsi);
}

// +CNUM: "Line 1","+436601234567",145
bool read_number(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "+CNUM:")};
    std::string_view digits = fields[1];
    if (digits.starts_with('+'))
        digits.remove_prefix(1);
    if (digits.empty() || !is_digits(digits))
        return false;
    tell_text(report.number, fields[1]);
    return true;
}

// +QPINC: "SC",3,10                 (Quectel)
// +CPINR: SIM PIN,3,3               (3GPP TS 27.007; a line a secret)
bool read_pin_tries(std::string_view reply, Report &report)
{
    bool understood = false;
    std::string_view rest = reply;
    for (std::string_view record; next_record(rest, "+QPINC:", record);) {
        const Fields fields{record};
        if (fields[0] != "SC")
            continue;
        report.pin_tries = decimal(fields[1]);
        report.puk_tries = decimal(fields[2]);
        understood = true;
    }
    for (std::string_view record; next_record(reply, "+CPINR:", record);) {
        const Fields fields{record};
        if (fields[0] == "SIM PIN")
            report.pin_tries = decimal(fields[1]);
        else if (fields[0] == "SIM PUK")
            report.puk_tries = decimal(fields[1]);
        understood = true;
    }
    return understood;
}
