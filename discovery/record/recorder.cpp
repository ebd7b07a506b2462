#include "discovery/record/recorder.h"

#include <cstdlib>
#include <cstring>

#include "discovery/usb/ports.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "readings/dialects.h"
#include "readings/fields.h"
#include "readings/mask.h"

namespace {

constexpr size_t longest_reply = 4096;
constexpr size_t longest_profile = size_t{128} * 1024;
constexpr int most_interfaces = 32; // what the USB standard lets a configuration have
constexpr int most_silent = 2;      // a modem that says nothing to the first questions is asked no further ones
constexpr int recording_limit_ms = 120'000;

constexpr Question probe = {"identity", "AT", nullptr};

// The profile as it grows; what does not fit is left out.
class Profile {
  public:
    Profile() : text_(static_cast<char *>(calloc(1, longest_profile))) {}

    bool is_there() const { return text_ != nullptr; }
    size_t size() const { return size_; }
    std::span<char> from(size_t start) { return {text_.get() + start, size_ - start}; }

    void add(std::string_view text)
    {
        const std::string_view kept = first_characters(text, longest_profile - size_);
        memcpy(text_.get() + size_, kept.data(), kept.size());
        size_ += kept.size();
    }

    // A line of a reply. The modem ends lines in its own way, simrouter with CR LF.
    void add_reply_line(std::string_view line)
    {
        const bool starts_a_directive = line.starts_with('>') || line.starts_with('@') || line.starts_with('#');
        if (starts_a_directive)
            add("\\");
        for (const char character : line) {
            const bool is_printable = character >= ' ' && character <= '~';
            const bool is_special = character == '\\' || character == '$';
            add(Text<8>::format(!is_printable ? "\\x%02x"
                                : is_special  ? "\\%c"
                                              : "%c",
                                static_cast<uint8_t>(character))
                    .view());
        }
        add("\n");
    }

    void add_row(const char *command, std::string_view reply)
    {
        add("\n> ");
        add(command);
        add("\n");
        while (!reply.empty()) {
            std::string_view line = take_until(reply, "\n");
            while (line.ends_with('\r'))
                line.remove_suffix(1);
            add_reply_line(line);
        }
    }

  private:
    HeapText text_;
    size_t size_ = 0;
};

class Recording {
  public:
    Recording(ModemPort &modem, Profile &body) : modem_(modem), body_(body) {}

    // @return false when there is nothing further to ask
    bool ask(const Question &question)
    {
        const int64_t left = deadline_ms_ - monotonic_ms();
        if (left <= 0)
            return false;
        Text<longest_reply> reply;
        const int limit = left < question.limit_ms ? static_cast<int>(left) : question.limit_ms;
        const auto answer = modem_.session.ask(question.command, reply, limit);
        if (answer == AtSession::Answer::lost)
            return false;
        body_.add_row(question.command, reply.view());
        if (answer == AtSession::Answer::silent)
            return has_answered_ || ++silent_ < most_silent;
        if (!has_final_line(reply.view())) // it was longer than what is kept
            body_.add("OK\n");
        has_answered_ = true;
        has_echo_ = has_echo_ || reply.view().starts_with(question.command);
        Report report;
        if (question.read != nullptr && question.read(reply.view(), report))
            mask_.learn_cells(report);
        tell_text(model_, report.model.view());
        return true;
    }

    bool ask(std::span<const Question> questions)
    {
        for (const Question &question : questions)
            if (!ask(question))
                return false;
        return true;
    }

    bool has_answered() const { return has_answered_; }
    bool has_echo() const { return has_echo_; }
    Mask &mask() { return mask_; }
    const Text<64> &model() const { return model_; }

  private:
    ModemPort &modem_;
    Profile &body_;
    Mask mask_;
    Text<64> model_;
    const int64_t deadline_ms_ = monotonic_ms() + recording_limit_ms;
    int silent_ = 0;
    bool has_answered_ = false;
    bool has_echo_ = false;
};

void ask_all_dialects(Recording &recording)
{
    if (!recording.ask(sim_questions()))
        return;
    for (const Dialect &dialect : dialects())
        if (!recording.ask(dialect.questions))
            return;
    recording.ask(common_questions());
}

// The network device of an interface; empty without one.
Text<16> netdev_of(const char *bus, int interface_number)
{
    const Directory directory{
        opendir(Text<80>::format("/sys/bus/usb/devices/%s:1.%d/net", bus, interface_number).c_str())};
    while (const dirent *entry = directory ? readdir(directory.get()) : nullptr)
        if (!entry_is_dots(entry->d_name))
            return Text<16>{entry->d_name};
    return {};
}

void add_interfaces(Profile &head, const char *bus, const ModemPort &modem)
{
    for (int i = 0; i < most_interfaces; i++) {
        int visits = 0;
        Text<50> port;
        find_tty_in(Text<80>::format("/sys/bus/usb/devices/%s:1.%d", bus, i).c_str(), port, visits);
        const Text<16> netdev = netdev_of(bus, i);
        if (port.empty() && netdev.empty())
            continue;
        std::string_view kind = without_first(port.view(), strlen("/dev/"));
        while (!kind.empty() && is_digit(kind.back()))
            kind.remove_suffix(1);
        head.add(Text<30>::format("interface %d ", i).view());
        head.add(kind.empty() ? "none" : kind);
        if (kind.starts_with("tty"))
            head.add(port == modem.path.view() ? " at" : " silent");
        if (!netdev.empty()) {
            head.add(" netdev ");
            head.add(netdev.view());
        }
        head.add("\n");
    }
}

void add_head(Profile &head, const char *bus, const ModemPort &modem, const Recording &recording)
{
    Text<64> model = recording.model();
    if (model.empty() || !is_made_of(model.view(), "-_.+ "))
        model.assign(modem.rec.name);
    head.add("# Recorded by modemctl " MODEMCTL_VERSION
             ". IMEI, IMSI, ICCID, telephone numbers, cell ids and addresses\n"
             "# are masked: they are no real ones.\n");
    head.add(Text<200>::format("model %s\nabout %s, recorded\nusb %04x:%04x\n", model.c_str(), model.c_str(),
                               modem.usb_vendor, modem.usb_product)
                 .view());
    add_interfaces(head, bus, modem);
    head.add(recording.has_echo() ? "\nvar echo 1\n" : "\nvar echo 0\n");
}

} // namespace

InfoResult record_modem(const char *bus, const char *file, bool &is_written)
{
    ModemPort modem{};
    is_written = true;
    if (const InfoResult result = open_modem(bus, modem); result != InfoResult::reported)
        return result;
    Profile profile;
    Profile body;
    is_written = profile.is_there() && body.is_there();
    if (!is_written)
        return InfoResult::reported;
    Recording recording{modem, body};
    size_t end_of_identity = 0;
    if (recording.ask(probe) && recording.ask(identity_questions())) {
        end_of_identity = body.size();
        ask_all_dialects(recording);
    }
    modem.session.close();
    if (!recording.has_answered())
        return InfoResult::no_answer;
    recording.mask().apply(body.from(0).first(end_of_identity), Mask::Addresses::none);
    recording.mask().apply(body.from(end_of_identity), Mask::Addresses::masked);
    add_head(profile, bus, modem, recording);
    profile.add({body.from(0).data(), body.size()});
    is_written = write_file(file, {profile.from(0).data(), profile.size()}, 0600) == 0;
    return InfoResult::reported;
}
