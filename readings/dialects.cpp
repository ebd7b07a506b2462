#include "readings/dialects.h"

#include "readings/bands.h"
#include "readings/cesq.h"
#include "readings/cops.h"
#include "readings/cpsi.h"
#include "readings/fields.h"
#include "readings/foxconn.h"
#include "readings/gstatus.h"
#include "readings/gtccinfo.h"
#include "readings/identity.h"
#include "readings/monsc.h"
#include "readings/qcainfo.h"
#include "readings/qcsq.h"
#include "readings/qeng.h"
#include "readings/qnwinfo.h"
#include "readings/registration.h"
#include "readings/sim.h"
#include "readings/telit.h"
#include "readings/temperature.h"
#include "readings/xmci.h"
#include "readings/zpas.h"

namespace {

bool lacks_manufacturer(const Report &report)
{
    return report.manufacturer.empty();
}

bool lacks_model(const Report &report)
{
    return report.model.empty();
}

bool lacks_revision(const Report &report)
{
    return report.revision.empty();
}

bool lacks_imei(const Report &report)
{
    return report.imei.empty();
}

bool lacks_iccid(const Report &report)
{
    return report.iccid.empty();
}

bool lacks_pin_tries(const Report &report)
{
    return !report.pin_tries;
}

bool lacks_csq(const Report &report)
{
    return !report.csq_rssi_dbm;
}

bool lacks_cell(const Report &report)
{
    return !report.serving.get(Quantity::cell_id);
}

bool lacks_temperature(const Report &report)
{
    return !report.temperature_c;
}

bool lacks_rsrp(const Report &report)
{
    return !report.serving.get(Quantity::rsrp);
}

bool lacks_lte_bands(const Report &report)
{
    return !report.lte_bands.told;
}

// clang-format off
constexpr Question identity[] = {
    {"identity", "ATI",     read_ati},
    {"identity", "AT+CGMI", read_manufacturer, lacks_manufacturer},
    {"identity", "AT+CGMM", read_model,        lacks_model},
    {"identity", "AT+QGMR", read_revision,     lacks_revision},
    {"identity", "AT+CGMR", read_revision,     lacks_revision},
    {"identity", "AT+GMR",  read_revision,     lacks_revision},
    {"identity", "AT+GSN",  read_imei,         lacks_imei},
    {"identity", "AT+CGSN", read_imei,         lacks_imei},
};

constexpr Question sim[] = {
    {"sim", "AT+CPIN?",  read_cpin, nullptr, true},
    {"sim", "AT+QPINC?", read_pin_tries},
    {"sim", "AT+CPINR",  read_pin_tries, lacks_pin_tries},
    {"sim", "AT+CIMI",   read_imsi},
    {"sim", "AT+QCCID",  read_iccid},
    {"sim", "AT+ICCID",  read_iccid, lacks_iccid},
    {"sim", "AT+CCID",   read_iccid, lacks_iccid},
    {"sim", "AT+CNUM",   read_number},
};

constexpr Question common[] = {
    {"network", "AT+COPS?",   read_cops,         nullptr, true, 4000},
    {"network", "AT+C5GREG?", read_registration},
    {"network", "AT+CEREG?",  read_registration},
    {"network", "AT+CREG?",   read_registration, nullptr, true},
    {"network", "AT+CGREG?",  read_registration},
    {"signal",  "AT+CSQ",     read_csq,          nullptr, true},
    {"signal",  "AT+CSQ?",    read_csq,          lacks_csq},
    {"signal",  "AT+CESQ",    read_cesq},
};

constexpr Question quectel[] = {
    {"serving",     "AT+QENG=\"servingcell\"",   read_qeng_serving, nullptr, true},
    {"signal",      "AT+QCSQ",                   read_qcsq},
    {"network",     "AT+QNWINFO",                read_qnwinfo},
    {"signal",      "AT+QRSRP",                  read_qrsrp, lacks_rsrp},
    {"carriers",    "AT+QCAINFO",                read_qcainfo},
    {"neighbours",  "AT+QENG=\"neighbourcell\"", read_qeng_neighbours},
    {"temperature", "AT+QTEMP",                  read_temperature},
    {"bands",       "AT+QCFG=\"band\"",          read_qcfg_band},
    {"bands",       "AT+QNWPREFCFG=\"lte_band\"", read_qnwprefcfg, lacks_lte_bands},
    {"bands",       "AT+QNWPREFCFG=\"nr5g_band\"", read_qnwprefcfg},
    {"bands",       "AT+QCFG=\"nwscanmode\"",    read_nwscanmode},
};

constexpr Question sierra[] = {
    {"serving", "AT!GSTATUS?", read_gstatus, nullptr, true},
    {"serving", "AT!LTEINFO?", read_lteinfo},
    {"serving", "AT!NRINFO?",  read_nrinfo},
};

constexpr Question simcom[] = {
    {"serving", "AT+CPSI?",   read_cpsi, nullptr, true},
    {"network", "AT+CNSMOD?", read_cnsmod},
    {"identity", "AT+SIMCOMATI", read_ati, lacks_model},
    {"temperature", "AT+CPMUTEMP", read_temperature},
    {"sim",     "AT+CICCID",  read_iccid, lacks_iccid},
};

constexpr Question fibocom[] = {
    {"serving",  "AT+GTCCINFO?", read_gtccinfo, nullptr, true},
    {"carriers", "AT+GTCAINFO?", read_gtcainfo},
    {"serving",  "AT+XMCI=1",    read_xmci, lacks_cell},
    {"signal",   "AT+XCESQ?",    read_xcesq},
    {"temperature", "AT+GTSENRDTEMP=1", read_temperature},
    {"temperature", "AT+MTSM=1", read_temperature, lacks_temperature},
};

constexpr Question zte[] = {
    {"network", "AT+ZPAS?", read_zpas, nullptr, true},
};

constexpr Question huawei[] = {
    {"serving",  "AT^MONSC",      read_monsc, nullptr, true},
    {"signal",   "AT^HCSQ?",      read_hcsq},
    {"carriers", "AT^HFREQINFO?", read_hfreqinfo},
    {"temperature", "AT^CHIPTEMP?", read_temperature},
    {"sim",      "AT^ICCID?",     read_iccid, lacks_iccid},
};

constexpr Question foxconn[] = {
    {"serving",     "AT^DEBUG?", read_debug, nullptr, true},
    {"temperature", "AT^TEMP?",  read_temperature},
};

constexpr Question telit[] = {
    {"serving", "AT#RFSTS",    read_rfsts, nullptr, true},
    {"serving", "AT#SERVINFO", read_servinfo},
    {"serving", "AT#MONI",     read_moni},
    {"serving", "AT^SMONI",    read_smoni, lacks_cell},
    {"temperature", "AT#TEMPSENS=2", read_temperature},
};

constexpr Question meig[] = {
    {"serving",     "AT+MENG=\"servingcell\"",   read_qeng_serving, nullptr, true},
    {"neighbours",  "AT+MENG=\"neighbourcell\"", read_qeng_neighbours},
    {"temperature", "AT+TEMP",                   read_temperature},
};

constexpr Dialect dialect_rows[] = {
    {"quectel", {"QUECTEL"},                              {0x2c7c, 0x05c6},         quectel},
    {"sierra",  {"SIERRA"},                               {0x1199},                 sierra},
    {"simcom",  {"SIMCOM", "SIM7", "SIM8", "A76"},        {0x1e0e},                 simcom},
    {"fibocom", {"FIBOCOM", "FM1", "FM3", "NL6", "L8"},   {0x2cb7, 0x8087, 0x0e8d}, fibocom},
    {"zte",     {"ZTE", "ME3630"},                        {0x19d2},                 zte},
    {"huawei",  {"HUAWEI", "TD TECH", "MT5700", "MH5000"}, {0x12d1, 0x3466},        huawei},
    {"foxconn", {"T99W", "FOXCONN", "DW59", "MV3"},       {0x0489, 0x1e2d, 0x413c}, foxconn},
    {"telit",   {"TELIT", "CINTERION", "FN9", "LM9", "LN9"}, {0x1bc7},              telit},
    {"meig",    {"MEIG", "SLM", "SRM"},                   {0x2dee},                 meig},
    {"3gpp",    {},                                       {},                       {}},
};
// clang-format on

bool speaks(const Dialect &dialect, std::string_view text)
{
    for (const char *word : dialect.words)
        if (word != nullptr && starts_with_word(text, word))
            return true;
    return false;
}

} // namespace

std::span<const Dialect> dialects()
{
    return dialect_rows;
}

const Dialect &pick_dialect(const Report &report, uint32_t usb_vendor)
{
    for (const Dialect &dialect : dialect_rows)
        if (speaks(dialect, report.manufacturer.view()) || speaks(dialect, report.model.view()))
            return dialect;
    for (const Dialect &dialect : dialect_rows)
        for (const uint16_t vendor : dialect.usb_vendors)
            if (vendor != 0 && vendor == usb_vendor)
                return dialect;
    return dialect_rows[std::size(dialect_rows) - 1];
}

std::span<const Question> identity_questions()
{
    return identity;
}

std::span<const Question> sim_questions()
{
    return sim;
}

std::span<const Question> common_questions()
{
    return common;
}
