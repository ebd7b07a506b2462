#include "readings/telit.h"

#include "readings/fields.h"
#include "readings/scales.h"

namespace {

struct Key {
    const char *key;
    Quantity quantity;
    Scale scale;
};
// #MONI: Test PLMN 1-1 NR_BAND:79 NR_BW:100 NR_ULBW:100 NR_CH:723360 NR_PWR:-60dbm NR_RSRP:-71 NR_PCI:11   (FN990)
// #MONI: TIM RSRP:-103 RSRQ:-9 TAC:2B0F Id:1A2D0203 EARFCN:6300 PWR:-72dbm DRX:128 pci:123                 (LE910)
// #MONI: Cingular BSIC:51 RxQual:0 LAC:8AD3 Id:6014 ARFCN:148 PWR:-99dbm TA:0                              (GE865)
// NR_SINR is an index whose scale is not documented.
constexpr Key keys[] = {
    {"NR_BW", Quantity::bandwidth_dl, Scale::decibels},
    {"NR_ULBW", Quantity::bandwidth_ul, Scale::decibels},
    {"NR_CH", Quantity::arfcn, Scale::number},
    {"NR_PWR", Quantity::rssi, Scale::with_unit},
    {"NR_RSRP", Quantity::rsrp, Scale::decibels},
    {"NR_RSRQ", Quantity::rsrq, Scale::decibels},
    {"NR_PCI", Quantity::pci, Scale::number},
    {"NR_BAND", {}, Scale::nr_band},
    {"RSRP", Quantity::rsrp, Scale::decibels},
    {"RSRQ", Quantity::rsrq, Scale::decibels},
    {"TAC", Quantity::tac, Scale::hex},
    {"Id", Quantity::cell_id, Scale::hex},
    {"EARFCN", Quantity::arfcn, Scale::number},
    {"PWR", Quantity::rssi, Scale::with_unit},
    {"pci", Quantity::pci, Scale::number},
    {"LAC", Quantity::lac, Scale::hex},
    {"ARFCN", Quantity::arfcn, Scale::number},
    {"UARFCN", Quantity::arfcn, Scale::number},
    {"PSC", Quantity::psc, Scale::number},
    {"RSCP", Quantity::rscp, Scale::decibels},
    {"EcIo", Quantity::ecio, Scale::decibels},
};

// #RFSTS: "310 260",66786,-101,-68,-13,2D18,255,,640,1,0,3089F02,"000000000000000","T-Mobile",3,66      (LM960)
// #RFSTS: "286 01",1795,-101,-67,-15,2242,,128,3,1,0B5D121,"286016339612498","Turkcell",3,3,108         (LE910)
//         0        1    2    3   4   5
constexpr FieldRule rfsts_rules[] = {
    {1, Quantity::arfcn, Scale::number},  {2, Quantity::rsrp, Scale::decibels}, {3, Quantity::rssi, Scale::decibels},
    {4, Quantity::rsrq, Scale::decibels}, {5, Quantity::tac, Scale::hex},
};

// #RFSTS: "222 10",10736,103,-5.0,-73,-69,9C4A,1,-17,64,19,1,1,000,5AB0F04,"222885500518897","I WIND",3,4   (HE910
// manual)
//         0        1     2   3    4   5   6
constexpr FieldRule wcdma_rfsts_rules[] = {
    {1, Quantity::arfcn, Scale::number},  {2, Quantity::psc, Scale::number},    {3, Quantity::ecio, Scale::decibels},
    {4, Quantity::rscp, Scale::decibels}, {5, Quantity::rssi, Scale::decibels}, {6, Quantity::lac, Scale::hex},
};

// #RFSTS: "204 04",1001,-80,00DE,01,5,19,10,2,9878,"204007930002270","vodafone NL",1,2      (GE910: on GSM the RSSI
//         0        1    2   3                                                               comes before the area)
constexpr FieldRule gsm_rfsts_rules[] = {
    {1, Quantity::arfcn, Scale::number},
    {2, Quantity::rssi, Scale::decibels},
    {3, Quantity::lac, Scale::hex},
};

// Firmware differs in how many fields come before the IMSI. The cell's identity is in front of it, the operator's name
// and the band, two fields further, behind it. SINR may follow at the end, in the chipset's steps as Quectel's.
void tell_around_imsi(const Fields &fields, bool is_lte, Report &report)
{
    constexpr size_t first = 8;
    constexpr size_t longest_before = 8; // digits of a cell's identity
    for (size_t i = first; i < fields.size(); i++) {
        if (fields[i].size() <= longest_before)
            continue;
        tell_value(fields[i - 1], Quantity::cell_id, Scale::hex, report.serving);
        tell_text(report.operator_name, fields[i + 1]);
        if (is_lte)
            report.serving.tell_band(decimal(fields[i + 3]), false);
        if (is_lte && fields.size() == i + 5)
            tell_value(fields[i + 4], Quantity::sinr, Scale::quectel_sinr, report.serving);
        return;
    }
}

// #SERVINFO: 66786,-68,"T-Mobile","310260",3089F02,2D18,640,3,-101       (LM960)
//            0     1   2          3        4       5    6   7 8
constexpr FieldRule servinfo_rules[] = {
    {0, Quantity::arfcn, Scale::number},
    {1, Quantity::rssi, Scale::decibels},
    {5, Quantity::tac, Scale::hex},
    {8, Quantity::rsrp, Scale::decibels},
};

// #SERVINFO: 1020,-61,"vodafone NL","20404",61,00DE,00,1,,"II",01,6      (GE910 on GSM)
// #SERVINFO: 10736,-69,"I WIND","22210",103,9C4A,64,3,-73,"II",01        (HE910 on WCDMA, which adds the RSCP)
constexpr FieldRule older_servinfo_rules[] = {
    {0, Quantity::arfcn, Scale::number},
    {1, Quantity::rssi, Scale::decibels},
    {5, Quantity::lac, Scale::hex},
    {8, Quantity::rscp, Scale::decibels},
};

// ^SMONI: 4G,6300,20,10,10,FDD,262,02,BF75,0345103,350,33,-94,-7,NOCONN        (PLS62 manual)
//         0  1    2  3  4  5   6   7  8    9       10  11 12  13
constexpr FieldRule smoni_lte_rules[] = {
    {1, Quantity::arfcn, Scale::number},
    {2, {}, Scale::lte_band},
    {3, Quantity::bandwidth_dl, Scale::decibels},
    {4, Quantity::bandwidth_ul, Scale::decibels},
    {8, Quantity::tac, Scale::hex},
    {9, Quantity::cell_id, Scale::hex},
    {10, Quantity::pci, Scale::number},
    {12, Quantity::rsrp, Scale::decibels},
    {13, Quantity::rsrq, Scale::decibels},
};

// ^SMONI: 3G,10564,296,-7.5,-79,262,02,0143,00228FF,-92,-78,NOCONN
//         0  1     2   3    4   5   6  7    8
constexpr FieldRule smoni_wcdma_rules[] = {
    {1, Quantity::arfcn, Scale::number},  {2, Quantity::psc, Scale::number}, {3, Quantity::ecio, Scale::decibels},
    {4, Quantity::rscp, Scale::decibels}, {7, Quantity::lac, Scale::hex},    {8, Quantity::cell_id, Scale::hex},
};

// ^SMONI: 2G,71,-61,262,02,0143,83BA,33,33,3,6,G,NOCONN
//         0  1  2   3   4  5    6
constexpr FieldRule smoni_gsm_rules[] = {
    {1, Quantity::arfcn, Scale::number},
    {2, Quantity::rssi, Scale::decibels},
    {5, Quantity::lac, Scale::hex},
    {6, Quantity::cell_id, Scale::hex},
};

struct SmoniRow {
    std::string_view word;
    Technology technology;
    uint8_t mcc; ///< its position; the MNC follows
    FieldRules rules;
};
constexpr SmoniRow smoni_rows[] = {
    {"4G", Technology::lte, 6, smoni_lte_rules},
    {"3G", Technology::wcdma, 5, smoni_wcdma_rules},
    {"2G", Technology::gsm, 3, smoni_gsm_rules},
};

bool is_negative(std::string_view field)
{
    return hundredths(field).value_or(0) < 0;
}

} // namespace

