#include "readings/interview.h"

#include "readings/fields.h"

namespace {

constexpr size_t longest_reply = 4096;

// The line of a reply that refuses the question; empty when none does.
std::string_view refusal_of(std::string_view reply)
{
    for (std::string_view line; next_line(reply, line);)
        if (line == "ERROR" || starts_with_word(line, "+CME ERROR") || starts_with_word(line, "COMMAND NOT SUPPORT"))
            return line;
    return {};
}

class Interview {
  public:
    Interview(const Asker &asker, Report &report, Misses &misses) : asker_(asker), report_(report), misses_(misses) {}

    // @return true if an answer was understood
    bool ask(const Question &question)
    {
        if (is_over_ || (question.is_needed != nullptr && !question.is_needed(report_)))
            return false;
        Text<longest_reply> reply;
        const AskResult result = asker_.ask(asker_.context, question, reply);
        if (result == AskResult::stopped) {
            is_over_ = true;
            miss(question, Miss::Why::stopped, {});
            return false;
        }
        if (result == AskResult::silent) {
            miss(question, Miss::Why::silent, {});
            is_over_ = ++silent_ >= most_silent && !has_answered_;
            return false;
        }
        has_answered_ = true;
        // Of a line that was cut nothing counts: its last number may lack digits.
        std::string_view lines = reply.view();
        while (!lines.empty() && static_cast<unsigned char>(lines.back()) >= ' ')
            lines.remove_suffix(1);
        if (question.read(lines, report_))
            return true;
        const std::string_view refusal = refusal_of(lines);
        if (refusal.empty() && has_more_than_its_end(lines, question.command))
            miss(question, Miss::Why::not_understood, {});
        else if (!refusal.empty() && question.is_expected)
            miss(question, Miss::Why::refused, refusal);
        return false;
    }

    bool ask(std::span<const Question> questions)
    {
        bool understood = false;
        for (const Question &question : questions)
            understood = ask(question) || understood;
        return understood;
    }

    // The questions of another dialect, begun with the one that only its modems answer.
    bool try_dialect(const Dialect &dialect)
    {
        const size_t misses_before = misses_.size;
        if (ask(dialect.questions))
            return true;
        misses_.size = misses_before; // that a modem does not speak another maker's dialect is nothing to report
        return false;
    }

    // True if every question that any modem answers was answered.
    bool ask_expected(std::span<const Question> questions)
    {
        bool all = true;
        for (const Question &question : questions)
            all = (ask(question) || !question.is_expected) && all;
        return all;
    }

    bool is_over() const { return is_over_; }

  private:
    static constexpr int most_silent = 2;

    // An answer of only the echo and OK means that there is nothing to report.
    static bool has_more_than_its_end(std::string_view reply, std::string_view command)
    {
        for (std::string_view line; next_line(reply, line);)
            if (line != "OK" && line != command)
                return true;
        return false;
    }

    void miss(const Question &question, Miss::Why why, std::string_view error)
    {
        if (misses_.size < misses_.items.size())
            misses_.items[misses_.size++] = {.question = &question, .why = why, .error = Text<64>{error}};
    }

    const Asker &asker_;
    Report &report_;
    Misses &misses_;
    int silent_ = 0;
    bool has_answered_ = false;
    bool is_over_ = false;
};

// The guess is asked first. A modem that understands none of its questions is asked each other maker's.
const Dialect &ask_dialect(Interview &interview, const Dialect &guess)
{
    if (interview.ask(guess.questions) || interview.is_over())
        return guess;
    for (const Dialect &other : dialects())
        if (&other != &guess && interview.try_dialect(other))
            return other;
    return guess;
}

// A modem that reports errors without their cause answers AT+CPIN? with a bare ERROR when its card is missing or
// broken. That is believed of a modem that answers the other standard questions, and when nothing else shows that the
// card works.
void judge_bare_error(bool is_cpin_understood, bool is_standard_modem, Report &report)
{
    const bool is_card_used =
        !report.imsi.empty() || !report.iccid.empty() || report.registration <= Registration::registered;
    if (!is_cpin_understood && is_standard_modem && !is_card_used)
        report.sim_state = SimState::error;
}

} // namespace

const Dialect &ask_all(const Asker &asker, uint32_t usb_vendor, bool knows_identity, Report &report, Misses &misses)
{
    Interview interview{asker, report, misses};
    if (!knows_identity)
        interview.ask(identity_questions());
    const Dialect &guess = pick_dialect(report, usb_vendor);
    interview.ask(sim_questions());
    const Dialect &dialect = ask_dialect(interview, guess);
    const bool is_standard_modem = interview.ask_expected(common_questions());
    judge_bare_error(report.sim_state != SimState::untold, is_standard_modem, report);
    return dialect;
}
