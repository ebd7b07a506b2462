#pragma once

#include <deque>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/modem/misbehave.h"
#include "simulator/modem/profile.h"

namespace simulator {

struct Scope;

/// How bytes leave the modem.
struct Delivery {
    size_t piece_bytes = 0;       ///< 0: whole
    Milliseconds interval_ms = 0; ///< between pieces
};

/// An event that happens to the modem without its host. The row of the profile whose command is "!" and text describes
/// it.
struct Happening {
    Milliseconds after; ///< the start
    std::string text;   ///< "message 23 0791..."
};

struct ModemOptions {
    Values variables; ///< initial values in place of the profile's
    Delivery delivery;
    std::vector<Fault> faults; ///< in addition to the profile's
    uint32_t seed = 1;         ///< of random intervals and garbage
    bool renumber = false;     ///< devices come back under other numbers after every absence
    std::vector<Happening> happenings{};
};

struct Event {
    enum class Kind {
        bytes,
        gone,
        back,
        dial,      ///< is there a network for a call? The answer is answer_dial
        online,    ///< from now on the interface's bytes are the call's, which the modem does not look at
        hold,      ///< they are commands again, and the call goes on
        hang_up,   ///< the call ends
        open_data, ///< the network interface carries packets of that context
        close_data
    } kind;
    Milliseconds at = 0;
    int interface = -1; ///< of bytes and calls
    std::string bytes{};
    bool renumbered = false; ///< of back: the device nodes get other numbers than before
    std::string context{};   ///< of dial and open_data: the PDP context
};

struct UnknownCommand {
    Milliseconds at;
    int interface;
    std::string command;
};

/// A simulated modem: bytes and time go in, bytes and events come out. It holds no descriptor and asks no clock; times
/// are the caller's, in milliseconds from any origin, and never run backwards. The modem is switched on at its
/// construction time.
///
///     Modem modem(load_profile(directory, "EC25"), {}, now);
///     modem.receive(2, "ATI\r\n", now);
///     for (const Event &event : modem.take_due(now)) ...
///     // then wait for input or until *modem.next_due()
class Modem {
  public:
    /// Throws std::invalid_argument when options name a variable that the profile lacks, a value that it does not
    /// allow, or something that no row of it lets happen.
    Modem(Profile profile, ModemOptions options, Milliseconds now = 0);

    /// Bytes that the host wrote to an interface. Bytes that cannot be a command are ignored, as a modem does; a line
    /// of more than 4096 characters is answered ERROR; commands that come while one is being answered wait (at most
    /// 64).
    void receive(int interface, std::string_view bytes, Milliseconds now);

    /// The events up to now, in the order of time. The bytes of each event must be written separately.
    std::vector<Event> take_due(Milliseconds now);
    /// When take_due next has something to do; nothing while the modem only waits for input.
    std::optional<Milliseconds> next_due() const;

    /// A data call of an interface goes through, or the network refuses it.
    void answer_dial(int interface, bool accepted, Milliseconds now);
    /// The network has ended the call, or its other side.
    void end_call(int interface, Milliseconds now);
    /// The host wrote "+++" between two silences: the call waits while it gives commands.
    void escape(int interface, Milliseconds now);
    /// The host's terminal is not ready any more. What becomes of a call says AT&D (variable dtr).
    void drop_dtr(int interface, Milliseconds now);

    /// Between gone and back nothing is received and nothing sent.
    bool attached() const { return attached_; }
    /// It has the fault "stuck".
    bool takes_no_bytes() const;
    const Profile &profile() const { return profile_; }
    /// Empty for a name that was never set.
    std::string variable(std::string_view name) const;
    void set_variable(const std::string &name, const std::string &value);
    /// What it answers to a command that comes another way than by a port; empty for one that it does not know.
    std::string ask(const std::string &command, Milliseconds now);
    /// Prints an unsolicited line now: on interface, or on the first that answers AT (-1).
    void send_unsolicited(int interface, std::string_view line, Milliseconds now);

    /// Commands that no row of the profile answers; they got ERROR.
    const std::vector<UnknownCommand> &unknown_commands() const { return unknown_; }
    /// How often each of profile().rows answered.
    const std::vector<size_t> &row_uses() const { return row_uses_; }

