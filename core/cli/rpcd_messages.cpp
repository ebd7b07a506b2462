#include "core/cli/rpcd_messages.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "core/cli/rpcd_jobs.h"
#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "platform/shell.h"
#include "sms/boxes.h"
#include "sms/parts.h"

namespace {

// More than a person types; and a program that runs wild costs no more than this.
constexpr uint32_t most_parts = 50;
constexpr uint32_t hour_s = 3600;

// Notes that so many parts are sent now. @return false if there would be too many in the hour, which begins with the
// first one
bool take_parts(uint32_t parts)
{
    struct {
        uint32_t begin_s;
        uint32_t parts;
    } hour{};
    const Fd turn = take_rpcd_turn();
    const Fd file = turn ? open_state(rpcd_folder, "sent", O_RDWR | O_CREAT) : Fd{};
    const auto now_s = static_cast<uint32_t>(monotonic_ms() / 1000);
    if (pread(file.get(), &hour, sizeof hour, 0) != sizeof hour || now_s - hour.begin_s >= hour_s)
        hour = {.begin_s = now_s, .parts = 0};
    hour.parts += parts;
    return hour.parts <= most_parts && pwrite(file.get(), &hour, sizeof hour, 0) == sizeof hour;
}

void answer_change_of_message(bool is_done, json_object *answer)
{
    if (is_done)
        rpcd_succeed(answer);
    else
        rpcd_fail(answer, "not-found", "there is no such message");
}

} // namespace

void answer_messages(const RpcdCall &, json_object *answer)
{
    constexpr size_t most = 500;
    Json messages{json_object_new_array()};
    sms_list_boxes(messages.get(), most);
    kjson_add_object(answer, "messages", std::move(messages));
}

void answer_message_send(const RpcdCall &call, json_object *answer)
{
    const char *number = call.text(RpcdArgument::recipient);
    const char *text = call.text(RpcdArgument::text);
    const int parts = count_sms_parts(text);
    if (!take_parts(static_cast<uint32_t>(parts)))
        return rpcd_fail(answer, "limit", "at most 50 parts of messages are sent in an hour");
    // Digits alone are dialled as they are: a short number, or one of this country.
    const char *const words[] = {"sendsms", number, text, *number == '+' ? "international" : "unknown", nullptr};
    const bool is_taken = run_program(words) == 0;
    // Messages cost money, so there is a trace of them.
    syslog(LOG_NOTICE, "a text message was %s over ubus", is_taken ? "sent" : "refused");
    if (!is_taken)
        return rpcd_fail(answer, "failed", "the SMS daemon did not take the message; is smstools3 installed?");
    rpcd_succeed(answer);
    kjson_add_int(answer, "parts", parts);
}

void answer_message_delete(const RpcdCall &call, json_object *answer)
{
    answer_change_of_message(sms_remove_from_box(call.text(RpcdArgument::message)) == 0, answer);
}

void answer_message_read(const RpcdCall &call, json_object *answer)
{
    answer_change_of_message(sms_mark_box_read(call.text(RpcdArgument::message)) == 0, answer);
}
