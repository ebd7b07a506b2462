#include "watch/ask_modem.h"

#include <algorithm>

#include "at/at_session.h"
#include "discovery/record/info.h"
#include "discovery/record/snapshot.h"
#include "readings/fields.h"

namespace {

WatchSim sim_of(SimState state)
{
    switch (state) {
    case SimState::ready:
    case SimState::puk2:
        return WatchSim::ready;
    case SimState::pin:
        return WatchSim::pin;
    case SimState::puk:
        return WatchSim::puk;
    case SimState::busy:
    case SimState::failure: // a restart of the modem may mend it
        return WatchSim::wait;
    case SimState::network_lock:
        return WatchSim::locked;
    case SimState::not_inserted:
    case SimState::error:
        return WatchSim::missing;
    case SimState::untold:
        break;
    }
    return WatchSim::untold;
}

WatchService service_of(Registration registration)
{
    if (registration <= Registration::registered)
        return WatchService::registered;
    if (registration == Registration::denied)
        return WatchService::denied;
    return registration == Registration::untold ? WatchService::untold : WatchService::searching;
}

// +CGPADDR: 1,"10.64.1.2"     (EC25; the addresses of all contexts)
bool has_other_address(const char *bus, const Text<16> &address)
{
    ModemPort modem{};
    Text<512> reply;
    if (address.empty() || open_modem(bus, modem) != InfoResult::reported)
        return false;
    modem.session.ask("AT+CGPADDR", reply, 2000);
    std::string_view rest = reply.view();
    bool has_any = false;
    for (std::string_view record; next_record(rest, "+CGPADDR:", record);) {
        const Fields fields{record};
        if (fields[1] == address.view())
            return false;
        has_any = has_any || (!fields[1].empty() && fields[1] != "0.0.0.0");
    }
    return has_any;
}

int16_t in_units(std::optional<int64_t> hundredths, int64_t unit)
{
    return hundredths ? static_cast<int16_t>(std::clamp<int64_t>(*hundredths / unit, -32767, 32767)) : not_measured;
}

// {"uptime_s":812,"interface":{...}}
void keep_interface(json_object *info, InterfaceText &text)
{
    const Json kept{json_object_new_object()};
    for (const char *member : {"uptime_s", "interface"})
        kjson_add_object(kept.get(), member, json_share(kjson_get_object(info, member)));
    if (!text.assign(one_line(kept.get())))
        text.clear();
}

void fill_sample(HistorySample &sample, const Report &report)
{
    const Cell &cell = report.serving;
    sample.technology = static_cast<uint8_t>(report.technology);
    sample.cell_id = cell.get(Quantity::cell_id).value_or(0);
    sample.rsrp_dbm = in_units(cell.get(Quantity::rsrp), 100);
    sample.rsrq_db10 = in_units(cell.get(Quantity::rsrq), 10);
    sample.sinr_db10 = in_units(cell.get(Quantity::sinr), 10);
    const auto rssi = cell.get(Quantity::rssi);
    sample.rssi_dbm = rssi ? in_units(rssi, 100) : in_units(report.csq_rssi_dbm, 1);
}

} // namespace

void ask_modem(const char *bus, Scene &scene, WatchSettings &settings, WatchObservation &seen, HistorySample &sample,
               InterfaceText &last)
{
    const Json info{json_object_new_object()};
    const Json before{last.empty() ? nullptr : json_tokener_parse(last.c_str())};
    Report report;
    const InfoResult result = add_info(info.get(), bus, PortUse::one_question, &report, before.get());
    keep_interface(info.get(), last);
    seen.is_told = true;
    seen.is_silent = result == InfoResult::no_answer;
    seen.is_busy = result == InfoResult::port_busy;
    if (result != InfoResult::reported)
        return;
    write_snapshot(bus, info.get());
    fill_sample(sample, report);
    if (!report.iccid.empty())
        scene.iccid = report.iccid;
    seen.sim = sim_of(report.sim_state);
    seen.service = service_of(report.registration);
    seen.pin_tries = static_cast<int32_t>(report.pin_tries.value_or(-1));
    seen.is_roaming_forbidden = report.registration == Registration::roaming &&
                                is_roaming_forbidden(settings.roaming.view(), report.serving.mcc.view());
    settings.config.pin_hash = hash_pin(report.iccid.view(), settings.pin.view());
    settings.config.jitter = hash_texts({report.imei.view()}) % 21;
    const bool is_suspect = scene.memory.state == static_cast<uint32_t>(WatchState::suspect);
    seen.has_other_address = is_suspect && has_other_address(bus, scene.address);
}
