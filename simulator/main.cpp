#include <algorithm>
#include <climits>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <span>
#include <string>
#include <unistd.h>
#include <vector>

#include "simulator/kernel/machine.h"
#include "simulator/modem/profile.h"
#include "simulator/modem/profiles_folder.h"
#include "simulator/network/status.h"
#include "simulator/router/options.h"
#include "simulator/router/root_folder.h"
#include "simulator/router/router.h"
#include "simulator/router/router_files.h"
#include "simulator/router/sandbox.h"

namespace {

using namespace simulator;
namespace fs = std::filesystem;

void list_modems(const std::string &folder)
{
    for (const Profile &profile : list_profiles(folder))
        printf("%-12s %-12s %04x:%04x  %s\n", profile.name.c_str(), profile.model.c_str(), profile.vendor_id,
               profile.product_id, profile.about.c_str());
}

std::vector<Modem> make_modems(const Options &options, const std::string &folder)
{
    std::vector<Modem> modems;
    for (const ModemChoice &choice : options.modems) {
        ModemOptions modem{.variables = choice.variables,
                           .delivery = options.delivery,
                           .faults = {},
                           .seed = options.seed,
                           .renumber = options.renumber};
        for (const FaultChoice &fault : options.faults)
            if (fault.bus.empty() || fault.bus == choice.bus)
                modem.faults.push_back(fault.fault);
        for (const SmsChoice &message : options.messages)
            if (message.bus.empty() || message.bus == choice.bus)
                for (const std::string &text : message.happenings)
                    modem.happenings.push_back({message.after_ms, text});
        modems.emplace_back(load_profile(folder, choice.profile), modem, EventLoop::now_ms());
    }
    return modems;
}

LineFile line_file(const std::string &path, bool append)
{
    return path.empty() ? LineFile() : LineFile(path, append);
}

RunFiles open_files(const Options &options)
{
    return {Journal(line_file(options.journal, false)), TrafficLog(line_file(options.log, false), EventLoop::now_ms()),
            line_file(options.coverage, true), Fd()};
}

std::string find_busybox()
{
    for (const char *path : {"/usr/bin/busybox", "/bin/busybox", "/usr/sbin/busybox"})
        if (access(path, X_OK) == 0)
            return path;
    throw std::runtime_error("busybox is missing: the router's shell comes from the package of that name");
}

RootPlan plan_root(const Options &options, const fs::path &program_folder, const fs::path &current)
{
    RootPlan plan{.files = router_files(options.board, program_folder, find_busybox()),
                  .kept = {program_folder, current},
                  .config_bytes = options.config_bytes,
                  .kernel_devices = options.kernel};
    if (options.kernel &&
        std::ranges::any_of(plan.files, [](const RouterFile &file) { return file.path.starts_with("/sys/"); }))
        throw OptionError("--kernel: sysfs is the kernel's, so there are no power pins of the board " + options.board);
    if (options.products.empty() && !options.runner.empty())
        throw OptionError("--runner: there are no --products for it");
    if (!options.products.empty()) {
        const std::string folder = fs::canonical(options.products);
        plan.kept.push_back(folder);
        for (RouterFile &file : product_files(folder, options.runner, program_folder))
            plan.files.push_back(std::move(file));
    }
    for (RouterFile &file : put_files(options.puts))
        plan.files.push_back(std::move(file));
    return plan;
}

/// The arguments of this process as the kernel shows them.
std::span<char> shown_arguments;

/// Inside the router this process is its first one, and what looks for a program by name among the processes must not
/// find it in this process's arguments.
void hide_arguments()
{
    std::ranges::fill(shown_arguments, '\0');
}

int simulate(const Options &options)
{
    const std::string profiles = find_profiles(options.profiles);
    if (options.list) {
        list_modems(profiles);
        return 0;
    }
    std::vector<Modem> modems = make_modems(options, profiles);
    RunFiles files = open_files(options);
    const fs::path current = fs::current_path();
    const RootPlan plan = plan_root(options, fs::read_symlink("/proc/self/exe").parent_path(), current);
    if (options.kernel) {
        std::vector<UsbPlan> plans;
        for (size_t i = 0; i < modems.size(); i++)
            plans.push_back({options.modems[i].bus, modems[i].profile(), operators_demand(options)});
        files.usb_devices = start_usb_devices(std::move(plans));
    }
    const auto network = options.kernel ? Network::machine : Network::own;
    run_isolated(network, [&](Rights rights) {
        hide_arguments();
        enter_router_root(plan, rights);
        return Router(options, std::move(modems), std::move(files), rights).run(current);
    });
}

/// One line on standard error and a status for everything that can go wrong.
int report_failures(int (*body)(std::span<const std::string>), std::span<const std::string> arguments)
{
    try {
        return body(arguments);
    } catch (const OptionError &error) {
        fprintf(stderr, "simrouter: %s\n", error.what());
        return status_usage;
    } catch (const ProfileError &error) {
        fprintf(stderr, "simrouter: %s\n", error.what());
        return status_usage;
    } catch (const std::invalid_argument &error) {
        fprintf(stderr, "simrouter: %s\n", error.what());
        return status_usage;
    } catch (const NotAllowed &error) {
        fprintf(stderr, "simrouter: namespaces are not allowed here (%s)\n", error.what());
        return status_not_allowed;
    } catch (const NoMachine &error) {
        fprintf(stderr, "simrouter: %s\n", error.what());
        return status_not_allowed;
    } catch (const std::exception &error) {
        fprintf(stderr, "simrouter: %s\n", error.what());
        return status_internal;
    }
}

int run(std::span<const std::string> arguments)
{
    const Options options = parse_options(arguments);
    if (options.help) {
        fwrite(help_text().data(), 1, help_text().size(), stdout);
        return 0;
    }
    if (options.kernel && !options.list && !is_inside_machine()) {
        make_modems(options,
                    find_profiles(options.profiles)); // what is wrong with them is said before the machine starts
        return run_in_machine(options, arguments, fs::read_symlink("/proc/self/exe"));
    }
    return simulate(options);
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty())
        shown_arguments = {argv[1], argv[argc - 1] + arguments.back().size()};
    return report_failures(run, arguments);
}
