#include "readings/report.h"

#include "readings/fields.h"

// clang-format off
constexpr std::array<QuantityRow, static_cast<size_t>(Quantity::count)> quantity_rows = {{
    // key                   least   most             hundredths
    {"cell_id",              0,      (1LL << 36) - 2, false}, // the highest number of 28 and 36 bits is "none"; see tell
    {"tac",                  0,      0xFFFFFD,        false},
    {"lac",                  0,      0xFFFD,          false},
    {"pci",                  0,      1007,            false},
    {"psc",                  0,      511,             false},
    {"bsic",                 0,      63,              false},
    {"arfcn",                0,      3279165,         false},
    {"bandwidth_dl_mhz",     10,     40000,           true},
    {"bandwidth_ul_mhz",     10,     40000,           true},
    {"rssi_dbm",             -12000, -1000,           true},
    {"rsrp_dbm",             -15600, -3100,           true},
    {"rsrq_db",              -4300,  2000,            true},
    {"sinr_db",              -2400,  4100,            true},
    {"rscp_dbm",             -12400, -2000,           true},
    {"ecio_db",              -3300,  0,               true},
    {"rssi_diversity_dbm",   -12000, -1000,           true},
    {"rsrp_diversity_dbm",   -15600, -3100,           true},
}};
// clang-format on

const char *technology_name(Technology technology)
{
    static constexpr const char *names[] = {nullptr, "none", "GSM",    "WCDMA",    "CDMA",
                                            "LTE",   "eMTC", "NB-IoT", "NR5G-NSA", "NR5G-SA"};
    return names[static_cast<size_t>(technology)];
}

const char *registration_name(Registration registration)
{
    static constexpr const char *names[] = {"home",   "roaming", "registered",     "searching",
                                            "denied", "unknown", "not_registered", nullptr};
    return names[static_cast<size_t>(registration)];
}

const char *sim_state_name(SimState state)
{
    static constexpr const char *names[] = {nullptr,        "ready",        "pin",     "puk",  "puk2",
                                            "network_lock", "not_inserted", "failure", "busy", "error"};
    return names[static_cast<size_t>(state)];
}

void tell_text(TextOut out, std::string_view text)
{
    text = trim(text);
    if (out.empty() && text.find_first_not_of('-') != std::string_view::npos)
        out.assign(text);
}

std::optional<int64_t> Cell::get(Quantity quantity) const
{
    const auto index = static_cast<size_t>(quantity);
    if ((told_ >> index & 1) == 0)
        return std::nullopt;
    // The channels of the bands above 64 need 17 bits, of which some firmware prints 16.
    constexpr int64_t last_of_16_bits = 65535;
    // No LTE receiver measures more: a larger number is an index.
    constexpr int64_t most_sinr_of_lte = 3000;
    const int64_t value = values_[index];
    if (band.view().starts_with('B') && ((quantity == Quantity::sinr && value > most_sinr_of_lte) ||
                                         (quantity == Quantity::arfcn && value <= last_of_16_bits &&
                                          decimal(without_first(band.view(), 1)).value_or(0) > 64)))
        return std::nullopt;
    return value;
}

void Cell::tell(Quantity quantity, std::optional<int64_t> value)
{
    const auto index = static_cast<size_t>(quantity);
    if (!value || (told_ >> index & 1) != 0)
        return;
    const QuantityRow &row = quantity_rows[index];
    if (*value < row.least || *value > row.most)
        return;
    // "Unknown" is all ones in as many bits as the technology's number has.
    if (quantity == Quantity::cell_id && (*value == 0xFFFFFFF || *value == 0xFFFFFFFF))
        return;
    if ((quantity == Quantity::tac || quantity == Quantity::arfcn) && (*value | 1) == 0xFFFF) // no band has the channel
        return;
    values_[index] = *value;
    told_ |= uint32_t{1} << index;
}

void Cell::tell_band(std::optional<int64_t> number, bool is_nr)
{
    if (band.empty() && number && *number >= 1 && *number <= highest_band)
        band = Text<20>::format("%c%d", is_nr ? 'n' : 'B', static_cast<int>(*number));
}

void Cell::tell_band(std::string_view words)
{
    // "LTE BAND 3", "NR5G BAND 41", "EUTRAN-BAND3", "NR5G_BAND78", "NR N78": the number counts, the rest says which
    // family.
    constexpr std::string_view band_word = "BAND";
    words = trim(words);
    const size_t position = find_text(words, band_word);
    if (position != std::string_view::npos && position > 0) {
        const auto number = decimal(trim(without_first(words, position + band_word.size())));
        return tell_band(number, words.starts_with("NR"));
    }
    if (words.starts_with("NR"))
        return tell_band(decimal(without_first(words, words.find_last_of("Nn") + 1)), true);
    tell_text(band, words);
}

void Cell::tell_network(std::string_view mcc_digits, std::string_view mnc_digits)
{
    const auto mcc_number = decimal(mcc_digits);
    const auto mnc_number = decimal(mnc_digits);
    if (!mcc.empty() || !mcc_number || !mnc_number || mcc_digits.size() > 3 || mnc_digits.size() > 3 ||
        *mcc_number <= 0 || *mnc_number < 0)
        return;
    mcc = Text<4>::format("%03d", static_cast<int>(*mcc_number));
    mnc = Text<4>::format("%0*d", mnc_digits.size() > 2 ? 3 : 2, static_cast<int>(*mnc_number));
}

bool BandSet::has(int band) const
{
    const auto bit = static_cast<unsigned>(band - 1);
    return bit < highest_band && (bits[bit / 32] >> (bit % 32) & 1) != 0;
}

void BandSet::add(int64_t band)
{
    told = true;
    if (band >= 1 && band <= highest_band)
        bits[static_cast<size_t>(band - 1) / 32] |= uint32_t{1} << ((band - 1) % 32);
}

Report::Report() = default;

void Report::tell_technology(Technology told)
{
    if (technology == Technology::unknown)
        technology = told;
}

void Report::tell_nr_beside_lte()
{
    has_nr = true;
    if (technology == Technology::lte || technology == Technology::unknown)
        technology = Technology::nr_nsa;
}

void Report::tell_registration(Registration told)
{
    if (told < registration)
        registration = told;
}
