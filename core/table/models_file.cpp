#include "core/table/models_file.h"

#include <cstdlib>
#include <syslog.h>

#include "at/at_session.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "discovery/usb/ports.h"
#include "drivers/fibocom.h"
#include "platform/files.h"
#include "readings/dialects.h"
#include "readings/fields.h"

namespace {

constexpr const char *model_files[] = {"/etc/modemctl/models", "/usr/share/modemctl/models"};
constexpr size_t longest_file = size_t{32} * 1024;
constexpr int32_t least_id = 100;
constexpr int32_t most_id = 9999;
constexpr int32_t most_interface = 31; // what the USB standard lets a configuration have
constexpr size_t places = 4;           // a router has three places for a modem

struct Connection {
    std::string_view word;
    uint32_t proto_flags;
};
constexpr Connection connections[] = {
    {"qmi", proto_serial | proto_qmi},
    {"ncm", proto_serial | proto_ncm},
    {"ppp", proto_serial},
    {"mbim", proto_mbim},
    {"dhcp", proto_dhcp},
};

// How a modem of a dialect starts the session of its ECM or RNDIS device: on the first PDP context. The others do it by
// AT+CGACT.
struct SessionStart {
    std::string_view dialect;
    const char *command;
};
constexpr SessionStart session_starts[] = {
    {"quectel", "AT+QNETDEVCTL=1,1,1"},
    {"fibocom", "AT+GTRNDIS=1,1"},
    {"huawei", "AT^NDISDUP=1,1"},
    {"telit", "AT#ECM=1,0"},
};

struct Found {
    ModelRow row;
    ModemDriver rec;
};
// The rows that this process has met: part of the model table.
constinit Found *found[places] = {};

std::string_view next_word(std::string_view &rest)
{
    rest = trim(rest);
    return take_until(rest, " \t");
}

bool read_interface(std::string_view word, int32_t &out)
{
    if (word == "-")
        return true;
    const auto number = decimal(word);
    if (!number || *number < 0 || *number > most_interface)
        return false;
    out = static_cast<int32_t>(*number);
    return true;
}

bool read_ids(std::string_view word, ModelRow &row)
{
    if (word.size() != 9 || word[4] != ':')
        return false;
    const auto vid = hexadecimal(first_characters(word, 4));
    const auto pid = hexadecimal(without_first(word, 5));
    if (!vid || !pid || *vid == 0)
        return false;
    row.vid = static_cast<uint32_t>(*vid);
    row.pid = static_cast<uint32_t>(*pid);
    return true;
}

bool read_number(std::string_view word, ModelRow &row)
{
    const auto number = decimal(word);
    if (!number || *number < least_id || *number > most_id || *number == unknown_modem_id)
        return false;
    row.modem_id = static_cast<int32_t>(*number);
    return true;
}

bool read_connection(std::string_view word, ModelRow &row)
{
    for (const Connection &connection : connections)
        if (connection.word == word)
            row.proto_flags = connection.proto_flags;
    return row.proto_flags != 0;
}

bool read_dialect(std::string_view word, ModelRow &row)
{
    for (const Dialect &dialect : dialects())
        if (dialect.name == word)
            row.dialect = dialect.name;
    return row.dialect != nullptr;
}

const Dialect *dialect_of(const ModemDriver &rec)
{
    for (const Found *entry : found)
        for (const Dialect &dialect : dialects())
            if (entry != nullptr && entry->rec.name == rec.name && entry->row.dialect == dialect.name)
                return &dialect;
    return nullptr;
}

const char *generation_name(Technology technology)
{
    switch (technology) {
    case Technology::nr_nsa:
    case Technology::nr_sa:
        return "5G";
    case Technology::lte:
    case Technology::emtc:
    case Technology::nb_iot:
        return "4G";
    case Technology::wcdma:
    case Technology::cdma:
        return "3G";
    case Technology::gsm:
        return "2G";
    case Technology::unknown:
    case Technology::none:
        break;
    }
    return nullptr;
}

// Technology of the modem's own dialect, else of the standard commands, read as info reads it: "5G", "4G", "3G", "2G".
int get_mode_by_dialect(const ModemDriver &rec, TextOut out)
{
    Text<30> port;
    AtSession session;
    const Dialect *dialect = dialect_of(rec);
    if (dialect == nullptr || at_port_path(rec.bus.c_str(), rec.control_port, port) <= 0 ||
        session.open(port.c_str()) != AtSession::Opened::ready)
        return -1;
    Report report;
    for (const std::span<const Question> questions : {dialect->questions, common_questions()})
        for (const Question &question : questions) {
            Text<4096> reply;
            if (generation_name(report.technology) == nullptr &&
                session.ask(question.command, reply, question.limit_ms) == AtSession::Answer::complete)
                question.read(reply.view(), report);
        }
    const char *name = generation_name(report.technology);
    if (name == nullptr)
        return -1;
    out.assign(name);
    return 0;
}

ModemDriver *add_found(const ModelRow &row)
{
    for (Found *&entry : found) {
        if (entry != nullptr)
            continue;
        entry = static_cast<Found *>(calloc(1, sizeof(Found)));
        if (entry == nullptr)
            return nullptr;
        entry->row = row;
        const bool has_qmi = (row.proto_flags & proto_qmi) != 0;
        const bool has_ncm = (row.proto_flags & proto_ncm) != 0;
        const bool has_mbim = (row.proto_flags & proto_mbim) != 0;
        const int32_t dial_port = row.data_port >= 0 ? row.data_port : row.control_port;
        entry->rec = {.name = entry->row.name.c_str(),
                      .vid = row.vid,
                      .pid = row.pid,
                      .modem_id = row.modem_id,
                      .iface = "modem",
                      .control_port = row.control_port,
                      .data_port = has_mbim ? row.qmi_port : dial_port,
                      .qmi_port = has_qmi ? row.qmi_port : -1,
                      .qmi_netdev = has_qmi ? "wwan0" : "xxx",
                      .ppp_netdev = "3g-modem",
                      .ncm_netdev = has_ncm ? "usb0" : "xxx",
                      .proto_flags = row.proto_flags,
                      .flags2 = dial_port == row.control_port ? at_port_carries_data : 0U,
                      .raw_ip = has_qmi ? 1U : 0U,
                      .ops = family_operations(row.dialect)};
        entry->rec.ops.get_mode = get_mode_by_dialect;
        if ((row.proto_flags & proto_dhcp) != 0) {
            entry->rec.ops.set_apn = fibocom_set_apn; // the context of 3GPP TS 27.007, which all modems have
            for (const SessionStart &start : session_starts)
                if (start.dialect == row.dialect)
                    entry->rec.traits.start_session = start.command;
        }
        return &entry->rec;
    }
    return nullptr;
}

struct Wanted {
    uint32_t vid;
    uint32_t pid;
    int32_t id; ///< -1: wanted by the USB ids

