// What a modem sends, through every operation of every driver: the port is a stand-in that hands out the input. The
// first byte picks the model, the second the operation; then come the replies, a form feed between them and a vertical
// tab where the bytes of one come in two reads. Drivers keep what they read in files, so the target runs in the
// simulated router.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "at/serial_port.h"
#include "core/model/modem.h"
#include "core/model/printable.h"
#include "core/table/modem_table.h"
#include "discovery/usb/ports.h"
#include "discovery/usb/usb_ids.h"
#include "drivers/common.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "platform/ubus.h"
#include "tests/fuzz/no_waiting.h"
#include "tests/fuzz/sandbox.h"

namespace {

constexpr int our_port = 1000;
std::string_view replies; // not handed out yet
std::string_view reply;   // of the transaction that is under way

/// The text before the separator, and the input after it.
std::string_view take(std::string_view &input, char separator)
{
    const std::string_view front = first_characters(input, input.find(separator));
    input = without_first(input, front.size() + 1);
    return front;
}

bool is_one_of(std::string_view text, std::initializer_list<std::string_view> known)
{
    return std::find(known.begin(), known.end(), text) != known.end();
}

void check_text(int result, std::string_view text, const char *what)
{
    check(result <= 0, what);
    check(result == 0 || text.empty(), "a failure leaves the text alone");
}

void check_list(const Json &list)
{
    check(is_document(list.get()), "what comes of a modem's replies is JSON");
}

struct Operation {
    std::string_view name; ///< the slot's
    void (*run)(const ModemDriver &rec, const char *text);
};

void ask_model(const ModemDriver &rec, const char *)
{
    Text<200> first;
    Text<200> second;
    const int result = rec.ops.get_model(rec.bus.c_str(), "/dev/ttyUSB2", first);
    check_text(result, first.view(), "a model or none");
    if (result == 0 && rec.ops.get_model(rec.bus.c_str(), "/dev/ttyUSB2", second) == 0 && !first.empty())
        check(second.view() == first.view(), "a model that was kept is read again");
}

void ask_mode(const ModemDriver &rec, const char *)
{
    Text<3> mode;
    const int result = rec.ops.get_mode(rec, mode);
    check_text(result, mode.view(), "a technology or none");
    check(is_one_of(mode.view(), {"", "4G", "3G", "2G"}), "a technology that is known");
}

void ask_bars(const ModemDriver &rec, const char *)
{
    int32_t bars = -7;
    const int result = rec.ops.get_csq(rec, bars);
    check(result < 0 ? bars == -7 : (bars >= 0 && bars <= 4) || (result == 0 && bars == -7), "bars are 0 to 4");
}

void ask_signal(const ModemDriver &rec, const char *)
{
    const Json values{json_object_new_array()};
    int32_t level = 0;
    const int generation = rec.ops.get_signal(rec, values.get(), level);
    check(generation >= -1 && generation <= 4 && generation != 1, "a generation, or none");
    check(level >= -1 && level <= 4, "a level is 0 to 4, -1 where the system is not rated");
    check(generation >= 0 || level == 0, "a failure leaves the level alone");
    check_list(values);
}

void ask_imsi(const ModemDriver &rec, const char *)
{
    Text<16> imsi;
    const int result = rec.ops.get_imsi(rec, imsi);
    check(result == 0 || result == -1, "an IMSI or none");
    check(starts_with_digits(imsi.view(), imsi.size()), "an IMSI is digits");
    check(result != 0 || imsi.size() == 15, "an IMSI has 15 digits");
}

void set_scan_mode(const ModemDriver &rec, const char *text)
{
    check(rec.ops.set_scan_mode(2, text[0] % 6) <= 0, "set or not");
}

void ask_carrier(const ModemDriver &rec, const char *)
{
    Text<64> carrier;
    check_text(rec.ops.get_carrier(rec, carrier), carrier.view(), "an operator or none");
}

void ask_creg(const ModemDriver &rec, const char *)
{
    const int registration = rec.ops.get_creg(2);
    check(registration >= -1 && registration <= 9, "a registration is a digit");
}

void ask_imei(const ModemDriver &rec, const char *)
{
    Text<16> imei;
    const int result = rec.ops.get_imei("/dev/ttyUSB2", rec.bus.c_str(), imei);
    check(result == 0 || result == -1, "an IMEI or none");
    check(starts_with_digits(imei.view(), imei.size()), "an IMEI is digits");
}

void ask_cells(const ModemDriver &rec, const char *)
{
    const Json cells{json_object_new_array()};
    check(rec.ops.get_cells(rec, cells.get()) <= 0, "cells or none");
    check_list(cells);
}

void set_thermal(const ModemDriver &rec, const char *)
{
    check(rec.ops.set_thermal(rec) <= 0, "set or not");
}

void ask_aggregation(const ModemDriver &rec, const char *)
{
    const int is_active = rec.ops.get_ca_info(rec);
    check(is_active == 0 || is_active == 1, "carriers are aggregated or not");
}

void ask_registration(const ModemDriver &rec, const char *)
{
    check(rec.ops.check_register(rec) <= 0, "registered or not");
}

void ask_sim(const ModemDriver &rec, const char *)
{
    Text<100> scratch;
    const int state = rec.ops.get_sim_status(rec, scratch);
    check(state == 0 || state == -1 || state == -2 || state == -4, "a SIM's state is one of four");
}

void set_apn(const ModemDriver &rec, const char *text)
{
    check(rec.ops.set_apn(rec, text) <= 0, "set or not");
}

void set_auth(const ModemDriver &rec, const char *text)
{
    for (const char *auth : {"NONE", "PAP", "CHAP", "PAP or CHAP", text})
        check(rec.ops.set_auth(rec, "internet", text, text, auth) <= 0, "set or not");
}

void ask_iccid(const ModemDriver &rec, const char *)
{
    Text<21> iccid;
    const int result = rec.ops.get_iccid(rec, iccid);
    check(starts_with_digits(iccid.view(), iccid.size()), "an ICCID is digits");
    check(result == 0 ? iccid.size() == 20 : result == -1, "an ICCID has 20 digits");
}

void ask_bands(const ModemDriver &rec, const char *)
{
    const Json bands{json_object_new_object()};
    check(rec.ops.get_bands(rec, bands.get()) <= 0, "bands or none");
    check_list(bands);
}

void ask_scan_mode(const ModemDriver &rec, const char *)
{
    Text<100> mode;
    const int result = rec.ops.get_scan_mode(rec, mode);
    check((result != 0) == (mode.view() == "ERROR"), "a modem that refuses tells an error");
    check(is_one_of(mode.view(), {"", "ERROR", "AUTO", "GSM only", "WCDMA only", "LTE only"}), "a mode that is known");
}

/// All operations of the driver that ask the modem.
std::vector<Operation> operations_of(const ModemOps &ops)
{
    std::vector<Operation> all;
    const auto add = [&](bool is_there, Operation operation) {
        if (is_there)
            all.push_back(operation);
    };
    add(ops.get_model != nullptr, {"get_model", ask_model});
    add(ops.get_mode != nullptr, {"get_mode", ask_mode});
    add(ops.get_csq != nullptr, {"get_csq", ask_bars});
    add(ops.get_signal != nullptr, {"get_signal", ask_signal});
    add(ops.get_imsi != nullptr, {"get_imsi", ask_imsi});
    add(ops.set_scan_mode != nullptr, {"set_scan_mode", set_scan_mode});
    add(ops.get_carrier != nullptr, {"get_carrier", ask_carrier});
    add(ops.get_creg != nullptr, {"get_creg", ask_creg});
    add(ops.get_imei != nullptr, {"get_imei", ask_imei});
    add(ops.get_cells != nullptr, {"get_cells", ask_cells});
    add(ops.set_thermal != nullptr, {"set_thermal", set_thermal});
    add(ops.get_ca_info != nullptr, {"get_ca_info", ask_aggregation});
    add(ops.check_register != nullptr, {"check_register", ask_registration});
    add(ops.get_sim_status != nullptr, {"get_sim_status", ask_sim});
    add(ops.set_apn != nullptr, {"set_apn", set_apn});
    add(ops.set_auth != nullptr, {"set_auth", set_auth});
    add(ops.get_iccid != nullptr, {"get_iccid", ask_iccid});
    add(ops.get_bands != nullptr, {"get_bands", ask_bands});
    add(ops.get_scan_mode != nullptr, {"get_scan_mode", ask_scan_mode});
    return all;
}

struct Picked {
    ModemDriver rec;
    Operation operation;
};

/// What a line of two words at the input's start names, and without one its first two bytes, which are removed from it.
Picked take_operation(std::string_view &input)
{
    const std::string_view line = first_characters(input, input.find('\n'));
    const std::string_view name = first_characters(line, line.find(' '));
    for (const ModemDriver *model = modem_drivers(); model != nullptr; model = model->next) {
        if (name != model->name)
            continue;
        for (const Operation &operation : operations_of(model->ops))
            if (without_first(line, name.size() + 1) == operation.name) {
                input = without_first(input, line.size() + 1);
                return {*model, operation};
            }
    }
    const ModemDriver *model = modem_drivers();
    for (int position = static_cast<unsigned char>(input[0]) % 13; position > 0; position--)
        model = model->next;
    const std::vector<Operation> operations = operations_of(model->ops);
    const Operation operation = operations[static_cast<unsigned char>(input[1]) % operations.size()];
    input = without_first(input, 2);
    return {*model, operation};
}

} // namespace

