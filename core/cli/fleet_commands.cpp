#include "core/cli/fleet_commands.h"

#include <cstdio>
#include <cstring>

#include "core/cli/info_command.h"
#include "discovery/record/metrics.h"
#include "discovery/record/openwisp.h"
#include "discovery/record/snapshot.h"
#include "platform/tell_person.h"
#include "watch/watch.h"

namespace {

constexpr int exit_usage = 64;
// The watch makes a report a minute.
constexpr int64_t oldest_report_s = 120;

bool read_options(std::span<char *const> words, MetricsOptions &options)
{
    for (const char *word : words) {
        if (strcmp(word, "--identify") == 0)
            options.identify = true;
        else if (strcmp(word, "--openmetrics") == 0)
            options.openmetrics = true;
        else
            return false;
    }
    return true;
}

void add_watch(json_object *report)
{
    Json watch{json_object_new_object()};
    const char *bus = kjson_get_string(report, "bus");
    if (bus != nullptr && add_watch_status(watch.get(), bus))
        kjson_add_object(report, "watch", std::move(watch));
}

} // namespace

int run_metrics(const CommandRun &run)
{
    MetricsOptions options;
    if (!read_options(run.arguments, options)) {
        tell_person("metrics [--identify] [--openmetrics]");
        return exit_usage;
    }
    InfoResult worst = InfoResult::reported;
    const Json reports = reports_of_all(oldest_report_s, worst);
    for (size_t i = 0; i < json_object_array_length(reports.get()); i++)
        add_watch(json_object_array_get_idx(reports.get(), i));
    print_metrics(stdout, reports.get(), options);
    return 0;
}

int run_openwisp(const CommandRun &run)
{
    if (!run.arguments.empty()) {
        tell_person("[BUS] openwisp, without arguments");
        return exit_usage;
    }
    Json report;
    const InfoResult result = newest_report(run.bus, oldest_report_s, report);
    tell_reason(result, run.bus);
    if (result != InfoResult::reported)
        return static_cast<int>(result);
    const Json mobile = openwisp_mobile(report.get());
    if (mobile == nullptr) {
        tell_person("the modem on bus %s is without a network, or did not say its IMEI, maker and model", run.bus);
        return static_cast<int>(InfoResult::no_answer);
    }
    puts(one_line(mobile.get()));
    return 0;
}
