#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/text.h"

// What a modem reports about itself, as typed values. Every reader of a reply adds the values of its reply to the same
// Report. The first reply with a value wins, so the best questions are asked first. A value that the quantity cannot
// have (-32768, 255, an RSRP of -11 dBm) is how modems say "not measured". It is left out here, for all readers.

/// The radio technology in use. nr_nsa is an LTE anchor with an NR cell beside it (EN-DC).
enum class Technology : uint8_t { unknown, none, gsm, wcdma, cdma, lte, emtc, nb_iot, nr_nsa, nr_sa };

/// "LTE", "NR5G-SA" ...; null for unknown.
const char *technology_name(Technology technology);

/// A number that a reply reports about a cell. Levels and ratios are in hundredths of dBm and dB, bandwidths in
/// hundredths of MHz, the rest are plain numbers.
enum class Quantity : uint8_t {
    cell_id,
    tac,
    lac,
    pci,
    psc,
    bsic,
    arfcn, ///< EARFCN, NR-ARFCN, UARFCN or ARFCN, downlink
    bandwidth_dl,
    bandwidth_ul,
    rssi,
    rsrp,
    rsrq,
    sinr,
    rscp,
    ecio,
    rssi_diversity,
    rsrp_diversity,
    count
};

struct QuantityRow {
    const char *key; ///< its member in the JSON report
    int64_t least, most;
    bool in_hundredths;
};

/// The name, range and scale of each quantity, in the order of the enum. The ranges are those of 3GPP TS 27.007,
/// 36.133 and 38.133, a little wider if modems report beyond them.
// NOLINTNEXTLINE(bugprone-dynamic-static-initializers): a table of constants
extern const std::array<QuantityRow, static_cast<size_t>(Quantity::count)> quantity_rows;

/// What is reported about one cell.
struct Cell {
    Technology rat = Technology::unknown;
    Text<20> band;  ///< "B3", "n78", else the modem's text ("GSM 900")
    Text<4> mcc;    ///< three digits
    Text<4> mnc;    ///< two or three digits, as broadcast
    Text<4> duplex; ///< "FDD" or "TDD"
    bool primary = false;
    std::optional<bool> active; ///< true if a secondary carrier is in use

    std::optional<int64_t> get(Quantity quantity) const;
    /// Keeps value unless it is out of the quantity's range or the quantity has a value already.
    void tell(Quantity quantity, std::optional<int64_t> value);
    /// Sets the band unless it is set already: 3 becomes "B3", or "n3" on NR. Numbers outside 1 to 512 are not bands.
    void tell_band(std::optional<int64_t> number, bool is_nr);
    void tell_band(std::string_view words);
    /// Sets MCC and MNC unless they are set already. Leading zeros that a modem dropped are restored: "1" and "1" are
    /// "001" and "01".
    void tell_network(std::string_view mcc_digits, std::string_view mnc_digits);

  private:
    std::array<int64_t, static_cast<size_t>(Quantity::count)> values_{};
    uint32_t told_ = 0;
};

/// A list of at most N cells; further cells are left out.
template <size_t N> struct Cells {
    std::array<Cell, N> items{};
    size_t size = 0;

    Cell *add() { return size < N ? &items[size++] : nullptr; }
};

/// Best first, so that of several answers the smaller one counts. registered: the reply does not distinguish home from
/// roaming.
enum class Registration : uint8_t { home, roaming, registered, searching, denied, unknown, not_registered, untold };
const char *registration_name(Registration registration); ///< null for untold

enum class SimState : uint8_t { untold, ready, pin, puk, puk2, network_lock, not_inserted, failure, busy, error };
const char *sim_state_name(SimState state); ///< null for untold

inline constexpr int highest_band = 512;

/// Bands 1 to 512 as a set.
struct BandSet {
    std::array<uint32_t, 16> bits{};
    bool told = false;

    void add(int64_t band);
    bool has(int band) const;
};

struct Report {
    Report(); // not in the header: it is code for each member that is not zero

    Text<64> manufacturer;
    Text<64> model;
    Text<100> revision;
    Text<16> imei;
    std::optional<int64_t> temperature_c; ///< of the hottest sensor

    SimState sim_state = SimState::untold;
    Text<24> iccid; ///< 18 to 22 digits
    Text<16> imsi;
    Text<24> number;
    std::optional<int64_t> pin_tries;
    std::optional<int64_t> puk_tries;

    Registration registration = Registration::untold;
    bool sms_only = false; ///< the circuit-switched side serves SMS only
    Technology technology = Technology::unknown;
    Text<32> technology_detail; ///< the modem's finer word ("HSPA+")
    Text<64> operator_name;
    Text<12> modem_state; ///< the modem's word for the state of its cell: NOCONN, CONNECT, LIMSRV, SEARCH

    Cell serving;
    bool has_nr = false; ///< an NR cell is beside the LTE anchor; nr says what is known about it
    Cell nr;
    Cells<8> carriers;
    Cells<32> neighbours;
    std::optional<int64_t> csq_rssi_dbm;

    BandSet lte_bands;
    BandSet nr_bands;
    Text<8> scan_mode; ///< "auto", "gsm", "wcdma", "lte"

    /// The first reported technology counts.
    void tell_technology(Technology told);
    /// An NR cell is beside an LTE one. LTE, or no technology yet, becomes nr_nsa.
    void tell_nr_beside_lte();
    /// The best of all registrations counts.
    void tell_registration(Registration told);
};

/// Sets out unless it is set already or text is empty or of dashes alone. Spaces at the ends are removed; text is cut
/// at out's capacity.
void tell_text(TextOut out, std::string_view text);
