#include "wifi/interference.h"

#include <algorithm>

#include "discovery/record/modem_record.h"
#include "drivers/quectel_config.h"
#include "platform/boards.h"
#include "platform/boxwifi.h"
#include "platform/shell.h"
#include "wifi/shell_lines.h"

namespace {

// The 2.4 GHz radio is "wifi0" on makers' routers. On OpenWrt it is the radio with this band, usually "radio0".
Text<8> radio_section(const Uci &uci)
{
    for (const char *name : {"radio0", "radio1"})
        if (uci.text<4>(Text<32>::format("wireless.%s.band", name).c_str()) == "2g" &&
            uci.text<12>("wireless.wifi0").empty())
            return name;
    return "wifi0";
}

struct Radio {
    Text<8> section;
    bool is_main_off;
    bool is_off; ///< the guests' network too
    Text<16> channel;
};

Radio read_radio()
{
    const Uci uci = kuci2_init();
    Radio radio;
    radio.is_main_off = uci.is_on("wireless.@wifi-iface[0].disabled");
    radio.is_off = radio.is_main_off && uci.is_on("wireless.guest2g.disabled");
    radio.section = radio_section(uci);
    radio.channel = uci.text<16>(Text<32>::format("wireless.%s.channel", radio.section.c_str()).c_str());
    return radio;
}

int32_t read_live_channel()
{
    const Radio radio = read_radio();
    if (!is_channel_free(radio.is_off, radio.channel.view()))
        return -1;
    Text<16> channel;
    const char *device = radio.is_main_off ? "ath3" : "ath0";
    if (radio.section != "wifi0")
        device = radio.section.c_str(); // OpenWrt's iwinfo knows a radio by its section
    getShellCommandReturnLine(compose_read_channel(device), channel);
    return text_to_int(channel.c_str());
}

void set_channel(int32_t channel)
{
    const Uci uci = kuci2_init();
    kuci2_begin(uci, "wireless");
    kuci2_set(uci, Text<32>::format("wireless.%s.channel", radio_section(uci).c_str()).c_str(),
              Text<12>::format("%d", channel).c_str());
    kuci2_commit(uci, "wireless");
    wifi_restart();
}

bool is_auto(std::string_view channel)
{
    return channel.empty() || channel == "auto";
}

} // namespace

int32_t pick_wifi_channel(int32_t channel, const LteBands &bands)
{
    const bool has_7 = std::ranges::find(bands, 7) != bands.end();
    const bool has_40 = std::ranges::find(bands, 40) != bands.end();
    if (has_7 && has_40)
        return channel == 1 || channel == 11 ? 6 : 0;
    if (has_40)
        return channel == 1 ? 11 : 0;
    return has_7 && channel == 11 ? 1 : 0;
}

int32_t pick_configured_channel(bool is_off, std::string_view channel)
{
    if (is_off)
        return -1;
    return is_auto(channel) ? 0 : text_to_int(Text<16>{channel}.c_str());
}

bool is_channel_free(bool is_off, std::string_view channel)
{
    return !is_off && is_auto(channel);
}

int32_t wifi_channel_hint(const LteBands &bands)
{
    const Radio radio = read_radio();
    const int32_t channel = pick_configured_channel(radio.is_off, radio.channel.view());
    return channel < 1 ? 0 : pick_wifi_channel(channel, bands);
}

int32_t read_lte_band(const char *bus, int32_t control_port, int place)
{
    return get_lte_band(bus, control_port, Text<32>::format("devconf.modem.dev%d", place + 1).c_str());
}

int check_interference(LteBands &bands)
{
    bands = {};
    if (this_board().keeps_wifi_channel)
        return -1;
    const ModemBuses buses = read_modem_buses(kuci2_init());
    bool has_modem = false;
    for (size_t place = 0; place < buses.size(); place++) {
        const char *bus = buses[place].c_str();
        ModemDriver rec;
        const Json info{json_object_new_object()};
        if (*bus != '\0')
            detect_modem(rec, info.get(), bus, RecordForm::full);
        if (*bus == '\0' || rec.modem_id < 0)
            continue;
        bands[place] = read_lte_band(bus, rec.control_port, static_cast<int>(place));
        has_modem = true;
    }
    return has_modem ? 0 : -1;
}

void avoid_interference(const LteBands &bands)
{
    if (const int32_t channel = pick_wifi_channel(read_live_channel(), bands); channel != 0)
        set_channel(channel);
}
