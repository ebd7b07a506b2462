#include "apn/card.h"

#include "platform/clock.h"
#include "readings/crsm.h"
#include "readings/dialects.h"
#include "readings/sim.h"

namespace {

constexpr int limit_ms = 10'000;
constexpr int question_limit_ms = 2000;
constexpr int most_silent = 2; // a modem that has answered nothing then gets no more questions

class CardReader {
  public:
    explicit CardReader(AtSession &session) : session_(session), deadline_ms_(monotonic_ms() + limit_ms) {}

    bool has_answered() const { return has_answered_; }

    // @return false without a complete answer
    bool ask(const char *command, TextOut reply)
    {
        const int64_t left = deadline_ms_ - monotonic_ms();
        if (is_lost_ || left <= 0)
            return false;
        const auto answer =
            session_.ask(command, reply, left < question_limit_ms ? static_cast<int>(left) : question_limit_ms);
        has_answered_ = has_answered_ || answer == AtSession::Answer::complete;
        silent_ += answer == AtSession::Answer::silent ? 1 : 0;
        is_lost_ = answer == AtSession::Answer::lost || (silent_ == most_silent && !has_answered_);
        return answer == AtSession::Answer::complete;
    }

    // Modems differ in what a length of 0 means, and cards in how long the file is. So the length that the card names
    // is tried next, then the one that the file's description names.
    std::optional<CardReply> read(const CardFile &file)
    {
        auto reply = ask_card(CardCommand::read_binary, file.id, file.length);
        if (reply && reply->is_good() && reply->size > 0)
            return reply;
        uint8_t length = reply ? parse_right_length(*reply) : 0;
        if (length == 0 && is_about_length(reply)) {
            constexpr uint8_t description_length = 15;
            const auto description = ask_card(CardCommand::get_response, file.id, description_length);
            length = description ? parse_file_size(*description) : 0;
        }
        if (length == 0)
            return std::nullopt;
        reply = ask_card(CardCommand::read_binary, file.id, length);
        return reply && reply->is_good() ? reply : std::nullopt;
    }

  private:
    std::optional<CardReply> ask_card(CardCommand command, uint16_t file, uint8_t length)
    {
        Text<700> reply;
        if (!ask(compose_card_command(command, file, length).c_str(), reply))
            return std::nullopt;
        return parse_card_reply(reply.view());
    }

    // Wrong length (67xx); a modem that refuses the length answers with an error of its own, or with no data.
    static bool is_about_length(const std::optional<CardReply> &reply)
    {
        return !reply || reply->sw1 == 0x67 || reply->is_good();
    }

    AtSession &session_;
    int64_t deadline_ms_;
    int silent_ = 0;
    bool has_answered_ = false;
    bool is_lost_ = false;
};

} // namespace

bool read_sim_card(AtSession &session, SimCard &card)
{
    CardReader reader{session};
    Report report;
    Text<1000> reply;
    // The questions whose answers are not needed are left out: each costs time in front of a waiting user.
    for (const Question &question : sim_questions()) {
        if (question.read != read_imsi && question.read != read_iccid)
            continue;
        if (question.is_needed != nullptr && !question.is_needed(report))
            continue;
        if (reader.ask(question.command, reply))
            question.read(reply.view(), report);
    }
    card.iccid = report.iccid;
    card.imsi = report.imsi;
    if (card.imsi.empty()) // a card that does not give its number, or none at all, gives no file either
        return reader.has_answered();
    if (card.iccid.empty()) // makers have other commands for it too
        if (const auto file = reader.read(number_file))
            card.iccid.assign(parse_card_number(file->data()).view());
    if (const auto file = reader.read(administrative_file))
        card.mnc_length = parse_mnc_length(file->data());
    if (const auto file = reader.read(group_file))
        card.gid1 = parse_group_id(file->data());
    if (const auto file = reader.read(spn_file))
        card.spn = parse_provider_name(file->data());
    return reader.has_answered();
}
