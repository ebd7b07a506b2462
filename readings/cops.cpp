#include "readings/cops.h"

#include "platform/utf8.h"
#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// "004D0065006700610046006F006E" is MegaFon after AT+CSCS="UCS2". Digits alone are rather a network's code or a name.
void tell_name(TextOut out, std::string_view name)
{
    constexpr size_t digits = 4; // of a character
    Text<64> decoded;
    std::string_view told = name;
    if (name.size() > digits && name.size() % digits == 0 && name.front() <= '9' &&
        (starts_with_word(name, "00") || !starts_with_digits(name, name.size()))) {
        for (std::string_view rest = name; !rest.empty(); rest.remove_prefix(digits)) {
            const auto unit = static_cast<uint32_t>(hexadecimal(first_characters(rest, digits)).value_or(0));
            if (unit < ' ' || (unit >= 0x7f && unit < 0xa0) || (unit >= 0xd800 && unit < 0xf900) ||
                !decoded.append(encode_utf8(unit).view()))
                return tell_text(out, name); // no character that can be printed
        }
        told = decoded.view();
    }
    tell_text(out, told);
}

} // namespace

// +COPS: 0,0,"freenet freenet",7         (EM12-G; format 0 is the long name, 2 the code)
// +COPS: 2                               (SIM7600; deregistered by command)
// +COPS: (0,2,"25001",7,0),(0,...        (a Marvell module)
bool read_cops(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "+COPS:", record);) {
        constexpr int64_t deregistered = 2;
        if (record.starts_with('('))
            record = first_characters(without_first(record, 1), record.find(')') - 1);
        const Fields fields{record};
        const auto mode = decimal(fields[0]);
        if (!mode)
            continue;
        understood = true;
        if (fields.size() == 1 && *mode == deregistered)
            report.tell_registration(Registration::not_registered);
        if (fields[1] == "2")
            tell_plmn(report.serving, fields[2]);
        else
            tell_name(report.operator_name, fields[2]);
        if (!fields[2].empty())
            report.tell_technology(technology_of_act(decimal(fields[3])));
    }
    return understood;
}
