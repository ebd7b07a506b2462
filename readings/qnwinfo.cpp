#include "readings/qnwinfo.h"

#include "readings/fields.h"
#include "readings/scales.h"

// +QNWINFO: "FDD LTE","51503","LTE BAND 1",150
// +QNWINFO: "TDD NR5G","51503","NR5G BAND 41",528030     (RG500Q; the second line under EN-DC only)
//            0         1       2             3

bool read_qnwinfo(std::string_view reply, Report &report)
{
    bool understood = false;
    const bool has_lte = has_lte_record(reply, "+QNWINFO:");
    for (std::string_view record; next_record(reply, "+QNWINFO:", record);) {
        const Fields fields{record};
        const Technology technology = technology_of_quectel(fields[0]);
        if (technology == Technology::unknown)
            continue;
        understood = true;
        const bool is_beside_lte = technology == Technology::nr_nsa || (has_lte && technology == Technology::nr_sa);
        if (is_beside_lte)
            report.tell_nr_beside_lte();
        else
            report.tell_technology(technology);
        const bool is_older = technology == Technology::gsm || technology == Technology::wcdma;
        if (is_older && fields[0] != "GSM" && fields[0] != "WCDMA")
            tell_text(report.technology_detail, fields[0]);
        Cell &cell = is_beside_lte ? report.nr : report.serving;
        tell_plmn(cell, fields[1]);
        cell.tell_band(fields[2]);
        cell.tell(Quantity::arfcn, decimal(fields[3]));
    }
    return understood;
}