/// A transaction begins while there are replies; then the port is gone.
int serial_open(SerialPort &port, const char *, int, int, int, bool (*)(int))
{
    if (replies.empty())
        return -1;
    reply = take(replies, '\f');
    return port.fd = our_port;
}

int serial_close(SerialPort &)
{
    return 0;
}

SerialPort::~SerialPort() = default;

void serial_flush(const SerialPort &) {}

int serial_read_timeout(SerialPort &port, size_t count, char *buffer, int)
{
    check(port.fd == our_port && count > 0, "a read has a port and room");
    if (reply.empty())
        return 0;
    const size_t size = std::min(count, first_characters(reply, reply.find('\v')).size());
    std::copy_n(reply.data(), size, buffer);
    reply = without_first(reply, size);
    if (!reply.empty() && reply.front() == '\v')
        reply = without_first(reply, 1);
    return static_cast<int>(size);
}

size_t serial_write_all(SerialPort &, size_t count, const char *buffer)
{
    const std::string_view command{buffer, count};
    check(command.size() > 4 && command.starts_with("AT") && command.ends_with("\r\n"), "a command line");
    const std::string_view text = first_characters(command, count - 2);
    check(text.find_first_of(std::string_view{"\r\n\0\x1a\x1b", 5}) == std::string_view::npos, "one command, one line");
    return 0;
}

