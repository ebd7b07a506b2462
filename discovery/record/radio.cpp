#include "discovery/record/radio.h"

#include <csignal>
#include <cstring>

#include "at/reply.h"
#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "platform/tell_person.h"
#include "readings/band_commands.h"
#include "readings/fields.h"
#include "readings/identity.h"
#include "readings/registration.h"

namespace {

constexpr char bands_file[] = "bands-before";
constexpr char mode_file[] = "mode-before";
constexpr int question_limit_ms = 3000;
constexpr int write_limit_ms = 10'000;
constexpr int poll_ms = 2000;
constexpr Why no_way = "this modem has no command for it that the program knows";

using Reply = Text<2048>;

class RadioPort {
  public:
    RadioResult open(const char *bus)
    {
        const InfoResult opened = open_modem(bus, modem_);
        if (opened != InfoResult::reported)
            return static_cast<RadioResult>(opened);
        Report identity;
        Reply reply;
        const bool answers = modem_.session.ask("ATI", reply, question_limit_ms) == AtSession::Answer::complete;
        read_ati(reply.view(), identity);
        if (answers && identity.manufacturer.empty() && ask("AT+CGMI", reply))
            read_manufacturer(reply.view(), identity);
        dialect_ = pick_dialect(identity, modem_.usb_vendor).name;
        return answers ? RadioResult::done : RadioResult::no_answer;
    }

    /// @return whether the modem answered OK
    bool ask(const char *command, TextOut reply, int limit_ms = question_limit_ms)
    {
        return modem_.session.ask(command, reply, limit_ms) == AtSession::Answer::complete &&
               reply_has_ok(reply.view());
    }

    /// @return whether the modem took each line
    bool write(const CommandLines &commands)
    {
        bool is_taken = !commands.empty();
        for (std::string_view rest = commands.view(); !rest.empty();) {
            Reply reply;
            is_taken = ask(Text<512>{take_until(rest, "\n")}.c_str(), reply, write_limit_ms) && is_taken;
        }
        return is_taken;
    }

    /// What sort of modem it is: commands that are kept for one are not for another on the same bus.
    Text<12> kind() const { return Text<12>::format("%04x:%04x", modem_.usb_vendor, modem_.usb_product); }

    template <class Family> bool speaks(const Family &family) const
    {
        for (const char *dialect : family.dialects)
            if (dialect != nullptr && strcmp(dialect, dialect_) == 0)
                return true;
        return false;
    }

    void close() { modem_.session.close(); }

  private:
    ModemPort modem_{};
    const char *dialect_ = "";
};

// Holds back the signals that end the program, so that a change is either whole or undone. A signal that came is
// delivered at the end of the scope.
class HeldSignals {
  public:
    HeldSignals()
    {
        sigemptyset(&held_);
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action = {};
            // One that is ignored, as by nohup, does not end the program.
            if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
                sigaddset(&held_, number);
        }
        sigprocmask(SIG_BLOCK, &held_, &before_);
    }
    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;
    ~HeldSignals()
    {
        if (came_ > 0)
            raise(came_);
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }

    /// @return whether one has come
    bool wait(int ms)
    {
        const timespec limit = {.tv_sec = ms / 1000, .tv_nsec = long{ms % 1000} * 1'000'000};
        if (came_ <= 0)
            came_ = sigtimedwait(&held_, nullptr, &limit);
        return came_ > 0;
    }

  private:
    sigset_t held_{};
    sigset_t before_{};
    int came_ = 0;
};

bool is_registered(const char *bus)
{
    RadioPort port;
    if (port.open(bus) != RadioResult::done)
        return false;
    Report report;
    for (const char *command : {"AT+C5GREG?", "AT+CEREG?", "AT+CREG?"}) {
        Reply reply;
        if (port.ask(command, reply))
            read_registration(reply.view(), report);
    }
    return report.registration == Registration::home || report.registration == Registration::roaming ||
           report.registration == Registration::registered;
}

// Just after a change, a modem may still report the network that it is about to leave: it counts the second time.
bool finds_network(const char *bus, const RadioOptions &options, HeldSignals &signals, Why &why)
{
    tell_person("waiting up to %d s for a network, without one the change is undone", options.wait_s);
    const int64_t deadline = monotonic_ms() + int64_t{options.wait_s} * 1000;
    for (int times = 0; times < 2; times = is_registered(bus) ? times + 1 : 0) {
        if (monotonic_ms() >= deadline) {
            why.out().assign_format("no network within %d s, so the change is undone", options.wait_s);
            return false;
        }
        if (signals.wait(poll_ms)) {
            why = "interrupted, so the change is undone";
            return false;
        }
    }
    return true;
}

// The port may be busy, or away for a moment while the modem looks for networks.
void undo(const char *bus, const char *file, const CommandLines &before, Why &why)
{
    constexpr int most_tries = 10;
    for (int tries = 0; tries < most_tries; tries++) {
        RadioPort port;
        if (port.open(bus) == RadioResult::done && port.write(before)) {
            remove_state(bus, file);
            return;
        }
        const timespec pause = {.tv_sec = poll_ms / 1000, .tv_nsec = 0};
        nanosleep(&pause, nullptr);
    }
    why.append("; the modem did not take it, try --restore");
}

// What comes after the writing: is_set says whether the modem has what was asked for.
RadioResult finish_change(const char *bus, const char *file, const CommandLines &before, RadioPort &port, bool is_set,
                          const RadioOptions &options, HeldSignals &signals, Why &why)
{
    port.close();
    if (is_set && (options.keeps || finds_network(bus, options, signals, why)))
        return RadioResult::done;
    if (why.empty())
        why = "the modem refuses it";
    undo(bus, file, before, why);
    return RadioResult::refused;
}

