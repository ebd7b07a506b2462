#include "readings/identity.h"

#include "readings/fields.h"

namespace {

// Lines that come unasked and could be taken for an answer.
bool is_unsolicited(std::string_view line)
{
    static constexpr std::string_view lines[] = {"RDY",     "APP RDY", "SMS DONE",     "SMS READY", "CALL READY",
                                                 "PB DONE", "RING",    "POWERED DOWN", "NO CARRIER"};
    for (const std::string_view unsolicited : lines)
        if (line == unsolicited)
            return true;
    return line.starts_with('^') || line.starts_with('+');
}

bool is_final(std::string_view line)
{
    return line == "OK" || starts_with_word(line, "ERROR") || starts_with_word(line, "+CME ERROR") ||
           starts_with_word(line, "+CMS ERROR");
}

// The line of an answer that has no tag: neither the echo nor the end nor an unasked line.
bool next_plain_line(std::string_view &reply, std::string_view &line)
{
    while (next_line(reply, line)) {
        if (is_final(line))
            return false;
        if (!starts_with_word(line, "AT") && !is_unsolicited(line))
            return true;
    }
    return false;
}

// "+CGMM: "L850 LTE Module","L850"" (the last is the short name), "+GMR: LX265V05, 50571", "Revision:1951B17SIM7080",
// or the line itself. tag is without its front: "+CGMM:" and "+GMM:" are the same.
std::string_view value_of(std::string_view reply, std::string_view tag)
{
    if (const std::string_view record = record_of(reply, tag); !record.empty()) {
        const Fields fields{record};
        return fields[tag == "GMM:" ? fields.size() - 1 : 0];
    }
    for (std::string_view line; next_plain_line(reply, line);) {
        for (const std::string_view label : {"REVISION:", "REVISION ", "MODEL:", "MODEL "})
            if (starts_with_word(line, label))
                line.remove_prefix(label.size());
        if (!str_contains(line, ": ")) // "DST: 0" comes unasked
            return unquote(line);
    }
    return {};
}

bool tell_value(std::string_view reply, std::string_view tag, TextOut out)
{
    const std::string_view value = value_of(reply, tag);
    tell_text(out, value);
    return !value.empty();
}

bool tell_imei(std::string_view digits, Report &report)
{
    constexpr size_t imei_length = 15;
    const bool is_imei = digits.size() == imei_length && starts_with_digits(digits, imei_length);
    if (is_imei)
        tell_text(report.imei, digits);
    return is_imei;
}

struct Label {
    std::string_view label;
    TextOut out;
};

} // namespace

// Quectel            Manufacturer: SIMCOM INCORPORATED
// EM12               Model: SIMCOM_SIM7600A-H
// Revision: EM12G... Revision: SIM7600A-H_V1.1
//                    IMEI: 868022031234567
bool read_ati(std::string_view reply, Report &report)
{
    const Label labels[] = {
        {"MANUFACTURER:", report.manufacturer}, {"MODEL:", report.model}, {"REVISION:", report.revision}};
    bool has_labels = false;
    bool has_code = false;
    Text<64> plain[2];
    size_t plain_lines = 0;
    for (std::string_view line; next_plain_line(reply, line);) {
        const bool has_label = str_contains(line, ": ") || line.ends_with(':');
        for (const Label &row : labels)
            if (starts_with_word(line, row.label) && !str_contains(line, ": +")) { // not "Model: +GMI: LG+GMM: LX265"
                has_labels = has_labels || row.label != "REVISION:";
                tell_text(row.out, without_first(line, row.label.size()));
            }
        if (starts_with_word(line, "IMEI:"))
            tell_imei(trim(without_first(line, 5)), report);
        // "332", ".Built@Aug-27-2024:18:22:53", "R1951.07": Telit's, Intel's and some of SIMCom's modems print no more.
        const bool is_code = starts_with_digits(line, line.size()) || line.starts_with('"') ||
                             (line.starts_with('R') && starts_with_digits(without_first(line, 1), 4));
        has_code = has_code || is_code;
        // "SIM7000G R1529": the model alone, since AT+CGMR tells the whole revision.
        const size_t revision = find_text(line, " R1");
        if (!has_label && !is_code && plain_lines < std::size(plain))
            plain[plain_lines++].assign(first_characters(line, revision));
    }
    // Without labels the maker comes first; some firmware prints the model alone.
    if (!has_labels && plain_lines == 2)
        tell_text(report.manufacturer, plain[0].view());
    if (!has_labels && plain_lines > 0)
        tell_text(report.model, plain[plain_lines - 1].view());
    return has_code || !report.model.empty() || !report.manufacturer.empty() || !report.revision.empty();
}

bool read_manufacturer(std::string_view reply, Report &report)
{
    return tell_value(reply, "GMI:", report.manufacturer);
}

bool read_model(std::string_view reply, Report &report)
{
    return tell_value(reply, "GMM:", report.model);
}

bool read_revision(std::string_view reply, Report &report)
{
    return tell_value(reply, "GMR:", report.revision);
}

// 354505021234562,DR2988582N     (GlobeTrotter: and its serial number)
bool read_imei(std::string_view reply, Report &report)
{
    return tell_imei(Fields{value_of(reply, "GSN:")}[0], report);
}