  private:
    static constexpr char plain_error[] = "ERROR\r\n";

    struct Task {
        enum class Kind { deliver, send, next_command, unsolicited, endless, detach, attach, happening, call } kind;
        int interface = -1;
        std::string bytes{};
        size_t index = 0;    ///< of unsolicited: in profile_.unsolicited
        int64_t number = 0;  ///< of endless: bytes at a time
        uint64_t answer = 0; ///< the answer that it belongs to; a later one makes it void
        Detach absence{};
        Event::Kind call{};    ///< of call
        std::string context{}; ///< of dial
    };
    struct PendingLine {
        std::string text;
        bool too_long;
    };
    /// Between "> " and the Ctrl-Z.
    struct Prompt {
        size_t row;
        Values taken;
        std::string command{}; ///< the whole line
        std::string text{};
    };
    enum class Call { none, dialling, online, held };
    struct Channel {
        std::string line;
        bool too_long = false;
        bool answering = false;
        bool endless = false;
        uint64_t answer = 0;      ///< counts answers
        Milliseconds free_at = 0; ///< when the next byte can go out
        std::deque<PendingLine> waiting;
        std::optional<Prompt> prompt;
        Call call = Call::none;
        std::string connected{}; ///< while dialling: the reply if the network accepts
    };
    struct LaterLine {
        int interface;
        Milliseconds at_ms;
        std::string bytes;
    };
    struct Answer {
        std::string before;
        std::vector<std::string> lines;
        Milliseconds delay_ms = 0;
        std::vector<LaterLine> after;
        std::optional<Detach> detach;
        std::optional<Prompt> prompt;
        std::optional<CallOrder> call;
        std::optional<DataOrder> data;
    };
    struct Match {
        const Row *row = nullptr;
        Values taken;
    };

    void start(Milliseconds now, bool again);
    void schedule(Milliseconds at, Task task);
    void schedule_unsolicited(size_t index, Milliseconds now);
    void advance(Milliseconds now);
    void run(Task &task, Milliseconds at);
    void next_command(const Task &task, Milliseconds at);
    void go_on_endlessly(const Task &task, Milliseconds at);
    void leave(const Detach &absence, Milliseconds at);
    void happen(const Task &task, Milliseconds at);
    void take_prompted(int interface, char byte, Milliseconds now);
    void take_line(int interface, Milliseconds now);
    void answer_next(int interface, Milliseconds now);
    void answer(int interface, const PendingLine &line, Milliseconds now);
    void give(int interface, const std::string &echo, Answer answer, const Misbehaviour &misbehaviour,
              Milliseconds now);
    void finish_answer(int interface, const Answer &answer, const Misbehaviour &misbehaviour, Milliseconds end);
    void check_call(int interface, Answer &answer);
    void start_call(int interface, const CallOrder &order, std::string reply, Milliseconds at);
    void finish_call(int interface, const CallOrder &order, Milliseconds end);
    void leave_call(int interface, Call next, std::string_view result, Milliseconds now);
    void schedule_call(Event::Kind kind, int interface, Milliseconds at, const std::string &context = {});
    void schedule_data(const DataOrder &order, Milliseconds at);
    Answer compose(int interface, const std::string &line, Milliseconds now);
    void compose_one(int interface, const std::string &command, Milliseconds now, Answer &answer);
    void work_row(int interface, const Row &row, const Scope &scope, Answer &answer);
    Match find_row(const std::string &command) const;
    Milliseconds sending_time(size_t bytes) const;
    Milliseconds send(int interface, std::string_view bytes, Milliseconds at);

    Profile profile_;
    ModemOptions options_;
    std::vector<Fault> faults_;
    Values variables_;
    bool attached_ = true;
    std::map<int, Channel> channels_;
    std::multimap<Milliseconds, Task> tasks_;
    std::vector<Event> happened_;
    std::mt19937 random_;
    std::vector<UnknownCommand> unknown_;
    std::vector<size_t> row_uses_;
};

} // namespace simulator