// The sort of modem, and the commands that bring it back.
void keep_before(const char *bus, const char *file, const RadioPort &port, const CommandLines &before)
{
    write_state(bus, file, Text<1220>::format("%s\n%s", port.kind().c_str(), before.c_str()).view());
}

// Asks for the bands by the first family that the modem understands. @return null without one
const BandFamily *ask_bands(RadioPort &port, BandReport &report)
{
    for (const BandFamily &family : band_families()) {
        if (!port.speaks(family))
            continue;
        report = {};
        bool is_read = false;
        for (const char *question : family.questions) {
            Reply reply;
            if (question != nullptr && port.ask(question, reply))
                is_read = family.read(family, reply.view(), report.now) || is_read;
        }
        if (!is_read)
            continue;
        Text<4096> reply;
        if (family.supported != nullptr && port.ask(family.supported, reply))
            family.read_supported(family, reply.view(), report.has);
        return &family;
    }
    return nullptr;
}

const ModeFamily *ask_mode(RadioPort &port, ModeSetting &setting)
{
    for (const ModeFamily &family : mode_families()) {
        Reply reply;
        if (!port.speaks(family) || !port.ask(family.question, reply))
            continue;
        if (const auto read = read_mode(family, reply.view())) {
            setting = *read;
            return &family;
        }
    }
    return nullptr;
}

RadioResult restore(const char *bus, const char *file, Why &why)
{
    RadioPort port;
    if (const RadioResult opened = port.open(bus); opened != RadioResult::done)
        return opened;
    Text<1220> kept;
    read_state(bus, file, kept.capacity() - 1, kept);
    std::string_view before = kept.view();
    if (take_until(before, "\n") != port.kind().view() || before.empty()) {
        why = "nothing is kept of this modem from before a change";
        return RadioResult::refused;
    }
    HeldSignals signals;
    if (!port.write(CommandLines{before})) {
        why = "the modem refuses what it had before";
        return RadioResult::refused;
    }
    remove_state(bus, file);
    return RadioResult::done;
}

} // namespace

RadioResult read_bands(const char *bus, BandReport &report, Why &why)
{
    RadioPort port;
    if (const RadioResult opened = port.open(bus); opened != RadioResult::done)
        return opened;
    if (ask_bands(port, report) != nullptr)
        return RadioResult::done;
    why = no_way;
    return RadioResult::refused;
}

RadioResult set_bands(const char *bus, const BandSettings *wanted, const RadioOptions &options, BandReport &report,
                      Why &why)
{
    RadioPort port;
    if (const RadioResult opened = port.open(bus); opened != RadioResult::done)
        return opened;
    const BandFamily *family = ask_bands(port, report);
    if (family == nullptr) {
        why = no_way;
        return RadioResult::refused;
    }
    if (wanted != nullptr)
        if (const Text<8> band = first_unsupported(*wanted, report.now, report.has); !band.empty()) {
            why.out().assign_format("the modem does not support %s", band.c_str());
            return RadioResult::refused;
        }
    const BandSettings target = wanted != nullptr ? change_bands(report.now, *wanted, report.has)
                                                  : all_bands(family->all_lte, report.now, report.has);
    const CommandLines before = compose_bands(family->write, report.now, report.has);
    const bool uses_all_command = wanted == nullptr && family->all != nullptr;
    HeldSignals signals;
    keep_before(bus, bands_file, port, before);
    const bool is_taken =
        port.write(uses_all_command ? CommandLines{family->all} : compose_bands(family->write, target, report.has));
    // Modems leave bands out that they do not have, without a word. Of all bands that is right.
    const bool is_set = is_taken && ask_bands(port, report) == family && (wanted == nullptr || report.now == target);
    return finish_change(bus, bands_file, before, port, is_set, options, signals, why);
}

RadioResult read_radio_mode(const char *bus, ModeSetting &setting, Why &why)
{
    RadioPort port;
    if (const RadioResult opened = port.open(bus); opened != RadioResult::done)
        return opened;
    if (ask_mode(port, setting) != nullptr)
        return RadioResult::done;
    why = no_way;
    return RadioResult::refused;
}

RadioResult set_radio_mode(const char *bus, RadioMode wanted, const RadioOptions &options, ModeSetting &setting,
                           Why &why)
{
    RadioPort port;
    if (const RadioResult opened = port.open(bus); opened != RadioResult::done)
        return opened;
    const ModeFamily *family = ask_mode(port, setting);
    if (family == nullptr) {
        why = no_way;
        return RadioResult::refused;
    }
    Reply names;
    if (family->names != nullptr)
        port.ask(family->names, names);
    const Text<40> values = values_of(*family, wanted, names.view());
    if (values.empty()) {
        why.out().assign_format("the modem has no mode %s", radio_mode_name(wanted));
        return RadioResult::refused;
    }
    const CommandLines before = compose_mode(*family, setting.value.view());
    HeldSignals signals;
    keep_before(bus, mode_file, port, before);
    bool is_taken = false;
    for (std::string_view rest = values.view(); !rest.empty() && !is_taken;)
        is_taken = port.write(compose_mode(*family, take_until(rest, "|")));
    const bool is_set = is_taken && ask_mode(port, setting) == family && setting.mode == wanted;
    return finish_change(bus, mode_file, before, port, is_set, options, signals, why);
}

RadioResult restore_bands(const char *bus, BandReport &report, Why &why)
{
    const RadioResult result = restore(bus, bands_file, why);
    return result == RadioResult::done ? read_bands(bus, report, why) : result;
}

RadioResult restore_radio_mode(const char *bus, ModeSetting &setting, Why &why)
{
    const RadioResult result = restore(bus, mode_file, why);
    return result == RadioResult::done ? read_radio_mode(bus, setting, why) : result;
}
