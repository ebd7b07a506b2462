// Requests of any content to every handler of the web API. An input starts with the route, "/modem/at {...}" or one
// byte that picks it, which is easier for the search; then comes the request. The shell, the modem's port and ubus are
// stand-ins here that record and answer; files and configuration are real, so the target runs in the simulated router
// and nowhere else.

#include <cstdint>
#include <string>
#include <unistd.h>

#include "api/modem_api.h"
#include "at/serial_port.h"
#include "core/model/printable.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "platform/ubus.h"
#include "tests/fuzz/no_waiting.h"
#include "tests/fuzz/sandbox.h"

namespace {

std::string commands; // all that the handler would have run, one a line

void record(const char *command)
{
    commands += command;
    commands += '\n';
}

bool is_status(int32_t status)
{
    for (const int32_t known :
         {0, -1, -2, -3, -4, -5, -7, -17, -22, -250, -251, -253, -255, -256, -258, -259, -260, -261, -264, -265})
        if (status == known)
            return true;
    return false;
}

/// The route that an input starts with, which is removed from it.
const ModemRoute &take_route(std::string_view &input)
{
    int32_t count = 0;
    const ModemRoute *routes = modem_api_routes(&count);
    const std::string_view path = first_characters(input, input.find(' '));
    for (int32_t i = 0; i < count; i++)
        if (path == routes[i].path) {
            input = without_first(input, path.size());
            return routes[i];
        }
    const auto first = static_cast<unsigned char>(input.front());
    input = without_first(input, 1);
    return routes[first % count];
}

} // namespace

int getShellCommandReturn(ShellCommand command, TextOut out, Duration)
{
    record(command.c_str());
    out.assign(std::string_view{command.c_str()}.find("QGMR") == std::string_view::npos ? "installed\n" : "EP06_1\r\n");
    return static_cast<int>(out.view().size());
}

int getShellCommandReturnLine(ShellCommand command, TextOut out, Duration)
{
    record(command.c_str());
    out.assign(std::string_view{command.c_str()}.find("ps -w") == std::string_view::npos ? "READY" : "");
    return static_cast<int>(out.view().size());
}

HeapText getShellCommandReturnDynamic(ShellCommand command, Duration)
{
    record(command.c_str());
    return HeapText{strdup("{\"up\":true}")};
}

int getUciReturn(const char *path, TextOut out)
{
    record(path);
    out.clear();
    return 0;
}

bool can_print(ShellCommand, const char *)
{
    return true;
}

bool can_print_in(ShellCommand, const Fd &, const char *)
{
    return true;
}

int execCommand(ShellCommand command)
{
    record(command.c_str());
    return 0;
}

int fork_exec2(ShellCommand command)
{
    record(command.c_str());
    return 0;
}

UbusResult ubus_call(const char *, const char *, int, const char *)
{
    return {UbusStep::done, 0, Json{json_tokener_parse("{\"up\":true}")}};
}

// A modem that is not there: waiting for one would leave no time for requests.
int serial_open(SerialPort &, const char *, int, int, int, bool (*)(int))
{
    return -1;
}

int serial_close(SerialPort &)
{
    return -1;
}

SerialPort::~SerialPort() = default;

void serial_flush(const SerialPort &) {}

int serial_read_timeout(SerialPort &, size_t, char *, int)
{
    return -1;
}

size_t serial_write_all(SerialPort &, size_t, const char *)
{
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    require_simulated_router();
    if (size == 0)
        return 0;

    std::string_view input{reinterpret_cast<const char *>(bytes), size};
    const ModemRoute &route = take_route(input);
    const std::string text(input);
    Json request{json_tokener_parse(text.c_str())};
    if (!json_object_is_type(request.get(), json_type_object))
        request.reset(json_object_new_object());
    const Json response{json_object_new_object()};
    commands.clear();
    const int32_t status = route.handler(request.get(), response.get());
    check(is_status(status), "the status is one of those that are documented");
    check(is_document(response.get()), "the response is JSON");
    const char *bus = kjson_get_string(request.get(), "bus");
    check(bus == nullptr || is_made_of(bus, "-.") || commands.find(bus) == std::string::npos,
          "a text that names no bus reaches no command");
    return 0;
}
