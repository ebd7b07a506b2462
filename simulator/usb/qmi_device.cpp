#include "simulator/usb/qmi_modem.h"

#include <charconv>

// DMS: the device itself.

namespace simulator {

namespace {

/// AT+CFUN's numbers by the operating modes.
constexpr int full_power = 1;
constexpr int radio_off = 4;
enum OperatingMode : uint32_t { online = 0, low_power = 1, offline = 3, restart = 4 };

QmiAnswer text_of(QmiModem &modem, const char *variable)
{
    return {.values = qmi_value(1, modem.variable(variable))};
}

QmiAnswer capabilities(QmiModem &, const QmiRequest &)
{
    // bits a second up and down; data and calls at once; a card; three technologies: GSM, UMTS, LTE
    return {.values = qmi_value(1, little_endian(50'000'000, 4) + little_endian(150'000'000, 4) +
                                       std::string{3, 2, 3, 4, 5, 8})};
}

QmiAnswer identity(QmiModem &modem, const QmiRequest &)
{
    // none of CDMA
    return {.values = qmi_value(0x10, "0") + qmi_value(0x11, modem.variable("imei"))};
}

QmiAnswer operating_mode(QmiModem &modem, const QmiRequest &)
{
    return {.values = qmi_number(1, modem.variable("cfun") == "1" ? online : low_power, 1)};
}

QmiAnswer set_operating_mode(QmiModem &modem, const QmiRequest &request)
{
    const auto mode = request.number(1, 1);
    if (!mode)
        return {.error = qmi_missing_argument};
    switch (*mode) {
    case online:
        modem.ask("AT+CFUN=" + std::to_string(full_power));
        return {};
    case low_power:
    case offline:
        modem.ask("AT+CFUN=" + std::to_string(radio_off));
        return {};
    case restart:
        modem.ask("AT+CFUN=1,1");
        return {};
    default:
        return {.error = qmi_invalid_argument};
    }
}

QmiAnswer iccid(QmiModem &modem, const QmiRequest &)
{
    if (modem.variable("pin") == "NOSIM")
        return {.error = qmi_no_card};
    return text_of(modem, "iccid");
}

QmiAnswer imsi(QmiModem &modem, const QmiRequest &)
{
    if (modem.variable("pin") != "READY")
        return {.error = qmi_no_card};
    return text_of(modem, "imsi");
}

QmiAnswer bands(QmiModem &modem, const QmiRequest &)
{
    return {.values = qmi_value(1, qmi_older_bands()) + qmi_value(0x10, qmi_lte_bands(modem))};
}

std::string mask_bytes(uint64_t mask)
{
    return little_endian(static_cast<uint32_t>(mask), 4) + little_endian(static_cast<uint32_t>(mask >> 32), 4);
}

} // namespace

std::string qmi_older_bands()
{
    // GSM 900 (with its extension) and 1800, GSM 850, WCDMA 2100 and 900
    return mask_bytes(1ULL << 7 | 1ULL << 8 | 1ULL << 9 | 1ULL << 19 | 1ULL << 22 | 1ULL << 49);
}

std::string qmi_lte_bands(const QmiModem &modem)
{
    const std::string text = modem.variable("band_lte");
    uint64_t mask = 0;
    if (text.starts_with("0x"))
        std::from_chars(text.data() + 2, text.data() + text.size(), mask, 16);
    return mask_bytes(mask);
}

std::span<const QmiRow> qmi_device_rows()
{
    static constexpr QmiRow rows[] = {
        {qmi_device, 0x00, accept_request},
        {qmi_device, 0x01, accept_request},
        {qmi_device, 0x20, capabilities},
        {qmi_device, 0x21, [](QmiModem &modem, const QmiRequest &) { return text_of(modem, "maker"); }},
        {qmi_device, 0x22, [](QmiModem &modem, const QmiRequest &) { return text_of(modem, "model_name"); }},
        {qmi_device, 0x23, [](QmiModem &modem, const QmiRequest &) { return text_of(modem, "revision"); }},
        {qmi_device, 0x24, [](QmiModem &, const QmiRequest &) { return QmiAnswer{.error = qmi_not_provisioned}; }},
        {qmi_device, 0x25, identity},
        {qmi_device, 0x2c, [](QmiModem &, const QmiRequest &) { return QmiAnswer{.values = qmi_value(1, "10000")}; }},
        {qmi_device, 0x2d, operating_mode},
        {qmi_device, 0x2e, set_operating_mode},
        {qmi_device, 0x3c, iccid},
        {qmi_device, 0x43, imsi},
        {qmi_device, 0x45, bands},
    };
    return rows;
}

} // namespace simulator
