#include "readings/cops.h"

#include "readings/fields.h"
#include "readings/scales.h"

// +COPS: 0,0,"freenet freenet",7         (EM12-G; format 0 is the long name, 2 the code)
// +COPS: 2                               (SIM7600; deregistered by command)
// +COPS: (0,2,"25001",7,0),(0,...        (a Marvell module)
bool read_cops(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "+COPS:", record);) {
        constexpr std::string_view deregistered = "2";
        if (record.starts_with('('))
            record = first_characters(without_first(record, 1), record.find(')') - 1);
        const Fields fields{record};
        if (!decimal(fields[0]))
            continue;
        understood = true;
        if (fields.size() == 1 && fields[0] == deregistered)
            report.tell_registration(Registration::not_registered);
        if (fields[1] == "2")
            tell_plmn(report.serving, fields[2]);
        else
            tell_text(report.operator_name, fields[2]);
        if (!fields[2].empty())
            report.tell_technology(technology_of_act(decimal(fields[3])));
    }
    return understood;
}
