#include "readings/qcsq.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

// EC2x and EP06 print the RSSI without its minus sign, the BG family with it.
std::optional<int64_t> rssi_of(std::string_view field)
{
    const auto rssi = hundredths(field);
    return rssi && *rssi > 0 ? -*rssi : rssi;
}

// 0 to 250 stand for -20 to +30 dB in fifths (Quectel AT manuals, AT+QCSQ).
std::optional<int64_t> sinr_of(std::string_view field)
{
    const auto index = decimal(field);
    return index && *index >= 0 && *index <= 250 ? std::optional<int64_t>{*index * 20 - 2000} : std::nullopt;
}

// What GSM receivers measure ends at -113 dBm, so that an unsigned 125 is no level.
constexpr int64_t least_gsm_rssi = -11300;

} // namespace

// +QCSQ: "LTE",52,-83,207,-14         (EP06-E)    RSSI, RSRP, SINR, RSRQ
// +QCSQ: "WCDMA",61,-61,-6            (EC25)      RSSI, RSCP, Ec/Io
// +QCSQ: "GSM",-48                    (BG96)      RSSI
// +QCSQ: "eMTC",-56,-78,210,-9        (BG770A)    as LTE
bool read_qcsq(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "+QCSQ:", record);) {
        const Fields fields{record};
        const Technology technology = technology_of_quectel(fields[0]);
        if (technology == Technology::unknown)
            continue;
        understood = true;
        report.tell_technology(technology);
        Cell &cell = report.serving;
        switch (technology) {
        case Technology::lte:
        case Technology::emtc:
        case Technology::nb_iot:
            cell.tell(Quantity::rssi, rssi_of(fields[1]));
            cell.tell(Quantity::rsrp, hundredths(fields[2]));
            cell.tell(Quantity::sinr, sinr_of(fields[3]));
            cell.tell(Quantity::rsrq, hundredths(fields[4]));
            break;
        case Technology::wcdma:
            cell.tell(Quantity::rssi, rssi_of(fields[1]));
            cell.tell(Quantity::rscp, hundredths(fields[2]));
            cell.tell(Quantity::ecio, hundredths(fields[3]));
            break;
        case Technology::gsm:
            if (const auto rssi = rssi_of(fields[1]); rssi && *rssi >= least_gsm_rssi)
                cell.tell(Quantity::rssi, rssi);
            break;
        default: // the scale of NR's SINR differs between firmwares
            break;
        }
    }
    return understood;
}
