#include "readings/bands.h"

#include "readings/fields.h"

namespace {

// The lowest four bits of a digit's place are its value.
constexpr std::string_view hex_digits = "0123456789abcdef0123456789ABCDEF";

} // namespace

bool add_mask(std::string_view mask, BandSet &bands)
{
    constexpr size_t longest = 128; // 512 bands
    if (starts_with_word(mask, "0X"))
        mask.remove_prefix(2);
    if (mask.empty() || mask.size() > longest)
        return false;
    if (mask.find_first_not_of(hex_digits) != std::string_view::npos)
        return false;
    bands.told = true;
    int first = 1; // the band of the digit's lowest bit
    for (; !mask.empty(); mask.remove_suffix(1), first += 4)
        for (int bit = 0; bit < 4; bit++)
            if ((hex_digits.find(mask.back()) >> bit & 1) != 0)
                bands.add(first + bit);
    return true;
}

bool add_list(std::string_view list, BandSet &bands)
{
    bool understood = false;
    while (!list.empty())
        if (const auto band = decimal(take_until(list, ":"))) {
            bands.add(*band);
            understood = true;
        }
    return understood;
}

// +QCFG: "band",0x5af0,0x2000001e0bb1f39df,0x0       (EM12: GSM and WCDMA, LTE, TD-SCDMA)
// +QCFG: "band",0xf,0x100002000000000f0e189f,0x...   (BG95: GSM, eMTC, NB-IoT)
bool read_qcfg_band(std::string_view reply, Report &report)
{
    for (std::string_view record; next_record(reply, "+QCFG:", record);) {
        const Fields fields{record};
        if (fields[0] == "band" && !report.lte_bands.told)
            return add_mask(fields[2], report.lte_bands);
    }
    return false;
}

bool read_nwscanmode(std::string_view reply, Report &report)
{
    static constexpr const char *modes[] = {"auto", "gsm", "wcdma", "lte"};
    for (std::string_view record; next_record(reply, "+QCFG:", record);) {
        const Fields fields{record};
        const auto mode = decimal(fields[1]);
        if (fields[0] != "nwscanmode" || !mode || *mode < 0 || *mode >= static_cast<int64_t>(std::size(modes)))
            continue;
        tell_text(report.scan_mode, modes[*mode]);
        return true;
    }
    return false;
}

// +QNWPREFCFG: "lte_band",1:3:7:20:28:38:40:41       (RM520N)
bool read_qnwprefcfg(std::string_view reply, Report &report)
{
    bool understood = false;
    for (std::string_view record; next_record(reply, "+QNWPREFCFG:", record);) {
        const Fields fields{record};
        if (fields[0] == "lte_band" && !report.lte_bands.told)
            understood = add_list(fields[1], report.lte_bands) || understood;
        else if (fields[0] == "nr5g_band" && !report.nr_bands.told)
            understood = add_list(fields[1], report.nr_bands) || understood;
    }
    return understood;
}
