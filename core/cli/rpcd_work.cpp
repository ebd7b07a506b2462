#include "core/cli/rpcd_work.h"

#include <sys/mman.h>
#include <unistd.h>

#include "core/cli/info_command.h"
#include "discovery/record/recorder.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/interface_state.h"
#include "platform/uci.h"
#include "readings/fields.h"
#include "watch/actors.h"
#include "watch/settings.h"
#include "watch/watch.h"

namespace {

constexpr int status_failed = 4;
constexpr int reload_timeout_s = 5;

bool add_up(const char *iface, json_object *result)
{
    const bool is_up = interface_state(iface, 2) == interface_is_up;
    kjson_add_boolean(result, "up", is_up);
    return is_up;
}

// An interface that a person has disabled stays down whoever asks for it.
void enable_interface(const char *iface)
{
    const Uci uci = kuci2_init();
    kuci2_set_name(uci, "network", iface, "disabled", "0");
    kuci2_commit(uci, "network");
}

void take_down(const char *iface)
{
    constexpr int longest_wait_s = 20;
    take_offline(iface);
    for (int i = 0; i < longest_wait_s && interface_state(iface, 2) != interface_is_down; i++)
        sleep(1);
}

} // namespace

int work_refresh(const RpcdCall &call, json_object *result)
{
    Json report;
    const InfoResult status = newest_report(call.bus.c_str(), no_age, report);
    rpcd_add_members(result, report.get());
    return static_cast<int>(status);
}

int work_connect(const RpcdCall &call, json_object *result)
{
    constexpr int longest_wait_s = 40;
    constexpr int longest_rest_s = 15; // another process may have begun to connect
    const WatchSettings settings = read_watch_settings(call.bus.c_str());
    const char *iface = settings.iface.c_str();
    if (settings.is_disabled)
        enable_interface(iface);
    resume_watch(call.bus.c_str());
    // What is up has the settings before, or a session that is dead: nothing would bring it online again.
    if (interface_state(iface, 2) == interface_is_up)
        take_down(iface);
    reload_network(reload_timeout_s);
    bring_online(call.bus.c_str(), iface);
    for (int i = 0; i < longest_wait_s; i++) {
        const InterfaceState state = interface_state(iface, 2);
        if (state == interface_is_up || (state == interface_is_down && i >= longest_rest_s))
            break;
        sleep(1);
    }
    return add_up(iface, result) ? 0 : status_failed;
}

// The watch leaves alone what a person has taken down.
int work_disconnect(const RpcdCall &call, json_object *result)
{
    const auto iface = read_watch_settings(call.bus.c_str()).iface;
    take_down(iface.c_str());
    return add_up(iface.c_str(), result) ? status_failed : 0;
}

int work_restart(const RpcdCall &call, json_object *result)
{
    constexpr unsigned goes_after_s = 5;
    constexpr unsigned look_again_s = 2;
    constexpr int64_t longest_start_ms = 120'000;
    const char *bus = call.bus.c_str();
    const int64_t begin_ms = monotonic_ms();
    InfoResult found = InfoResult::no_modem;
    {
        ModemPort modem{};
        found = open_modem(bus, modem);
        modem.session.close();
        if (found != InfoResult::reported)
            return static_cast<int>(found);
        restart_modem(bus, modem.rec);
    }
    sleep(goes_after_s);
    while (monotonic_ms() - begin_ms < longest_start_ms) {
        ModemPort modem{};
        Text<64> reply;
        if (open_modem(bus, modem) == InfoResult::reported &&
            modem.session.ask("AT", reply, 1000) == AtSession::Answer::complete) {
            kjson_add_int(result, "back_after_s", static_cast<int32_t>((monotonic_ms() - begin_ms) / 1000));
            return 0;
        }
        modem.session.close();
        sleep(look_again_s);
    }
    return status_failed;
}

int work_at(const RpcdCall &call, json_object *result)
{
    constexpr int usual_limit_ms = 60'000;
    constexpr int search_limit_ms = 180'000; // of AT+COPS=?, which looks at all networks
    const std::string_view command = call.text(RpcdArgument::command);
    const int limit_ms = command.ends_with("=?") ? search_limit_ms : usual_limit_ms;
    ModemPort modem{};
    Text<4096> reply;
    const InfoResult found = open_modem(call.bus.c_str(), modem);
    if (found != InfoResult::reported)
        return static_cast<int>(found);
    const bool is_complete = modem.session.ask(command.data(), reply, limit_ms) == AtSession::Answer::complete;
    // The last line end can come too late to be read with its line.
    kjson_add_string(result, "reply", trim(reply.view()));
    return static_cast<int>(is_complete ? InfoResult::reported : InfoResult::no_answer);
}

// The file is this process's own, so nothing of it is left when the job is killed.
int work_record(const RpcdCall &call, json_object *result)
{
    constexpr size_t longest_transcript = size_t{128} * 1024;
    const Fd file{memfd_create("record", MFD_CLOEXEC)};
    bool is_written = true;
    const auto path = Text<32>::format("/proc/self/fd/%d", file.get());
    const InfoResult found = record_modem(call.bus.c_str(), path.c_str(), is_written);
    if (found != InfoResult::reported)
        return static_cast<int>(found);
    const HeapText text{static_cast<char *>(calloc(1, longest_transcript))};
    if (!is_written || text == nullptr || pread(file.get(), text.get(), longest_transcript - 1, 0) <= 0)
        return status_failed;
    kjson_add_string(result, "transcript", text.get());
    return 0;
}