bool read_moni(std::string_view reply, Report &report)
{
    std::string_view rest = record_of(reply, "#MONI:");
    const std::string_view whole = rest;
    if (whole.starts_with("RSRP:")) // AT#MONI=1 was sent before: these are the neighbours
        return false;
    bool understood = false;
    while (!rest.empty()) {
        const size_t start = whole.size() - rest.size();
        std::string_view value = take_until(rest, " ");
        if (value.find(':') == std::string_view::npos)
            continue;
        if (!understood) // the operator's name is the text before the first key
            tell_text(report.operator_name, first_characters(whole, start));
        understood = true;
        const std::string_view key = take_until(value, ":");
        if (key == "NR_RSRP" || key == "NR_BAND")
            report.tell_technology(Technology::nr_sa);
        else if (key == "EARFCN")
            report.tell_technology(Technology::lte);
        else if (key == "UARFCN" || key == "ARFCN")
            report.tell_technology(key.front() == 'U' ? Technology::wcdma : Technology::gsm);
        for (const Key &row : keys)
            if (row.key == key)
                tell_value(value, row.quantity, row.scale, report.serving);
    }
    return understood;
}

bool read_rfsts(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "#RFSTS:")};
    const bool is_lte = is_negative(fields[2]) && is_negative(fields[3]);
    const bool is_gsm = is_negative(fields[2]) && hexadecimal(fields[3]);
    const bool is_wcdma = decimal(fields[2]).value_or(-1) >= 0 && is_negative(fields[4]);
    if (!is_lte && !is_gsm && !is_wcdma)
        return false;
    report.tell_technology(is_lte ? Technology::lte : is_gsm ? Technology::gsm : Technology::wcdma);
    Cell &cell = report.serving;
    std::string_view network = fields[0];
    const std::string_view mcc = take_until(network, " ");
    cell.tell_network(mcc, network);
    tell_fields(fields,
                is_lte   ? FieldRules{rfsts_rules}
                : is_gsm ? FieldRules{gsm_rfsts_rules}
                         : FieldRules{wcdma_rfsts_rules},
                cell);
    tell_around_imsi(fields, is_lte, report);
    return true;
}

