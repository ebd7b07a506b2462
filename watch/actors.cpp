#include "watch/actors.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <syslog.h>

#include "at/at_session.h"
#include "connection/power.h"
#include "core/model/modem.h"
#include "discovery/record/modem_port.h"
#include "platform/files.h"
#include "platform/interface_state.h"
#include "platform/shell.h"
#include "platform/ubus.h"
#include "readings/fields.h"
#include "watch/shell_lines.h"

namespace {

constexpr int ubus_limit_ms = 10'000;
constexpr int down_polls = 10;
constexpr int radio_pause_s = 3;
constexpr int radio_tries = 5;
constexpr int answer_limit_ms = 15'000; // what makers give AT+CFUN; a later answer would reach the next one who asks
constexpr int busy_tries = 10;          // a message daemon is done by then
constexpr int usb_pause_s = 2;
constexpr char reconnect_script[] = "/usr/libexec/modemctl-reconnect";
constexpr char hooks_folder[] = "/etc/hotplug.d/modem";
constexpr char full_restart[] = "AT+CFUN=1,1"; // 3GPP TS 27.007: full functionality, after a reset

Text<64> authorized_file(const char *bus)
{
    return Text<64>::format("/sys/bus/usb/devices/%s/authorized", bus);
}

Text<64> kept_file(const char *bus)
{
    return Text<64>::format("/etc/modemctl.%s", bus);
}

// A file of sysfs takes no draft beside it.
void put(const char *path, std::string_view text)
{
    const Fd file{open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    if (file && write(file.get(), text.data(), text.size()) < 0)
        syslog(LOG_WARNING, "%s cannot be written\n", path);
}

void call_interface(const char *iface, const char *method)
{
    ubus_call(Text<80>::format("network.interface.%s", iface).c_str(), method, ubus_limit_ms);
}

// The port is open for one command only. @return false if the modem did not obey, or another program keeps the port
bool tell_modem(const char *bus, const char *command)
{
    ModemPort modem{};
    Text<256> reply;
    InfoResult result{};
    int tries = busy_tries;
    do
        result = open_modem(bus, modem);
    while (result == InfoResult::port_busy && --tries > 0 && sleep(1) == 0);
    return result == InfoResult::reported &&
           modem.session.ask(command, reply, answer_limit_ms) == AtSession::Answer::complete &&
           strstr(reply.c_str(), "OK") != nullptr;
}

// Whoever takes the interface down while a stage is at work wants it down.
void reconnect(const char *iface)
{
    if (!is_started(interface_status(iface, 2).get()))
        return;
    call_interface(iface, "down");
    for (int i = 0; i < down_polls && interface_state(iface, 2) != interface_is_down; i++)
        sleep(1);
    call_interface(iface, "up"); // this also ends the network daemon's own refusal to try again
}

void restart_radio(const char *bus, const char *iface)
{
    tell_modem(bus, "AT+CFUN=4");
    sleep(radio_pause_s);
    // Neither a modem that is not ready yet nor whoever has the port meanwhile must leave it without its radio.
    for (int tries = 0; !tell_modem(bus, "AT+CFUN=1") && tries < radio_tries; tries++)
        sleep(radio_pause_s);
    reconnect(iface);
}

void switch_usb(const char *bus)
{
    put(authorized_file(bus).c_str(), "0");
    sleep(usb_pause_s);
    put(authorized_file(bus).c_str(), "1");
}

void refresh(const char *iface)
{
    for (const char *companion : {"", "_4", "_6"})
        call_interface(Text<64>::format("%s%s", iface, companion).c_str(), "renew");
}

void run_stage(const char *bus, const ModemDriver &rec, const char *iface, WatchStage stage)
{
    switch (stage) {
    case WatchStage::refresh:
        return refresh(iface);
    case WatchStage::reconnect:
        return reconnect(iface);
    case WatchStage::radio:
        return restart_radio(bus, iface);
    case WatchStage::modem:
        return restart_modem(bus, rec);
    case WatchStage::usb:
        return switch_usb(bus);
    case WatchStage::power:
        return power_cycle_modem(bus);
    case WatchStage::router:
        execCommand(reboot_router);
        return;
    case WatchStage::count:
        return;
    }
}

void do_action(const char *bus, const ModemDriver &rec, const WatchSettings &settings, WatchAction action,
               WatchStage stage)
{
    const char *iface = settings.iface.c_str();
    if (action == WatchAction::stage)
        run_stage(bus, rec, iface, stage);
    else if (action == WatchAction::disconnect)
        take_offline(iface);
    else if (action == WatchAction::enter_pin)
        tell_modem(bus, Text<24>::format("AT+CPIN=\"%s\"", settings.pin.c_str()).c_str());
    else
        bring_online(bus, iface);
}

// This one and the milder ones.
uint32_t allowed_stages(std::string_view last_stage)
{
    for (unsigned i = 0; i < watch_stages; i++)
        if (last_stage == watch_stage_name(static_cast<WatchStage>(i)))
            return (2U << i) - 1;
    return (2U << static_cast<unsigned>(WatchStage::power)) - 1;
}

} // namespace

uint32_t find_stages(const ModemDriver &rec, const char *bus, std::string_view last_stage)
{
    const auto bit = [](WatchStage stage, bool holds) { return holds ? stage_bit(stage) : 0U; };
    const uint32_t allowed = allowed_stages(last_stage);
    // An unlisted device may take a command for something else.
    const bool is_listed = !is_unknown_device(rec);
    const uint32_t power = bit(WatchStage::power, true) & allowed;
    return allowed &
           (bit(WatchStage::refresh, true) | bit(WatchStage::reconnect, true) | bit(WatchStage::radio, is_listed) |
            bit(WatchStage::modem, is_listed) | bit(WatchStage::usb, access(authorized_file(bus).c_str(), W_OK) == 0) |
            bit(WatchStage::power, power != 0 && can_power_cycle(bus)) | bit(WatchStage::router, true));
}

bool can_reconnect()
{
    return access(reconnect_script, X_OK) == 0;
}

bool is_being_connected(const char *bus)
{
    const auto path = Text<64>::format("/var/run/modemctl-reconnect.%s.lock", bus);
    const Fd lock{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)};
    return lock && flock(lock.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool is_started(json_object *status)
{
    // A handler that has given up for good clears "autostart" too, and leaves its error.
    json_object *errors = kjson_get_object(status, "errors");
    return (json_object_is_type(errors, json_type_array) && json_object_array_length(errors) > 0) ||
           !kjson_contain_key(status, "autostart") || kjson_get_boolean(status, "autostart");
}

void bring_online(const char *bus, const char *iface)
{
    if (can_reconnect())
        execCommand(compose_reconnect(bus));
    else
        call_interface(iface, "up");
}

void take_offline(const char *iface)
{
    call_interface(iface, "down");
}

void restart_modem(const char *bus, const ModemDriver &rec)
{
    const ModemTraits &traits = rec.traits;
    const bool has_own = !traits.restart_command.empty() && !traits.restart_is_off;
    tell_modem(bus, has_own ? traits.restart_command.c_str() : full_restart);
}

void act(const char *bus, const ModemDriver &rec, const WatchSettings &settings, WatchAction action, WatchStage stage)
{
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        for (const int number : {SIGTERM, SIGINT, SIGHUP})
            signal(number, SIG_IGN);
        do_action(bus, rec, settings, action, stage);
        _exit(0);
    }
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void call_hooks(const char *what, const char *bus, const char *iface, const char *state, std::string_view reason)
{
    if (access(hooks_folder, X_OK) != 0)
        return;
    Text<100> plain{reason};
    for (char *character = plain.data(); *character != '\0'; character++)
        if (!is_made_of({character, 1}, "_-. "))
            *character = ' ';
    fork_exec2(compose_call_hooks(what, bus, iface, state, plain.view()));
}

void show_on_led(std::string_view led, bool is_online)
{
    if (led.empty() || !is_made_of(led, "_-.:"))
        return;
    const Text<32> name{led};
    put(Text<96>::format("/sys/class/leds/%s/trigger", name.c_str()).c_str(), "none");
    put(Text<96>::format("/sys/class/leds/%s/brightness", name.c_str()).c_str(), is_online ? "255" : "0");
}

void read_kept(const char *bus, WatchMemory &memory)
{
    Text<64> text;
    read_file(kept_file(bus).c_str(), text.capacity() - 1, text);
    std::string_view rest = text.view();
    uint32_t numbers[3] = {};
    for (uint32_t &number : numbers) {
        take_until(rest, " "); // its name is for people
        number = static_cast<uint32_t>(decimal(take_until(rest, "\n")).value_or(0));
    }
    memory.reboots = numbers[0];
    memory.pin_sent = numbers[1];
    memory.by_hour[static_cast<size_t>(WatchStage::power)][0] = static_cast<uint8_t>(std::min(numbers[2], 4U));
    // Nobody knows how long ago that was, so this day's restart of the router counts as used.
    memory.by_hour[static_cast<size_t>(WatchStage::router)][0] = memory.reboots != 0 ? 1 : 0;
}

void keep(const char *bus, const WatchMemory &memory)
{
    const auto &powers = memory.by_hour[static_cast<size_t>(WatchStage::power)];
    uint32_t power = 0;
    for (const uint8_t count : powers)
        power += count;
    const bool is_refused = memory.cause == static_cast<uint32_t>(WatchCause::pin_refused);
    const auto text =
        Text<64>::format("reboots %u\npin %u\npower %u\n", memory.reboots, is_refused ? memory.pin_sent : 0, power);
    Text<64> before;
    const bool is_kept = read_file(kept_file(bus).c_str(), before.capacity() - 1, before) > 0;
    if (before != text.view() && (is_kept || memory.reboots != 0 || is_refused || power != 0))
        write_file(kept_file(bus).c_str(), text.view(), 0600);
}