    bool is(uint32_t row_vid, uint32_t row_pid, int32_t row_id) const
    {
        return id >= 0 ? id == row_id : vid == row_vid && pid == row_pid;
    }
};

// Wrong rows go to the log, the first few of a file, and once in a process: a page that asks every few seconds would
// fill the log otherwise.
class FaultLog {
  public:
    void add(const char *file, int line, const char *fault)
    {
        if (is_told || count_ == most_faults)
            return;
        count_++;
        syslog(LOG_WARNING, "%s:%d: %s\n", file, line, fault);
    }
    void end_file() { count_ = 0; }
    void end() { is_told = true; }

  private:
    static constexpr int most_faults = 8;
    static constinit bool is_told;
    int count_ = 0;
};
constinit bool FaultLog::is_told = false;

ModemDriver *find(const Wanted &wanted)
{
    for (Found *entry : found)
        if (entry != nullptr && wanted.is(entry->rec.vid, entry->rec.pid, entry->rec.modem_id))
            return &entry->rec;
    const HeapText text{static_cast<char *>(calloc(1, longest_file))};
    FaultLog log;
    ModemDriver *rec = nullptr;
    for (const char *file : model_files) {
        const int size = text == nullptr ? -1 : read_file(file, longest_file - 1, {text.get(), longest_file});
        std::string_view rest{text.get(), static_cast<size_t>(size > 0 ? size : 0)};
        const bool is_cut = rest.size() == longest_file - 1;
        int line_number = 0;
        while (!rest.empty() && rec == nullptr) {
            line_number++;
            const std::string_view line = take_until(rest, "\n");
            const char *fault = nullptr;
            const auto row = parse_model_row(line, fault);
            if (is_cut && rest.empty())
                fault = "the file is longer than 32 KiB: the rest is not read";
            else if (row && find_driver_by_usb(modem_drivers(), row->vid, row->pid) != nullptr)
                fault = "a built-in model has these USB ids and comes first";
            if (fault != nullptr)
                log.add(file, line_number, fault);
            else if (row && wanted.is(row->vid, row->pid, row->modem_id))
                rec = add_found(*row);
        }
        log.end_file();
    }
    log.end();
    return rec;
}

} // namespace

std::optional<ModelRow> parse_model_row(std::string_view line, const char *&fault)
{
    fault = nullptr;
    std::string_view rest = trim(first_characters(line, line.find('#')));
    if (rest.empty())
        return std::nullopt;
    ModelRow row;
    const std::string_view name = next_word(rest);
    if (name.size() >= row.name.capacity() || !is_made_of(name, "-_.+"))
        fault = "the name is too long, or has other characters than letters, digits and -_.+";
    row.name.assign(name);
    const auto check = [&](bool is_right, const char *what) {
        if (!is_right && fault == nullptr)
            fault = what;
    };
    check(read_ids(next_word(rest), row), "the USB ids are not like 2c7c:0125");
    check(read_number(next_word(rest), row), "the number is not 100 to 9999, or is 255");
    check(read_interface(next_word(rest), row.control_port) && row.control_port >= 0,
          "the AT interface is not 0 to 31");
    check(read_interface(next_word(rest), row.data_port), "the dial interface is not 0 to 31 or -");
    check(read_interface(next_word(rest), row.qmi_port), "the control interface is not 0 to 31 or -");
    check(read_connection(next_word(rest), row), "the connection is not qmi, mbim, dhcp, ncm or ppp");
    check(read_dialect(next_word(rest), row), "the dialect is not known");
    check(trim(rest).empty(), "there are more than eight fields");
    if (fault != nullptr)
        return std::nullopt;
    return row;
}

ModemDriver *find_file_model_by_usb(uint32_t vid, uint32_t pid)
{
    return find({.vid = vid, .pid = pid, .id = -1});
}

ModemDriver *find_file_model_by_id(int32_t id)
{
    return id < least_id || id == unknown_modem_id ? nullptr : find({.vid = 0, .pid = 0, .id = id});
}
