#include "readings/band_settings.h"

#include "readings/bands.h"
#include "readings/fields.h"

namespace {

constexpr BandSet BandSettings::*all_sets[] = {&BandSettings::lte, &BandSettings::nr, &BandSettings::nr_nsa};

} // namespace

bool BandSettings::operator==(const BandSettings &other) const
{
    for (const auto set : all_sets)
        if ((this->*set).told != (other.*set).told || (this->*set).bits != (other.*set).bits)
            return false;
    return true;
}

bool is_empty(const BandSet &set)
{
    return set.bits == BandSet{}.bits;
}

BandSet either(const BandSet &one, const BandSet &other)
{
    BandSet set{.told = one.told || other.told};
    for (size_t i = 0; i < set.bits.size(); i++)
        set.bits[i] = one.bits[i] | other.bits[i];
    return set;
}

BandSet without(const BandSet &set, const BandSet &other)
{
    BandSet left{.told = set.told};
    for (size_t i = 0; i < left.bits.size(); i++)
        left.bits[i] = set.bits[i] & ~other.bits[i];
    return left;
}

std::optional<BandSettings> parse_band_list(std::string_view list)
{
    BandSettings settings;
    if (list.empty() || list.ends_with(','))
        return std::nullopt;
    while (!list.empty()) {
        const std::string_view word = take_until(list, ",");
        const bool is_nr = starts_with_word(word, "N");
        const std::string_view digits = without_first(word, 1);
        const auto band = decimal(digits);
        if ((!is_nr && !starts_with_word(word, "B")) || !starts_with_digits(digits, 1) || !band || *band < 1 ||
            *band > highest_band)
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
    const auto change = [&](BandSet BandSettings::*set, bool is_checked) {
        const BandSet missing = is_checked ? without(wanted.nr, has.*set) : BandSet{};
        const BandSet bands = without(wanted.nr, missing);
        // A part of the setting without any band is one that modems refuse: it stays.
        if (!is_empty(bands))
            settings.*set = bands;
    };
    change(&BandSettings::nr, has.nr.told && keeps_nsa);
    if (keeps_nsa)
        change(&BandSettings::nr_nsa, has.nr_nsa.told);
    return settings;
}

BandSettings all_bands(std::string_view mask, const BandSettings &now, const BandSettings &has)
{
    BandSettings settings = now;
    for (const auto set : all_sets)
        settings.*set = either(now.*set, has.*set);
    if (!has.lte.told)
        add_mask(mask, settings.lte);
    return settings;
}

Text<8> first_unsupported(const BandSettings &wanted, const BandSettings &now, const BandSettings &has)
{
    struct Missing {
        char letter;
        BandSet bands;
    };
    const auto missing = [](const BandSet &set, const BandSet &in_use, const BandSet &listed) {
        const BandSet known = either(in_use, listed);
        return known.told && !listed.told ? BandSet{} : without(set, known);
    };
    const Missing rows[] = {
        {'B', missing(wanted.lte, now.lte, has.lte)},
        {'n', missing(wanted.nr, either(now.nr, now.nr_nsa), either(has.nr, has.nr_nsa))},
    };
    for (int band = 1; band <= highest_band; band++)
        for (const Missing &row : rows)
            if (row.bands.has(band))
                return Text<8>::format("%c%d", row.letter, band);
    return {};
}
