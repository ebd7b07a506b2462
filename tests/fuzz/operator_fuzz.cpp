// A SIM's IMSI as it was kept, and what the operator list has for it: the first line of the input is the kept IMSI, the
// rest is the list, which a plain reader of comma-separated lines reads beside. Runs in the simulated router.

#include <cstdint>
#include <fstream>
#include <string>
#include <sys/stat.h>

#include "apn/carrier.h"
#include "core/model/printable.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "tests/fuzz/sandbox.h"

namespace {

std::string operators;

/// The second field of every line that has the code in it; the whole line where it has no comma.
std::string find_names(std::string_view code)
{
    std::string names;
    for (std::string_view rest = operators; !rest.empty();) {
        const std::string_view line = first_characters(rest, rest.find('\n'));
        rest = without_first(rest, line.size() + 1);
        if (line.find(code) == std::string_view::npos)
            continue;
        const size_t comma = line.find(',');
        const std::string_view field = comma == std::string_view::npos ? line : without_first(line, comma + 1);
        names += first_characters(field, comma == std::string_view::npos ? std::string_view::npos : field.find(','));
        names += '\n';
    }
    return names;
}

std::string member(const Json &object, const char *name)
{
    const char *text = kjson_get_string(object.get(), name);
    return text == nullptr ? "" : text;
}

} // namespace

/// The one command that is run here: "cat /usr/share/modem/operator.dat|grep <code>|cut -d ',' -f 2".
HeapText getShellCommandReturnDynamic(ShellCommand command, Duration)
{
    if (command.empty())
        return nullptr; // a code that is not plain
    const std::string_view text = command.c_str();
    const size_t grep = text.find("grep ");
    check(grep != std::string_view::npos, "an operator is looked up with grep");
    const std::string_view code = first_characters(without_first(text, grep + 5), text.find("|cut") - grep - 5);
    check(!code.empty() && code.size() <= 6 && is_made_of(code, ""), "a code is plain");
    const std::string names = find_names(code);
    return names.empty() ? nullptr : HeapText{strdup(names.c_str())};
}

// Nothing else is run.
int getShellCommandReturn(ShellCommand, TextOut, Duration)
{
    return -1;
}

int getShellCommandReturnLine(ShellCommand, TextOut, Duration)
{
    return -1;
}

int getUciReturn(const char *, TextOut)
{
    return -1;
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
    return -1;
}

int fork_exec2(ShellCommand)
{
    return -1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    require_simulated_router();
    const std::string input(reinterpret_cast<const char *>(bytes), size);
    const size_t line_end = input.find('\n');
    operators = line_end == std::string::npos ? "" : input.substr(line_end + 1);
    if (operators.find('\0') != std::string::npos)
        return 0;
    mkdir("/tmp/modem.1-1.2", 0755);
    std::ofstream("/tmp/modem.1-1.2/cimi", std::ios::binary) << input.substr(0, line_end) << '\n';

    ModemDriver rec{};
    rec.bus = "1-1.2";
    const Json info{json_object_new_object()};
    const int result = add_carrier(info.get(), rec);
    check(is_document(info.get()), "what is told is JSON");
    const std::string mcc = member(info, "mcc");
    const std::string mnc = member(info, "mnc");
    const std::string carrier = member(info, "carrier");
    if (result != 0) {
        check(mcc.empty() && carrier.empty(), "without codes there is no operator");
        return 0;
    }
    check(mcc.size() == 3 && starts_with_digits(mcc, 3) && starts_with_digits(mnc, 2), "the first five are digits");
    check(carrier.size() <= 16 * 3, "an operator has 16 bytes, each of which may become U+FFFD");
    if (operators.empty())
        check(carrier.empty(), "an empty list names nobody");
    return 0;
}