bool read_servinfo(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "#SERVINFO:")};
    const bool is_measured = is_negative(fields[1]) && (is_negative(fields[8]) || fields[8].empty());
    constexpr size_t fields_of_lte = 9;
    if (!is_measured && fields.size() <= fields_of_lte)
        return false;
    constexpr size_t longest_code = 5; // WCDMA and GSM have a short code in the place of the cell's identity
    const bool is_lte = fields[4].size() > longest_code;
    if (!is_lte && fields.size() == fields_of_lte && !decimal(fields[4]))
        return false;
    Cell &cell = report.serving;
    if (is_measured)
        report.tell_technology(is_lte ? Technology::lte : fields[8].empty() ? Technology::gsm : Technology::wcdma);
    tell_fields(fields, is_lte ? servinfo_rules : older_servinfo_rules, cell);
    constexpr int64_t highest_pci = 503; // some firmware has it in the place of the cell's identity
    if (const auto cell_id = hexadecimal(fields[4]); is_lte && cell_id.value_or(0) > highest_pci)
        cell.tell(Quantity::cell_id, cell_id);
    tell_text(report.operator_name, fields[2]);
    tell_plmn(cell, fields[3]);
    return true;
}

// ^SMONI: 4G,SEARCH        (without a network)
// ^SMONI: Searching
bool read_smoni(std::string_view reply, Report &report)
{
    const Fields fields{record_of(reply, "^SMONI:")};
    for (const SmoniRow &row : smoni_rows) {
        if (fields[0] != row.word)
            continue;
        if (fields[1] == "SEARCH")
            break;
        report.tell_technology(row.technology);
        report.serving.tell_network(fields[row.mcc], fields[row.mcc + 1U]);
        tell_fields(fields, row.rules, report.serving);
        return true;
    }
    const bool is_searching = starts_with_word(fields[0], "SEARCH") || fields[1] == "SEARCH";
    if (is_searching)
        report.tell_technology(Technology::none);
    return is_searching;
}
