#include "readings/cesq.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

bool read_levels(const Fields &fields, size_t first, bool has_nr, Report &report)
{
    Cell &cell = report.serving;
    const auto rsrq = level_of_index(fields[first + 4], lte_rsrq_index);
    const auto rsrp = level_of_index(fields[first + 5], lte_rsrp_index);
    const auto rscp = level_of_index(fields[first + 2], rscp_index);
    const auto nr_rsrp = has_nr ? level_of_index(fields[first + 7], nr_rsrp_index) : std::nullopt;
    if (rsrp) {
        report.tell_technology(Technology::lte);
        cell.tell(Quantity::rsrp, rsrp);
        cell.tell(Quantity::rsrq, rsrq);
    } else if (rscp) {
        report.tell_technology(Technology::wcdma);
        cell.tell(Quantity::rscp, rscp);
        cell.tell(Quantity::ecio, level_of_index(fields[first + 3], ecio_index));
    } else if (const auto rxlev = level_of_index(fields[first], rxlev_index); rxlev && !nr_rsrp) {
        report.tell_technology(Technology::gsm);
        cell.tell(Quantity::rssi, rxlev);
    }
    if (!nr_rsrp)
        return true;
    if (rsrp)
        report.has_nr = true;
    if (rsrp && report.technology == Technology::lte)
        report.technology = Technology::nr_nsa;
    report.tell_technology(Technology::nr_sa);
    Cell &nr = rsrp ? report.nr : cell;
    nr.tell(Quantity::rsrq, level_of_index(fields[first + 6], nr_rsrq_index));
    nr.tell(Quantity::rsrp, nr_rsrp);
    nr.tell(Quantity::sinr, level_of_index(fields[first + 8], nr_sinr_index));
    return true;
}

} // namespace

// +CSQ: 23,99        0 to 31 are -113 to -51 dBm in steps of 2; 99 is not known
bool read_csq(std::string_view reply, Report &report)
{
    const auto index = decimal(Fields{record_of(reply, "+CSQ:")}[0]);
    if (!index)
        return false;
    if (*index >= 0 && *index <= 31 && !report.csq_rssi_dbm)
        report.csq_rssi_dbm = 2 * *index - 113;
    return true;
}

// +CESQ: 99,99,255,255,20,80                    rxlev, ber, rscp, ecno, rsrq, rsrp
// +CESQ: 17,99,255,255,4,29,75,52,57            and ss_rsrq, ss_rsrp, ss_sinr          (FM350)
bool read_cesq(std::string_view reply, Report &report)
{
    constexpr size_t fields_with_nr = 9;
    const Fields fields{record_of(reply, "+CESQ:")};
    return fields.size() >= 6 && read_levels(fields, 0, fields.size() >= fields_with_nr, report);
}

// +XCESQ: 0,99,99,255,255,26,57,50,255,255,255,255        (L860; the scale of SINR is not settled)
bool read_xcesq(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "+XCESQ:")};
    return fields.size() >= 7 && read_levels(fields, 1, false, report);
}
