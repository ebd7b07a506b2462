#include "readings/registration.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

struct Status {
    Registration registration;
    bool sms_only;
};
// <stat> 0 to 10 of 3GPP TS 27.007. 6 and 7 are registrations for SMS alone, 9 and 10 without preferred CSFB.
constexpr Status statuses[] = {
    {Registration::not_registered, false},
    {Registration::home, false},
    {Registration::searching, false},
    {Registration::denied, false},
    {Registration::unknown, false},
    {Registration::roaming, false},
    {Registration::home, true},
    {Registration::roaming, true},
    {Registration::not_registered, false},
    {Registration::home, false},
    {Registration::roaming, false},
};

// The field is an <AcT>: a number of one or two digits. A location of four characters is none.
std::optional<int64_t> act_of(std::string_view field)
{
    return field.size() <= 2 ? decimal(field) : std::nullopt;
}

struct Question {
    std::string_view tag;
    Quantity area; ///< what the area is if no <AcT> says it
};
constexpr Question questions[] = {
    {"+C5GREG:", Quantity::tac},
    {"+CEREG:", Quantity::tac},
    {"+CGREG:", Quantity::lac},
    {"+CREG:", Quantity::lac},
};

void tell_location(std::string_view area, std::string_view cell_id, std::optional<int64_t> act, Quantity without_act,
                   Report &report)
{
    const Technology technology = technology_of_act(act);
    report.tell_technology(technology);
    const bool is_older = technology == Technology::gsm || technology == Technology::wcdma;
    const Quantity quantity = technology == Technology::unknown ? without_act
                              : is_older                        ? Quantity::lac
                                                                : Quantity::tac;
    report.serving.tell(quantity, hexadecimal(area));
    report.serving.tell(Quantity::cell_id, hexadecimal(cell_id));
}

// +CREG: 0,1                                       <n>,<stat>
// +CREG: 2,1,"2616","DDAEA01",7                    and the area, the cell, <AcT>     (EP06-E)
// +CEREG: 2,10, 2CA8, 20 ,B5583D ,7                with a routing area between them
// +C5GREG: 2,1,"14225C","0000000C027F5065",11,1,"01"   <AcT>, then the slices        (MT5700M)
// +CREG: 5                                         unasked: <stat> alone
bool read_record(const Fields &fields, const Question &question, Report &report)
{
    const int64_t status = fields.size() == 1 ? decimal(fields[0]).value_or(-1) : act_of(fields[1]).value_or(-1);
    if (status < 0 || status >= static_cast<int64_t>(std::size(statuses)))
        return false;
    const Status &row = statuses[status];
    report.tell_registration(row.registration);
    report.sms_only = report.sms_only || row.sms_only;
    const bool is_registered = row.registration == Registration::home || row.registration == Registration::roaming;
    if (!is_registered || fields.size() < 4)
        return true;
    const auto act = act_of(fields[4]);
    const auto last = act_of(fields[5]);
    const bool is_5g = question.tag == questions[0].tag;
    if (is_5g || fields.size() <= 5 || act)
        tell_location(fields[2], fields[3], act, question.area, report);
    else if (last && hexadecimal(fields[4]))
        tell_location(fields[2], fields[4], last, question.area, report);
    else // the meaning of the fields after the area is not known
        tell_location(fields[2], {}, std::nullopt, question.area, report);
    return true;
}

} // namespace

bool read_registration(std::string_view reply, Report &report)
{
    bool understood = false;
    for (const Question &question : questions) {
        std::string_view rest = reply;
        for (std::string_view record; next_record(rest, question.tag, record);)
            understood = read_record(Fields{record}, question, report) || understood;
    }
    return understood;
}