// The modem is plugged, and where sysfs tells its ports is another target's.
int at_port_path(const char *, int, TextOut out)
{
    out.assign("/dev/ttyUSB2");
    return 1;
}

int interface_port_path(const char *, TextOut)
{
    return 0;
}

int bus_first_port(const char *, TextOut)
{
    return 0;
}

int bus_list_ports(const char *, json_object *)
{
    return 0;
}

int bus_netdev(const char *, const char *, TextOut)
{
    return 0;
}

int read_usb_ids(const char *, uint32_t &, uint32_t &)
{
    return -1;
}

bool bus_own_netdev(const char *, TextOut)
{
    return false;
}

int bus_own_ports(const char *, json_object *)
{
    return 0;
}

int find_usb_node(const char *, const char *, TextOut, int &)
{
    return 0;
}

UsbDevice::UsbDevice(const char *bus, const char *root) : bus_(bus), root_(root) {}

int UsbDevice::read_ids(uint32_t &, uint32_t &) const
{
    return -1;
}

int UsbDevice::list_ports(json_object *) const
{
    return 0;
}

int UsbDevice::port_path(int ifnum, TextOut out) const
{
    return at_port_path(bus_, ifnum, out);
}

// No shell; what a command would print comes from the replies too.
int getShellCommandReturn(ShellCommand, TextOut out, Duration)
{
    out.assign(take(replies, '\f'));
    return static_cast<int>(out.view().size());
}

int getShellCommandReturnLine(ShellCommand command, TextOut out, Duration)
{
    return getShellCommandReturn(command, out, {});
}

HeapText getShellCommandReturnDynamic(ShellCommand, Duration)
{
    return nullptr;
}

int getUciReturn(const char *, TextOut out)
{
    return getShellCommandReturn({}, out);
}

bool can_print(ShellCommand, const char *)
{
    return true;
}

bool can_print_in(ShellCommand, const Fd &, const char *)
{
    return true;
}

int execCommand(ShellCommand)
{
    return 0;
}

int fork_exec2(ShellCommand)
{
    return 0;
}

/// The interface, which a modem is not asked beside while it comes up.
UbusResult ubus_call(const char *, const char *, int, const char *)
{
    return {UbusStep::done, 0, Json{json_tokener_parse("{\"up\":true}")}};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    require_simulated_router();
    if (size < 2)
        return 0;
    std::string_view input{reinterpret_cast<const char *>(bytes), size};
    auto [rec, operation] = take_operation(input);
    driver_bind_bus(rec, "7-1");
    std::error_code error;
    std::filesystem::remove_all("/tmp/modem.7-1", error);

    replies = input;
    const std::string text(first_characters(replies, replies.find('\f'))); // what a user would set
    operation.run(rec, text.c_str());
    return 0;
}
