#include "core/cli/info_command.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

#include "core/cli/info_page.h"
#include "core/cli/modems.h"
#include "discovery/record/info.h"
#include "discovery/record/snapshot.h"
#include "platform/files.h"
#include "platform/tell_person.h"

namespace {

constexpr int exit_usage = 64;

struct Options {
    bool json = false;
    bool pretty = false;
    bool all = false;
    bool cached = false;
};

// @return false for an argument that is not understood
bool read_options(std::span<char *const> words, Options &options)
{
    const struct {
        const char *word;
        bool &option;
    } rows[] = {
        {"--json", options.json}, {"--pretty", options.pretty}, {"--all", options.all}, {"--cached", options.cached}};
    for (const char *word : words) {
        bool is_known = false;
        for (const auto &row : rows)
            if (strcmp(word, row.word) == 0) {
                row.option = true;
                is_known = true;
            }
        if (!is_known) {
            tell_person("info: \"%s\" is not understood; info [--json [--pretty]] [--all] [--cached]", word);
            return false;
        }
    }
    return true;
}

bool wants_colour()
{
    const char *no_colour = getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (no_colour == nullptr || *no_colour == '\0');
}

void print_report(json_object *report, const Options &options)
{
    if (options.json)
        puts(options.pretty ? json_pretty(report) : one_line(report));
    else
        print_info_page(report, wants_colour());
}

// How old a report may be for these options. Who reads without disturbing the modem has the watch look more often.
int64_t oldest_for(const Options &options, const char *bus)
{
    if (!options.cached)
        return no_age;
    mark_snapshot(bus);
    return any_age;
}

// Each modem is asked in a separate process, so that all together take no longer than the slowest. The report comes
// back over a pipe, followed by the exit status.
struct Inquiry {
    pid_t child = -1;
    Fd answer;
};

Inquiry start_inquiry(const char *bus, int64_t oldest_s)
{
    int ends[2];
    Inquiry inquiry;
    if (pipe(ends) != 0)
        return inquiry;
    inquiry.answer = Fd{ends[0]};
    inquiry.child = fork();
    const Fd writing{ends[1]};
    if (inquiry.child != 0)
        return inquiry;
    Json report;
    const InfoResult result = newest_report(bus, oldest_s, report);
    const char *text = one_line(report.get());
    const bool is_written = write(writing.get(), text, strlen(text)) == static_cast<ssize_t>(strlen(text));
    _exit(is_written ? static_cast<int>(result) : static_cast<int>(InfoResult::no_answer));
}

InfoResult finish_inquiry(const Inquiry &inquiry, Json &report)
{
    HeapText text{static_cast<char *>(calloc(1, longest_snapshot))};
    size_t total = 0;
    for (ssize_t got = 1; text != nullptr && got > 0 && total < longest_snapshot - 1;
         total += static_cast<size_t>(got > 0 ? got : 0))
        got = read(inquiry.answer.get(), text.get() + total, longest_snapshot - 1 - total);
    report.reset(text == nullptr ? nullptr : json_tokener_parse(text.get()));
    int status = 0;
    const bool has_ended = inquiry.child > 0 && waitpid(inquiry.child, &status, 0) == inquiry.child;
    return has_ended && WIFEXITED(status) ? static_cast<InfoResult>(WEXITSTATUS(status)) : InfoResult::no_answer;
}

int run_for_all(const Options &options)
{
    InfoResult worst = InfoResult::reported;
    const Json reports = reports_of_all(options.cached ? any_age : no_age, worst);
    for (size_t i = 0; i < json_object_array_length(reports.get()); i++) {
        json_object *report = json_object_array_get_idx(reports.get(), i);
        if (options.cached)
            mark_snapshot(kjson_get_string(report, "bus"));
        if (options.json)
            continue;
        if (i > 0)
            puts("");
        print_report(report, options);
    }
    if (options.json)
        print_report(reports.get(), options);
    return static_cast<int>(worst);
}

} // namespace

InfoResult newest_report(const char *bus, int64_t oldest_s, Json &report)
{
    if (oldest_s > no_age) {
        report = read_snapshot(bus);
        if (report != nullptr && kjson_get_int(report.get(), "age_s") <= oldest_s)
            return InfoResult::reported;
    }
    report.reset(json_object_new_object());
    const InfoResult result = add_info(report.get(), bus);
    if (result == InfoResult::reported)
        write_snapshot(bus, report.get());
    return result;
}

Json reports_of_all(int64_t oldest_s, InfoResult &worst)
{
    constexpr size_t most_modems = 16;
    const Json modems = list_modems();
    const size_t count = std::min(json_object_array_length(modems.get()), most_modems);
    std::array<Inquiry, most_modems> inquiries;
    for (size_t i = 0; i < count; i++)
        inquiries[i] = start_inquiry(kjson_get_string(json_object_array_get_idx(modems.get(), i), "bus"), oldest_s);
    worst = count == 0 ? InfoResult::no_modem : InfoResult::reported;
    Json list{json_object_new_array()};
    for (size_t i = 0; i < count; i++) {
        Json report;
        const InfoResult result = finish_inquiry(inquiries[i], report);
        if (worst == InfoResult::reported)
            worst = result;
        if (report != nullptr)
            kjson_array_add(list.get(), std::move(report));
    }
    return list;
}

void tell_reason(InfoResult result, const char *bus)
{
    if (result == InfoResult::no_modem)
        tell_person("no modem on bus %s; %s", bus, modems_sentence().c_str());
    else if (result == InfoResult::no_answer)
        tell_person("the modem on bus %s does not answer", bus);
    else if (result == InfoResult::port_busy)
        tell_person("another program holds the port of the modem on bus %s", bus);
}

int run_info(const CommandRun &run)
{
    Options options;
    if (!read_options(run.arguments, options))
        return exit_usage;
    if (options.all)
        return run_for_all(options);
    Json report;
    const InfoResult result = newest_report(run.bus, oldest_for(options, run.bus), report);
    if (result != InfoResult::no_modem || options.json)
        print_report(report.get(), options);
    tell_reason(result, run.bus);
    return static_cast<int>(result);
}
