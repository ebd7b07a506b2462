#include "simulator/usb/qmi_modem.h"

#include <algorithm>
#include <array>
#include <cstdlib>

// NAS: the network, the signal and what the modem may use.

namespace simulator {

namespace {

enum RadioInterface : uint8_t { no_radio = 0, gsm = 4, umts = 5, lte = 8 };
enum RegistrationState : uint8_t { not_registered = 0, registered = 1, searching = 2, denied = 3 };
enum ServiceStatus : uint8_t { no_service = 0, limited = 1, available = 2 };

/// What belongs to a technology.
struct Technology {
    const char *rat; ///< the variable's value
    RadioInterface radio;
    uint16_t mode_bit;       ///< among the technologies that the modem may use
    uint8_t data_capability; ///< EDGE, HSDPA+, LTE
    const char *scan_mode;   ///< of AT+QCFG="nwscanmode"
    uint8_t status_kind;     ///< of the two values in the system's information
    uint8_t info_kind;
};
constexpr std::array<Technology, 3> technologies = {{{"GSM", gsm, 1 << 2, 2, "1", 0x12, 0x17},
                                                     {"WCDMA", umts, 1 << 3, 12, "2", 0x13, 0x18},
                                                     {"LTE", lte, 1 << 4, 11, "3", 0x14, 0x19}}};
constexpr char ascii = 1; ///< of a name
constexpr uint16_t all_modes = 1 << 2 | 1 << 3 | 1 << 4;

const Technology *technology_of(const QmiModem &modem)
{
    const auto *found = std::ranges::find(technologies, modem.variable("rat"), &Technology::rat);
    return modem.variable("pin") == "READY" && found != technologies.end() ? found : nullptr;
}

std::string little(int number, size_t bytes)
{
    return little_endian(static_cast<uint32_t>(number), bytes);
}

bool is_roaming(const QmiModem &modem)
{
    return modem.variable("ps_registration") == "5";
}

RegistrationState registration(const QmiModem &modem)
{
    if (technology_of(modem) == nullptr)
        return modem.variable("cfun") == "1" && modem.variable("pin") == "READY" ? searching : not_registered;
    const std::string state = modem.variable("ps_registration");
    if (state == "1" || state == "5")
        return registered;
    return state == "3" ? denied : state == "2" ? searching : not_registered;
}

uint32_t hex_variable(const QmiModem &modem, const std::string &name)
{
    return static_cast<uint32_t>(strtoul(modem.variable(name).c_str(), nullptr, 16));
}

std::string plmn(const QmiModem &modem)
{
    return modem.variable("operator_2");
}

/// "23203" as two numbers.
std::string plmn_numbers(const QmiModem &modem)
{
    const std::string digits = plmn(modem);
    if (digits.size() < 5)
        return std::string(4, '\0');
    return little(atoi(digits.substr(0, 3).c_str()), 2) + little(atoi(digits.c_str() + 3), 2);
}

QmiAnswer serving_system(QmiModem &modem, const QmiRequest &)
{
    return {.values = serving_system_values(modem)};
}

QmiAnswer system_info(QmiModem &modem, const QmiRequest &)
{
    return {.values = system_info_values(modem)};
}

QmiAnswer home_network(QmiModem &modem, const QmiRequest &)
{
    if (modem.variable("pin") != "READY")
        return {.error = qmi_not_provisioned};
    return {.values = qmi_value(1, plmn_numbers(modem) + counted(modem.variable("operator_0")))};
}

/// In dBm, by AT+CSQ's steps.
int rssi(const QmiModem &modem, const Technology &technology)
{
    return -113 + 2 * atoi(modem.variable(std::string("csq_") + technology.rat).c_str());
}

struct LteSignal {
    int rsrq = 0;
    int rsrp = 0;
    int snr_tenths = 0;
};

/// As the modem tells it by AT+QCSQ: RSSI, RSRP, SINR in fifths of a dB from -20 on, RSRQ.
std::optional<LteSignal> lte_signal(QmiModem &modem)
{
    const auto fields = modem.ask_fields("AT+QCSQ", "+QCSQ: ");
    if (fields.size() < 5 || fields[0] != "LTE")
        return std::nullopt;
    return LteSignal{.rsrq = atoi(fields[4].c_str()),
                     .rsrp = atoi(fields[2].c_str()),
                     .snr_tenths = atoi(fields[3].c_str()) * 2 - 200};
}

QmiAnswer signal_strength(QmiModem &modem, const QmiRequest &)
{
    const Technology *technology = technology_of(modem);
    if (technology == nullptr)
        return {.error = qmi_unavailable};
    const int power = rssi(modem, *technology);
    std::string values = qmi_value(1, little(power, 1) + little(technology->radio, 1));
    values += qmi_value(0x11, little(1, 2) + little(-power, 1) + little(technology->radio, 1));
    if (const auto signal = lte_signal(modem); signal && technology->radio == lte)
        values += qmi_value(0x16, little(signal->rsrq, 1) + little(lte, 1)) +
                  qmi_value(0x17, little(signal->snr_tenths, 2)) + qmi_value(0x18, little(signal->rsrp, 2));
    return {.values = values};
}

QmiAnswer signal_info(QmiModem &modem, const QmiRequest &)
{
    return {.values = signal_values(modem)};
}

QmiAnswer selection(QmiModem &modem, const QmiRequest &)
{
    const std::string scan_mode = modem.variable("nwscanmode");
    const auto *only = std::ranges::find(technologies, scan_mode, &Technology::scan_mode);
    const uint16_t modes = only == technologies.end() ? all_modes : only->mode_bit;
    // no emergency; any roaming; the network chosen by itself; data and calls; LTE first
    return {.values = qmi_number(0x10, 0, 1) + qmi_number(0x11, modes, 2) + qmi_value(0x12, qmi_older_bands()) +
                      qmi_value(0x15, qmi_lte_bands(modem)) + qmi_number(0x14, 0xff, 2) +
                      qmi_number(0x16, modem.variable("cops_mode") == "1" ? 1 : 0, 1) + qmi_number(0x18, 2, 4) +
                      qmi_value(0x1c, std::string{3, lte, umts, gsm})};
}

QmiAnswer set_selection(QmiModem &modem, const QmiRequest &request)
{
    const auto modes = request.number(0x11, 2);
    if (!modes)
        return {};
    const uint16_t wanted = *modes & all_modes;
    if (wanted == 0)
        return {.error = qmi_invalid_argument};
    const auto *only = std::ranges::find(technologies, wanted, &Technology::mode_bit);
    // One or all: the modem has no other choice.
    const std::string mode = only == technologies.end() ? "0" : only->scan_mode;
    modem.ask("AT+QCFG=\"nwscanmode\"," + mode + ",1");
    return {};
}

QmiAnswer scan(QmiModem &modem, const QmiRequest &)
{
    const Technology *technology = technology_of(modem);
    if (technology == nullptr)
        return {.values = qmi_number(0x10, 0, 2)};
    // one network: in use, home, not forbidden, not preferred
    const auto in_use = static_cast<char>(1 | 1 << 2 | 2 << 4 | 2 << 6);
    return {.values =
                qmi_value(0x10, little(1, 2) + plmn_numbers(modem) + in_use + counted(modem.variable("operator_0"))) +
                qmi_value(0x11, little(1, 2) + plmn_numbers(modem) + little(technology->radio, 1))};
}

QmiAnswer plmn_name(QmiModem &modem, const QmiRequest &)
{
    // the service provider's name: coding, text; then the network's short and long name: coding, without the country's
    // letters, no spare bits, text
    const auto name = [](const std::string &text) { return std::string{ascii, 0, 0} + counted(text); };
    return {.values = qmi_value(0x10, std::string{ascii} + counted("") + name(modem.variable("operator_1")) +
                                          name(modem.variable("operator_0")))};
}

QmiAnswer attach(QmiModem &modem, const QmiRequest &request)
{
    if (const auto action = request.number(0x10, 1))
        modem.ask(*action == 1 ? "AT+CGATT=1" : "AT+CGATT=0");
    return {};
}

} // namespace

bool is_registered(const QmiModem &modem)
{
    return registration(modem) == registered && modem.variable("attached") != "0";
}

std::string serving_system_values(QmiModem &modem)
{
    const Technology *technology = technology_of(modem);
    const RegistrationState state = registration(modem);
    const bool in_network = state == registered && technology != nullptr;
    const char attached = in_network ? 1 : 2;
    // calls, data, a network of 3GPP, one technology
    std::string values =
        qmi_value(1, std::string{static_cast<char>(state), attached, attached, static_cast<char>(in_network ? 2 : 0), 1,
                                 static_cast<char>(technology != nullptr ? technology->radio : no_radio)});
    if (!in_network)
        return values;
    values += qmi_number(0x10, is_roaming(modem) ? 0 : 1, 1);
    values += qmi_value(0x11, std::string{1, static_cast<char>(technology->data_capability)});
    values += qmi_value(0x12, plmn_numbers(modem) + counted(modem.variable("operator_0")));
    const uint32_t area = hex_variable(modem, std::string("area_") + technology->rat);
    values += qmi_number(technology->radio == lte ? 0x24 : 0x1c, area, 2);
    return values + qmi_number(0x1d, hex_variable(modem, std::string("cell_") + technology->rat), 4);
}

std::string system_info_values(QmiModem &modem)
{
    const Technology *current = technology_of(modem);
    const RegistrationState state = registration(modem);
    std::string values;
    for (const Technology &technology : technologies) {
        const bool is_current = current == &technology;
        const char status = !is_current ? no_service : state == registered ? available : limited;
        values += qmi_value(technology.status_kind, std::string{status, status, is_current});
        if (!is_current || state != registered)
            continue;
        const std::string digits = plmn(modem) + "\xff\xff\xff\xff\xff\xff";
        const std::string area = little_endian(hex_variable(modem, std::string("area_") + technology.rat), 2);
        const bool is_lte = technology.radio == lte;
        // A 1 says that the value after it counts: calls and data, both; roaming; not forbidden; the area; the cell;
        // nothing refused; the network
        std::string info = std::string{1, 3, 1, 3, 1, is_roaming(modem), 1, 0};
        info += is_lte ? std::string{0, 0, 0} : '\1' + area;
        info += '\1' + little_endian(hex_variable(modem, std::string("cell_") + technology.rat), 4);
        info += std::string{0, 0, 0, 1} + digits.substr(0, 6);
        if (is_lte)
            info += '\1' + area;
        else if (technology.radio == umts)
            info += std::string{0, 0, 0, 0, 0, 0, 0}; // high speed, and the scrambling code
        else
            info += std::string{0, 0, 0, 0}; // EGPRS, and calls during data
        values += qmi_value(technology.info_kind, info);
    }
    return values;
}

std::string signal_values(QmiModem &modem)
{
    const Technology *technology = technology_of(modem);
    if (technology == nullptr)
        return {};
    const int power = rssi(modem, *technology);
    if (technology->radio == gsm)
        return qmi_value(0x12, little(power, 1));
    if (technology->radio == umts) {
        const auto fields = modem.ask_fields("AT+QCSQ", "+QCSQ: ");
        const int ecio = fields.size() > 3 ? atoi(fields[3].c_str()) : 0;
        return qmi_value(0x13, little(power, 1) + little(-2 * ecio, 2)); // in halves, without the sign
    }
    const LteSignal signal = lte_signal(modem).value_or(LteSignal{});
    return qmi_value(0x14,
                     little(power, 1) + little(signal.rsrq, 1) + little(signal.rsrp, 2) + little(signal.snr_tenths, 2));
}

std::span<const QmiRow> qmi_network_rows()
{
    static constexpr QmiRow rows[] = {
        {qmi_network, 0x00, accept_request},  {qmi_network, 0x02, accept_request}, {qmi_network, 0x03, accept_request},
        {qmi_network, 0x20, signal_strength}, {qmi_network, 0x21, scan},           {qmi_network, 0x22, accept_request},
        {qmi_network, 0x23, attach},          {qmi_network, 0x24, serving_system}, {qmi_network, 0x25, home_network},
        {qmi_network, 0x33, set_selection},   {qmi_network, 0x34, selection},      {qmi_network, 0x44, plmn_name},
        {qmi_network, 0x4d, system_info},     {qmi_network, 0x4f, signal_info},    {qmi_network, 0x50, accept_request},
        {qmi_network, 0x6c, accept_request},
    };
    return rows;
}

} // namespace simulator
