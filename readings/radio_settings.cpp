#include "readings/radio_settings.h"

#include "readings/bands.h"
#include "readings/fields.h"

namespace {

constexpr int most_bands = 512;

bool is_empty(const BandSet &set)
{
    for (const uint32_t word : set.bits)
        if (word != 0)
            return false;
    return true;
}

void add_all(BandSet &set, const BandSet &more)
{
    set.told = set.told || more.told;
    for (size_t i = 0; i < set.bits.size(); i++)
        set.bits[i] |= more.bits[i];
}

BandSet both(const BandSet &one, const BandSet &other)
{
    BandSet set{.told = true};
    for (size_t i = 0; i < set.bits.size(); i++)
        set.bits[i] = one.bits[i] & other.bits[i];
    return set;
}

// "1:3:7"
void append_bands(const BandSet &set, const char *between, CommandLines &out)
{
    const char *separator = "";
    for (int band = 1; band <= most_bands; band++)
        if (set.has(band)) {
            out.append(Text<16>::format("%s%d", separator, band).view());
            separator = between;
        }
}

// The bands from first on as a hexadecimal mask, in 16 digits for 64 bands at least.
Text<132> compose_mask(const BandSet &set, int first, int last, int least_digits)
{
    Text<132> mask;
    for (int top = last; top > first; top -= 4) {
        int digit = 0;
        for (int bit = 0; bit < 4; bit++)
            if (set.has(top - bit))
                digit |= 8 >> bit;
        const int place = (top - first + 1) / 4;
        if (digit != 0 || !mask.empty() || place <= least_digits)
            mask.append(Text<2>::format("%X", static_cast<unsigned>(digit)).view());
    }
    return mask;
}

Text<132> lte_mask(const BandSet &set, int least_digits)
{
    constexpr int masked_bands = 256;
    return compose_mask(set, 1, masked_bands, least_digits);
}

// --- lists: +QNWPREFCFG: "lte_band",1:3:7   +CSYSSEL: "lte_band",1:3:7

constexpr std::string_view list_keys[] = {"lte_band", "nr5g_band", "nsa_nr5g_band"};

bool read_lists(const BandFamily &family, std::string_view replies, BandSettings &settings)
{
    BandSet *sets[] = {&settings.lte, &settings.nr, &settings.nr_nsa};
    for (std::string_view record; next_record(replies, family.tag, record);) {
        const Fields fields{record};
        for (size_t i = 0; i < std::size(sets); i++)
            if (fields[0] == list_keys[i])
                add_list(fields[1], *sets[i]);
    }
    return settings.lte.told;
}

void compose_lists(const BandFamily &family, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    const BandSet *sets[] = {&settings.lte, &settings.nr, &settings.nr_nsa};
    for (size_t i = 0; i < std::size(sets); i++) {
        if (!sets[i]->told || is_empty(*sets[i]))
            continue;
        out.append("AT");
        out.append(first_characters(family.tag, std::string_view{family.tag}.size() - 1));
        out.append(Text<32>::format("=\"%s\",", list_keys[i].data()).view());
        append_bands(*sets[i], ":", out);
        out.append("\n");
    }
}

// --- +QCFG: "band",0x93,0x1a0000800d5,0x0   (EC25: GSM and WCDMA, LTE, TD-SCDMA; 0 leaves a part as it is)
//     +QCFG: "band",0xd0,0x1e200000095       (EC200A)

bool read_qcfg(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    for (std::string_view record; next_record(reply, family.tag, record);) {
        const Fields fields{record};
        if (fields[0] != "band" || !add_mask(fields[2], settings.lte))
            continue;
        settings.rest.assign(fields.size() > 3 ? ",0,1" : "");
        return !is_empty(settings.lte);
    }
    return false;
}

void compose_qcfg(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    out.append(Text<200>::format("AT+QCFG=\"band\",0,%s%s\n", lte_mask(settings.lte, 1).c_str(), settings.rest.c_str())
                   .view());
}

// --- +GTACT: 20,6,3,1,2,4,5,8,101,103,120,5041,5078   (RAT, two preferences; WCDMA as it is, LTE from 101 on, NR after
//     "50"), and AT+GTACT=?: (1,2,4),(2,3,6),(2,3,6),(),(1,5,8),(101,103),(),(),(501,5078)

constexpr std::string_view nr_prefix = "50";
constexpr int64_t lte_base = 100;

// @return false for a code of another technology
bool add_code(std::string_view code, BandSettings &settings)
{
    const auto number = decimal(code);
    if (!number || *number <= lte_base)
        return false;
    const bool is_nr = code.starts_with(nr_prefix) && code.size() > nr_prefix.size();
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
    constexpr int groups_before_bands = 4;
    std::string_view record = record_of(reply, family.tag);
    for (int group = 0; !record.empty(); group++) {
        take_until(record, "(");
        for (std::string_view codes = take_until(record, ")"); !codes.empty();) {
            const std::string_view code = take_until(codes, ",");
            if (group >= groups_before_bands)
                add_code(trim(code), settings);
        }
    }
    return settings.lte.told || settings.nr.told;
}

void compose_gtact(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    out.append("AT+GTACT=");
    out.append(settings.rest.view());
    for (int band = 1; band <= most_bands; band++)
        if (settings.lte.has(band))
            out.append(Text<16>::format(",%d", static_cast<int>(lte_base) + band).view());
    for (int band = 1; band <= most_bands; band++)
        if (settings.nr.has(band))
            out.append(Text<16>::format(",%s%d", nr_prefix.data(), band).view());
    out.append("\n");
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

// The row with this number is for sets of the user's own. The password is the same for all modems of the maker.
void compose_band_table(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    out.append(Text<200>::format("AT!ENTERCND=\"A710\"\nAT!BAND=10,\"modemctl\",%s,%s\nAT!BAND=10\n",
                                 settings.rest.c_str(), compose_mask(settings.lte, 1, 64, 16).c_str())
                   .view());
}

// --- +CNBP: 0x100200000EE80380,0x4800...07FFFFDF3FFF,0x000000000000003F   (SIM7600: GSM and WCDMA, LTE, TD-SCDMA)

bool read_cnbp(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    const Fields fields{record_of(reply, family.tag)};
    const bool is_whole =
        settings.rest.assign(fields[0]) && settings.rest.append(",") && settings.rest.append(fields[2]);
    return is_whole && is_made_of(settings.rest.view(), ",") && add_mask(fields[1], settings.lte);
}

void compose_cnbp(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    std::string_view last = settings.rest.view();
    const std::string_view first = take_until(last, ",");
    out.append("AT+CNBP=");
    out.append(first);
    out.append(",0x");
    out.append(lte_mask(settings.lte, 16).view());
    out.append(last.empty() ? "" : ",");
    out.append(last);
    out.append("\n");
}

// --- #BND: 0,22,A7E2BB0F38DF,42,1A0290800D7,7042,81A0290800D7,7442   (FN990: GSM, WCDMA, LTE up to 64 and above, NR
//     beside LTE, NR; the LM960 has the first four), and AT#BND=?: (0),(0-11,17,18),(A7E0BB0F38DF),(42)

struct MaskPair {
    BandSet BandSettings::*set;
    size_t field;
};
constexpr MaskPair bnd_pairs[] = {{&BandSettings::lte, 2}, {&BandSettings::nr_nsa, 4}, {&BandSettings::nr, 6}};

// Both halves of each pair, in hexadecimal digits. A modem with other than four or eight fields has other scales.
bool add_bnd(std::span<const std::string_view> fields, BandSettings &settings)
{
    if (fields.size() != 4 && fields.size() != 8)
        return false;
    for (const MaskPair &pair : bnd_pairs) {
        if (pair.field >= fields.size())
            break;
        BandSet low;
        BandSet high;
        if (!add_mask(fields[pair.field], low) || !add_mask(fields[pair.field + 1], high))
            return false;
        add_all(settings.*pair.set, low);
        for (int band = 1; band <= 64; band++)
            if (high.has(band))
                (settings.*pair.set).add(64 + band);
    }
    return true;
}

bool read_bnd(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    const Fields fields{record_of(reply, family.tag)};
    std::string_view texts[9];
    size_t count = 0;
    while (count < fields.size() && count < std::size(texts)) {
        texts[count] = fields[count];
        count++;
    }
    settings.rest.assign(texts[0]);
    settings.rest.append(",");
    settings.rest.append(texts[1]);
    return is_made_of(settings.rest.view(), ",") && add_bnd({texts, count}, settings);
}

bool read_bnd_list(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    std::string_view texts[9];
    size_t count = 0;
    std::string_view record = record_of(reply, family.tag);
    while (count < std::size(texts) && record.find('(') != std::string_view::npos) {
        take_until(record, "(");
        std::string_view group = take_until(record, ")");
        while (group.find('-') != std::string_view::npos)
            take_until(group, "-");
        texts[count++] = group;
    }
    return add_bnd({texts, count}, settings);
}

void compose_bnd(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    out.append("AT#BND=");
    out.append(settings.rest.view());
    for (const MaskPair &pair : bnd_pairs) {
        const BandSet &set = settings.*pair.set;
        if (set.told)
            out.append(
                Text<48>::format(",%s,%s", compose_mask(set, 1, 64, 1).c_str(), compose_mask(set, 65, 128, 1).c_str())
                    .view());
    }
    out.append("\n");
}

// --- ^SYSCFGEX: "00",3FFFFFFF,1,2,7FFFFFFFFFFFFFFF   (order, GSM and WCDMA, roaming, domain, LTE), and
//     AT^SYSCFGEX=?: ...,((800d7,"LTE BC1/LTE BC2/LTE BC3"),(7fffffffffffffff,"All Bands"))

bool read_syscfgex(const BandFamily &family, std::string_view reply, BandSettings &settings)
{
    const Fields fields{record_of(reply, family.tag)};
    return add_mask(fields[4], settings.lte) && !is_empty(settings.lte);
}

bool read_syscfgex_list(const BandFamily &, std::string_view reply, BandSettings &settings)
{
    constexpr std::string_view word = "LTE BC";
    for (size_t at = reply.find(word); at != std::string_view::npos; at = reply.find(word)) {
        reply = without_first(reply, at + word.size());
        const size_t digits = reply.find_first_not_of("0123456789");
        if (const auto band = decimal(first_characters(reply, digits)))
            settings.lte.add(*band);
    }
    return settings.lte.told;
}

// "99", 40000000, 2 and 4 leave the other parts as they are.
void compose_syscfgex(const BandFamily &, const BandSettings &settings, const BandSettings &, CommandLines &out)
{
    out.append(Text<200>::format("AT^SYSCFGEX=\"99\",40000000,2,4,%s,,\n", lte_mask(settings.lte, 1).c_str()).view());
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

// 2 allows bands and leaves the others as they are; 1 forbids.
void compose_band_pref(const BandFamily &, const BandSettings &settings, const BandSettings &has, CommandLines &out)
{
    for (const EnableRow &row : enable_rows) {
        const BandSet &wanted = settings.*row.set;
        BandSet others = has.*row.set;
        for (size_t i = 0; i < others.bits.size(); i++)
            others.bits[i] &= ~wanted.bits[i];
        for (const int state : {2, 1}) {
            const BandSet &set = state == 2 ? wanted : others;
            if (!wanted.told || is_empty(set))
                continue;
            out.append(Text<48>::format("AT^BAND_PREF_EXT=%s,%d,", row.name.data(), state).view());
            append_bands(set, ":", out);
            out.append("\n");
        }
    }
}

constexpr std::string_view mask_of_63_bands = "7FFFFFFFFFFFFFFF";

// clang-format off
constexpr BandFamily bands[] = {
    {.tag = "+QNWPREFCFG:", .dialects = {"quectel"},
     .questions = {"AT+QNWPREFCFG=\"lte_band\"", "AT+QNWPREFCFG=\"nr5g_band\"", "AT+QNWPREFCFG=\"nsa_nr5g_band\""},
     .supported = "AT+QNWPREFCFG=\"policy_band\"",
     .read = read_lists, .read_supported = read_lists, .compose = compose_lists},
    {.tag = "+QCFG:", .dialects = {"quectel"}, .questions = {"AT+QCFG=\"band\""}, .supported = nullptr,
     .read = read_qcfg, .read_supported = nullptr, .compose = compose_qcfg, .all_lte = mask_of_63_bands},
    {.tag = "+GTACT:", .dialects = {"fibocom"}, .questions = {"AT+GTACT?"}, .supported = "AT+GTACT=?",
     .read = read_gtact, .read_supported = read_gtact_list, .compose = compose_gtact},
    {.tag = "!BAND:", .dialects = {"sierra"}, .questions = {"AT!BAND?"}, .supported = "AT!BAND=?",
     .read = read_band_table, .read_supported = read_band_table, .compose = compose_band_table, .all = "AT!BAND=00\n"},
    {.tag = "+CSYSSEL:", .dialects = {"simcom"},
     .questions = {"AT+CSYSSEL=\"lte_band\"", "AT+CSYSSEL=\"nr5g_band\"", "AT+CSYSSEL=\"nsa_nr5g_band\""},
     .supported = nullptr, .read = read_lists, .read_supported = nullptr, .compose = compose_lists},
    {.tag = "+CNBP:", .dialects = {"simcom"}, .questions = {"AT+CNBP?"}, .supported = nullptr,
     .read = read_cnbp, .read_supported = nullptr, .compose = compose_cnbp, .all_lte = "7FF3FDF3FFF"},
    {.tag = "#BND:", .dialects = {"telit"}, .questions = {"AT#BND?"}, .supported = "AT#BND=?",
     .read = read_bnd, .read_supported = read_bnd_list, .compose = compose_bnd},
    {.tag = "^SYSCFGEX:", .dialects = {"huawei", "3gpp"}, .questions = {"AT^SYSCFGEX?"}, .supported = "AT^SYSCFGEX=?",
     .read = read_syscfgex, .read_supported = read_syscfgex_list, .compose = compose_syscfgex,
     .all_lte = mask_of_63_bands},
    {.tag = "", .dialects = {"foxconn"}, .questions = {"AT^BAND_PREF_EXT?"}, .supported = "AT^BAND_PREF_EXT?",
     .read = read_band_pref, .read_supported = read_band_pref_all, .compose = compose_band_pref},
};

// auto, 4g, 5g, 4g+5g, 3g, 2g
constexpr ModeFamily modes[] = {
    {.tag = "+QNWPREFCFG:", .dialects = {"quectel"}, .question = "AT+QNWPREFCFG=\"mode_pref\"", .key = "mode_pref",
     .field = 1, .keeps_record = false, .before = "AT+QNWPREFCFG=\"mode_pref\",", .after = "",
     .values = {"AUTO", "LTE", "NR5G", "LTE:NR5G|NR5G:LTE", "WCDMA", ""}},
    {.tag = "+QCFG:", .dialects = {"quectel"}, .question = "AT+QCFG=\"nwscanmode\"", .key = "nwscanmode",
     .field = 1, .keeps_record = false, .before = "AT+QCFG=\"nwscanmode\",", .after = ",1",
     .values = {"0", "3", "", "", "2", "1"}},
    // The record has the bands too, so the way back writes it all.
    {.tag = "+GTACT:", .dialects = {"fibocom"}, .question = "AT+GTACT?", .key = nullptr,
     .field = 0, .keeps_record = true, .before = "AT+GTACT=", .after = "",
     .values = {"20|10", "2", "14", "17", "1", ""}},
    // The numbers differ by firmware, the names do not.
    {.tag = "!SELRAT:", .dialects = {"sierra"}, .question = "AT!SELRAT?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT!SELRAT=", .after = "", .values = {}, .names = "AT!SELRAT=?"},
    {.tag = "+CNMP:", .dialects = {"simcom"}, .question = "AT+CNMP?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+CNMP=", .after = "",
     .values = {"2", "38", "71", "109", "14", "13"}},
    {.tag = "^SYSCFGEX:", .dialects = {"huawei", "3gpp"}, .question = "AT^SYSCFGEX?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT^SYSCFGEX=\"", .after = "\",40000000,2,4,40000000,,",
     .values = {"00", "03", "08", "0803|0308", "02", "01"}},
    {.tag = "+ZSNT:", .dialects = {"zte"}, .question = "AT+ZSNT?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+ZSNT=", .after = ",0,0", .values = {"0", "6", "", "", "2", "1"}},
    {.tag = "^SLMODE:", .dialects = {"foxconn"}, .question = "AT^SLMODE?", .key = nullptr,
     .field = 1, .keeps_record = false, .before = "AT^SLMODE=1,", .after = "",
     .values = {"0|7", "2", "4", "6", "1", ""}},
    // 3GPP TS 27.007. 25 and 31 are all that a 4G modem has.
    {.tag = "+WS46:", .dialects = {"telit", "3gpp", "fibocom"}, .question = "AT+WS46?", .key = nullptr,
     .field = 0, .keeps_record = false, .before = "AT+WS46=", .after = "",
     .values = {"35|38|25|31", "28", "36", "37", "22", "12"}},
};
// clang-format on

constexpr const char *mode_names[] = {"auto", "4g", "5g", "4g+5g", "3g", "2g", "other"};

bool has_word(std::string_view text, std::string_view word)
{
    return find_word(text, word) != std::string_view::npos;
}

// "LTE and NR 5G Only", "UMTS 3G Only", "Automatic"
RadioMode mode_of_words(std::string_view words)
{
    if (has_word(words, "AUTOMATIC"))
        return RadioMode::automatic;
    const bool has_4g = has_word(words, "LTE");
    const bool has_5g = has_word(words, "5G");
    const bool has_3g = has_word(words, "UMTS") || has_word(words, "WCDMA");
    const bool has_2g = has_word(words, "GSM");
    if (!has_word(words, "ONLY") || has_4g + has_5g + has_3g + has_2g > 2)
        return RadioMode::other;
    if (has_4g && has_5g)
        return RadioMode::only_4g_5g;
    if (has_4g + has_5g + has_3g + has_2g != 1)
        return RadioMode::other;
    return has_4g ? RadioMode::only_4g : has_5g ? RadioMode::only_5g : has_3g ? RadioMode::only_3g : RadioMode::only_2g;
}

RadioMode mode_of_value(const ModeFamily &family, std::string_view value)
{
    for (size_t i = 0; i < radio_modes; i++)
        for (std::string_view values = family.values[i]; !values.empty();)
            if (take_until(values, "|") == value)
                return static_cast<RadioMode>(i);
    return RadioMode::other;
}

} // namespace

bool BandSettings::operator==(const BandSettings &other) const
{
    for (const auto set : {&BandSettings::lte, &BandSettings::nr, &BandSettings::nr_nsa})
        if ((this->*set).told != (other.*set).told || (this->*set).bits != (other.*set).bits)
            return false;
    return true;
}

std::span<const BandFamily> band_families()
{
    return bands;
}

std::optional<BandSettings> parse_band_list(std::string_view list)
{
    BandSettings settings;
    if (list.empty())
        return std::nullopt;
    while (!list.empty()) {
        const bool is_last = list.find(',') == std::string_view::npos;
        const std::string_view word = take_until(list, ",");
        const bool is_nr = word.starts_with('n') || word.starts_with('N');
        const bool is_lte = word.starts_with('b') || word.starts_with('B');
        const std::string_view digits = without_first(word, 1);
        const auto band = decimal(digits);
        if ((!is_nr && !is_lte) || digits.empty() || !is_digit(digits.front()) || !band || *band < 1 ||
            *band > most_bands || (list.empty() && !is_last))
            return std::nullopt;
        (is_nr ? settings.nr : settings.lte).add(*band);
    }
    settings.nr_nsa = settings.nr;
    return settings;
}

BandSettings change_bands(const BandSettings &now, const BandSettings &wanted, const BandSettings &has)
{
    BandSettings settings = now;
    if (wanted.lte.told)
        settings.lte = wanted.lte;
    if (!wanted.nr.told)
        return settings;
    const bool keeps_nsa = now.nr_nsa.told || has.nr_nsa.told;
    settings.nr = has.nr.told && keeps_nsa ? both(wanted.nr, has.nr) : wanted.nr;
    if (keeps_nsa)
        settings.nr_nsa = has.nr_nsa.told ? both(wanted.nr, has.nr_nsa) : wanted.nr;
    // A part of the setting without any band is one that modems refuse: it stays.
    if (is_empty(settings.nr))
        settings.nr = now.nr;
    if (is_empty(settings.nr_nsa))
        settings.nr_nsa = now.nr_nsa;
    return settings;
}

BandSettings all_bands(const BandFamily &family, const BandSettings &now, const BandSettings &has)
{
    BandSettings settings = now;
    for (const auto set : {&BandSettings::lte, &BandSettings::nr, &BandSettings::nr_nsa})
        add_all(settings.*set, has.*set);
    if (!has.lte.told && !family.all_lte.empty())
        add_mask(family.all_lte, settings.lte);
    return settings;
}

Text<8> first_unsupported(const BandSettings &wanted, const BandSettings &now, const BandSettings &has)
{
    BandSet lte = now.lte;
    add_all(lte, has.lte);
    BandSet nr = now.nr;
    add_all(nr, now.nr_nsa);
    BandSet listed_nr = has.nr;
    add_all(listed_nr, has.nr_nsa);
    add_all(nr, listed_nr);
    for (int band = 1; band <= most_bands; band++) {
        if (wanted.lte.has(band) && (!lte.told || (has.lte.told && !lte.has(band))))
            return Text<8>::format("B%d", band);
        if (wanted.nr.has(band) && (!nr.told || (listed_nr.told && !nr.has(band))))
            return Text<8>::format("n%d", band);
    }
    return {};
}

const char *radio_mode_name(RadioMode mode)
{
    return mode_names[static_cast<size_t>(mode)];
}

RadioMode parse_radio_mode(std::string_view word)
{
    for (size_t i = 0; i < radio_modes; i++)
        if (word == mode_names[i])
            return static_cast<RadioMode>(i);
    return RadioMode::other;
}

std::span<const ModeFamily> mode_families()
{
    return modes;
}

std::optional<ModeSetting> read_mode(const ModeFamily &family, std::string_view reply)
{
    for (std::string_view record; next_record(reply, family.tag, record);) {
        const Fields fields{record};
        const std::string_view value = fields[family.field];
        if ((family.key != nullptr && fields[0] != family.key) || value.empty())
            continue;
        ModeSetting setting;
        setting.mode = family.names != nullptr ? mode_of_words(fields[1]) : mode_of_value(family, value);
        const bool is_whole = setting.value.assign(trim(family.keeps_record ? record : value));
        // It becomes a part of a command.
        if (is_whole && is_made_of(setting.value.view(), family.keeps_record ? "," : ":"))
            return setting;
    }
    return std::nullopt;
}

Text<40> values_of(const ModeFamily &family, RadioMode mode, std::string_view names)
{
    if (mode == RadioMode::other)
        return {};
    if (family.names == nullptr)
        return Text<40>{family.values[static_cast<size_t>(mode)]};
    // 06, LTE Only
    for (std::string_view line; next_line(names, line);) {
        const std::string_view index = trim(take_until(line, ","));
        if (index.size() == 2 && hexadecimal(index) && mode_of_words(line) == mode)
            return Text<40>{index};
    }
    return {};
}

CommandLines compose_mode(const ModeFamily &family, std::string_view value)
{
    CommandLines line{family.before};
    line.append(value);
    line.append(family.after);
    line.append("\n");
    return line;
}
