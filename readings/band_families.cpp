#include "readings/band_families.h"

#include "readings/bands.h"
#include "readings/fields.h"

namespace {

// --- lists: +QNWPREFCFG: "lte_band",1:3:7   +CSYSSEL: "lte_band",1:3:7

bool read_lists(const BandFamily &family, std::string_view replies, BandSettings &settings)
{
    for (std::string_view record; next_record(replies, family.tag, record);) {
        const Fields fields{record};
        if (fields[0] == "lte_band")
            add_list(fields[1], settings.lte);
        else if (fields[0] == "nr5g_band")
            add_list(fields[1], settings.nr);
        else if (fields[0] == "nsa_nr5g_band")
            add_list(fields[1], settings.nr_nsa);
    }
    return settings.lte.told;
}

// --- one LTE mask among others:
//     +QCFG: "band",0x93,0x1a0000800d5,0x0   (EC25: GSM and WCDMA, LTE, TD-SCDMA)
//     +QCFG: "band",0xd0,0x1e200000095       (EC200A)
//     +CNBP: 0x100200000EE80380,0x4800...07FFFFDF3FFF,0x000000000000003F   (SIM7600: GSM and WCDMA, LTE, TD-SCDMA)
//     ^SYSCFGEX: "00",3FFFFFFF,1,2,7FFFFFFFFFFFFFFF   (order, GSM and WCDMA, roaming, domain, LTE)

// The rest is the first field and those after the mask.
bool read_mask(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    for (std::string_view record; next_record(reply, family.tag, record);) {
        const Fields fields{record};
        if (!add_mask(fields[family.mask_field], settings.lte) || (family.needs_bands && is_empty(settings.lte)))
            continue;
        bool is_whole = settings.rest.assign(fields[0]);
        for (size_t i = family.mask_field + 1U; i < fields.size(); i++)
            is_whole = settings.rest.append(",") && settings.rest.append(fields[i]) && is_whole;
        return is_whole && is_made_of(settings.rest.view(), ",");
    }
    return false;
}

// --- +GTACT: 20,6,3,1,2,4,5,8,101,103,120,5041,5078   (RAT, two preferences; WCDMA as it is, LTE from 101 on, NR after
//     "50"), and AT+GTACT=?: (1,2,4),(2,3,6),(2,3,6),(),(1,5,8),(101,103),(),(),(501,5078)
//     +XACT: 4,2,1,1,2,4,5,8,101,103,166               (L860: the same; GSM as 850 to 1900), and AT+XACT=?:
//     (0-6),(0-2),0,900,1800,1,2,4,5,8,101,103,166

constexpr std::string_view nr_prefix = "50";
constexpr int64_t lte_base = 100;
constexpr int64_t last_lte_code = 300;

// @return false for a code of another technology
bool add_code(std::string_view code, BandSettings &settings)
{
    const auto number = decimal(code);
    if (!number || *number <= lte_base)
        return false;
    const bool is_nr = code.starts_with(nr_prefix) && code.size() > nr_prefix.size();
    if (!is_nr && *number > last_lte_code)
        return false;
    const auto band = is_nr ? decimal(without_first(code, nr_prefix.size())) : std::optional{*number - lte_base};
    if (band)
        (is_nr ? settings.nr : settings.lte).add(*band);
    return true;
}

bool read_gtact(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    bool is_whole = true;
    std::string_view record = record_of(reply, family.tag);
    for (int field = 0; !record.empty(); field++) {
        const std::string_view code = trim(take_until(record, ","));
        if (field < 3 || !add_code(code, settings))
            is_whole = settings.rest.append(field == 0 ? "" : ",") && settings.rest.append(code) && is_whole;
    }
    return is_whole && is_made_of(settings.rest.view(), ",") && (settings.lte.told || settings.nr.told);
}

bool read_gtact_list(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    for (std::string_view record = record_of(reply, family.tag); !record.empty();)
        add_code(trim(take_until(record, "(),")), settings); // the codes of technologies and preferences are low
    return settings.lte.told || settings.nr.told;
}

// --- Index, Name,                        GW Band Mask     L Band Mask      TDS Band Mask
//     00, All bands,                      0002000007C00000 00000100130818DF 0000000000000000   (EM7455)

// The masks of a row of the table; the first row allows all bands. @return how many there are, at most those that fit
size_t row_masks(std::string_view line, std::span<std::string_view> masks)
{
    constexpr size_t mask_digits = 16;
    size_t count = 0;
    while (!line.empty()) {
        const std::string_view word = take_until(line, " \t,");
        if (word.size() == mask_digits && hexadecimal(word) && count < masks.size())
            masks[count++] = word;
    }
    return count;
}

bool read_band_table(const BandFamily &, std::string_view reply, BandSettings &settings)
{
    for (std::string_view line; next_line(reply, line);) {
        std::string_view masks[3];
        // A modem of the EM91xx kind has a table of another form.
        if (line.find(',') != 2 || !hexadecimal(first_characters(line, 2)) || row_masks(line, masks) < 2)
            continue;
        settings.rest.assign(masks[0]);
        return add_mask(masks[1], settings.lte);
    }
    return false;
}

// --- #BND: 0,22,A7E2BB0F38DF,42,1A0290800D7,7042,81A0290800D7,7442   (FN990: GSM, WCDMA, LTE up to 64 and above, NR
//     beside LTE, NR; the LM960 has the first four), and AT#BND=?: (0),(0-11,17,18),(A7E0BB0F38DF),(42)

struct MaskPair {
    BandSet BandSettings::*set;
    size_t field;
};
constexpr MaskPair bnd_pairs[] = {{&BandSettings::lte, 2}, {&BandSettings::nr_nsa, 4}, {&BandSettings::nr, 6}};

// Both halves of each pair, in hexadecimal digits. A modem with other than four or eight fields has other scales.
bool add_bnd(const Fields &fields, BandSettings &settings)
{
    if (fields.size() != 4 && fields.size() != 8)
        return false;
    for (const MaskPair &pair : bnd_pairs) {
        BandSet high;
        if (pair.field >= fields.size())
            break;
        if (!add_mask(fields[pair.field], settings.*pair.set) || !add_mask(fields[pair.field + 1], high))
            return false;
        for (int band = 1; band <= 64; band++)
            if (high.has(band))
                (settings.*pair.set).add(64 + band);
    }
    return true;
}

bool read_bnd(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    const Fields fields{record_of(reply, family.tag)};
    settings.rest.assign(fields[0]);
    settings.rest.append(",");
    settings.rest.append(fields[1]);
    return is_made_of(settings.rest.view(), ",") && add_bnd(fields, settings);
}

// "(0),(0-11,17,18),(1-85)": the last number of each group, as the fields of a setting.
bool read_bnd_list(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    Text<256> lasts;
    std::string_view record = record_of(reply, family.tag);
    while (record.find('(') != std::string_view::npos) {
        take_until(record, "(");
        const std::string_view group = take_until(record, ")");
        lasts.append(lasts.empty() ? "" : ",");
        lasts.append(without_first(group, group.find_last_of("-,") + 1));
    }
    return add_bnd(Fields{lasts.view()}, settings);
}

// --- AT^SYSCFGEX=?: ...,((800d7,"LTE BC1/LTE BC2/LTE BC3"),(7fffffffffffffff,"All Bands"))

bool read_syscfgex_list(const BandFamily &, std::string_view reply, BandSettings &settings)
{
    constexpr std::string_view word = "LTE BC";
    for (size_t at = find_text(reply, word); at != std::string_view::npos; at = find_text(reply, word)) {
        reply = without_first(reply, at + word.size());
        const size_t digits = reply.find_first_not_of("0123456789");
        if (const auto band = decimal(first_characters(reply, digits)))
            settings.lte.add(*band);
    }
    return settings.lte.told;
}

// --- LTE,Enable Bands :1,3,7,   LTE,Disable Bands:20,   and the same for NR5G_NSA, NR5G_SA or NR5G   (T99W175)

struct EnableRow {
    std::string_view name;
    BandSet BandSettings::*set;
};
constexpr EnableRow enable_rows[] = {
    {"LTE", &BandSettings::lte}, {"NR5G_NSA", &BandSettings::nr_nsa}, {"NR5G_SA", &BandSettings::nr}};

bool read_enabled(std::string_view reply, bool disabled_too, BandSettings &settings)
{
    for (std::string_view line; next_line(reply, line);) {
        const std::string_view name = take_until(line, ",");
        const std::string_view what = take_until(line, ":");
        const bool is_wanted = starts_with_word(what, "ENABLE") || (disabled_too && starts_with_word(what, "DISABLE"));
        for (const EnableRow &row : enable_rows) {
            if (row.name != name || !is_wanted)
                continue;
            (settings.*row.set).told = true;
            while (!line.empty())
                if (const auto band = decimal(trim(take_until(line, ","))))
                    (settings.*row.set).add(*band);
        }
    }
    return settings.lte.told;
}

bool read_band_pref(const BandFamily &, std::string_view reply, BandSettings &settings)
{
    return read_enabled(reply, false, settings);
}

bool read_band_pref_all(const BandFamily &, std::string_view reply, BandSettings &settings)
{
    return read_enabled(reply, true, settings);
}

constexpr std::string_view mask_of_63_bands = "7FFFFFFFFFFFFFFF";

// clang-format off
constexpr BandFamily families[] = {
    {.tag = "+QNWPREFCFG:", .dialects = {"quectel"},
     .questions = {"AT+QNWPREFCFG=\"lte_band\"", "AT+QNWPREFCFG=\"nr5g_band\"", "AT+QNWPREFCFG=\"nsa_nr5g_band\""},
     .supported = "AT+QNWPREFCFG=\"policy_band\"", .read = read_lists, .read_supported = read_lists,
     .write = "AT+QNWPREFCFG=\"lte_band\",%L\nAT+QNWPREFCFG=\"nr5g_band\",%N\nAT+QNWPREFCFG=\"nsa_nr5g_band\",%A\n"},
    // 0 leaves the other masks as they are. Of three masks, 1 comes after the last: at once.
    {.tag = "+QCFG:", .dialects = {"quectel"}, .questions = {"AT+QCFG=\"band\""}, .supported = nullptr,
     .read = read_mask, .read_supported = nullptr, .write = "AT+QCFG=\"band\",0,%m%t\n",
     .mask_field = 2, .needs_bands = true, .all_lte = mask_of_63_bands},
    {.tag = "+GTACT:", .dialects = {"fibocom"}, .questions = {"AT+GTACT?"}, .supported = "AT+GTACT=?",
     .read = read_gtact, .read_supported = read_gtact_list, .write = "AT+GTACT=%r%c\n"},
    {.tag = "+XACT:", .dialects = {"fibocom"}, .questions = {"AT+XACT?"}, .supported = "AT+XACT=?",
     .read = read_gtact, .read_supported = read_gtact_list, .write = "AT+XACT=%r%c\n"},
    // The row 10 is for sets of the user's own. The password is the same for all modems of the maker.
    {.tag = "!BAND:", .dialects = {"sierra"}, .questions = {"AT!BAND?"}, .supported = "AT!BAND=?",
     .read = read_band_table, .read_supported = read_band_table,
     .write = "AT!ENTERCND=\"A710\"\nAT!BAND=10,\"modemctl\",%r,%M\nAT!BAND=10\n", .all = "AT!BAND=00\n"},
    {.tag = "+CSYSSEL:", .dialects = {"simcom"},
     .questions = {"AT+CSYSSEL=\"lte_band\"", "AT+CSYSSEL=\"nr5g_band\"", "AT+CSYSSEL=\"nsa_nr5g_band\""},
     .supported = nullptr, .read = read_lists, .read_supported = nullptr,
     .write = "AT+CSYSSEL=\"lte_band\",%L\nAT+CSYSSEL=\"nr5g_band\",%N\nAT+CSYSSEL=\"nsa_nr5g_band\",%A\n"},
    {.tag = "+CNBP:", .dialects = {"simcom"}, .questions = {"AT+CNBP?"}, .supported = nullptr,
     .read = read_mask, .read_supported = nullptr, .write = "AT+CNBP=%1,0x%M%2\n",
     .mask_field = 1, .all_lte = "7FF3FDF3FFF"},
    {.tag = "#BND:", .dialects = {"telit"}, .questions = {"AT#BND?"}, .supported = "AT#BND=?",
     .read = read_bnd, .read_supported = read_bnd_list, .write = "AT#BND=%r%p\n"},
    // "99", 40000000, 2 and 4 leave the other parts as they are.
    {.tag = "^SYSCFGEX:", .dialects = {"huawei", "meig", "3gpp"}, .questions = {"AT^SYSCFGEX?"}, .supported = "AT^SYSCFGEX=?",
     .read = read_mask, .read_supported = read_syscfgex_list, .write = "AT^SYSCFGEX=\"99\",40000000,2,4,%m,,\n",
     .mask_field = 4, .needs_bands = true, .all_lte = mask_of_63_bands},
    // 2 allows bands and leaves the others as they are; 1 forbids.
    {.tag = "", .dialects = {"foxconn"}, .questions = {"AT^BAND_PREF_EXT?"}, .supported = "AT^BAND_PREF_EXT?",
     .read = read_band_pref, .read_supported = read_band_pref_all,
     .write = "AT^BAND_PREF_EXT=LTE,2,%L\nAT^BAND_PREF_EXT=LTE,1,%l\n"
              "AT^BAND_PREF_EXT=NR5G_NSA,2,%A\nAT^BAND_PREF_EXT=NR5G_NSA,1,%a\n"
              "AT^BAND_PREF_EXT=NR5G_SA,2,%N\nAT^BAND_PREF_EXT=NR5G_SA,1,%n\n"},
};
// clang-format on

} // namespace

std::span<const BandFamily> band_families()
{
    return families;
}
