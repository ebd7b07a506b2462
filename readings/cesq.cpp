#include "readings/cesq.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// +CESQ: 99,99,255,255,20,80                    rxlev, ber, rscp, ecno, rsrq, rsrp
// +CESQ: 17,99,255,255,4,29,75,52,57            and ss_rsrq, ss_rsrp, ss_sinr          (FM350)
//        0  1  2   3   4 5  6  7  8
// +XCESQ: 0,99,99,255,255,26,57,50,255,...      one field in front                     (L860)
// The scale of the L860's SINR is not settled. The first rule's field shows whether there is such a cell.
constexpr FieldRule gsm_levels[] = {{0, Quantity::rssi, Scale::rxlev}};
constexpr FieldRule wcdma_levels[] = {{2, Quantity::rscp, Scale::rscp}, {3, Quantity::ecio, Scale::ecio}};
constexpr FieldRule lte_levels[] = {{5, Quantity::rsrp, Scale::lte_rsrp}, {4, Quantity::rsrq, Scale::lte_rsrq}};
constexpr FieldRule nr_levels[] = {
    {7, Quantity::rsrp, Scale::nr_rsrp}, {6, Quantity::rsrq, Scale::nr_rsrq}, {8, Quantity::sinr, Scale::nr_sinr}};

bool read_levels(const Fields &fields, size_t first, bool has_nr, Report &report)
{
    const auto read = [&](FieldRules rules, Technology technology, Cell &cell) {
        if (!scaled(fields[rules[0].field + first], rules[0].scale))
            return false;
        report.tell_technology(technology);
        tell_fields(fields, rules, cell, first);
        return true;
    };
    const bool is_lte = read(lte_levels, Technology::lte, report.serving);
    if (!is_lte && read(wcdma_levels, Technology::wcdma, report.serving))
        return true;
    if (has_nr && read(nr_levels, Technology::nr_sa, is_lte ? report.nr : report.serving)) {
        if (is_lte)
            report.tell_nr_beside_lte();
        return true;
    }
    if (!is_lte)
        read(gsm_levels, Technology::gsm, report.serving);
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

bool read_cesq(std::string_view reply, Report &report)
{
    constexpr size_t fields_with_nr = 9;
    const Fields fields{record_of(reply, "+CESQ:")};
    return fields.size() >= 6 && read_levels(fields, 0, fields.size() >= fields_with_nr, report);
}

bool read_xcesq(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "+XCESQ:")};
    return fields.size() >= 7 && read_levels(fields, 1, false, report);
}
