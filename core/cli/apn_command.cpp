#include "core/cli/apn_command.h"

#include <cstdio>
#include <cstring>

#include "apn/tables.h"
#include "core/cli/info_command.h"
#include "platform/json.h"
#include "platform/tell_person.h"

namespace {

constexpr int exit_usage = 64;

Json describe(const ApnChoice &choice)
{
    Json object{json_object_new_object()};
    const struct {
        const char *key;
        std::string_view text;
    } members[] = {
        {"apn", choice.apn.view()},
        {"username", choice.username.view()},
        {"password", choice.password.view()},
        {"auth", choice.auth.view()},
        {"ip", choice.ip.view()},
        {"why", choice.why.view()},
    };
    for (const auto &member : members)
        kjson_add_string(object.get(), member.key, member.text);
    return object;
}

void print_as_page(const ApnChoices &choices)
{
    constexpr char columns[] = "%-28s %-16s %-16s %-12s %-7s %s\n";
    printf(columns, "apn", "username", "password", "auth", "ip", "why");
    for (size_t i = 0; i < choices.size; i++) {
        const ApnChoice &choice = choices.items[i];
        printf(columns, choice.apn.empty() ? "-" : choice.apn.c_str(), choice.username.c_str(), choice.password.c_str(),
               choice.auth.c_str(), choice.ip.c_str(), choice.why.c_str());
    }
}

void print_as_json(const ApnChoices &choices)
{
    const Json list{json_object_new_array()};
    for (size_t i = 0; i < choices.size; i++)
        kjson_array_add(list.get(), describe(choices.items[i]));
    puts(json_pretty(list.get()));
}

} // namespace

int run_apn(const CommandRun &run)
{
    const bool wants_json = run.arguments.size() == 1 && strcmp(run.arguments[0], "--json") == 0;
    if (!run.arguments.empty() && !wants_json) {
        tell_person("apn [--json]: \"%s\" is not understood", run.arguments.back());
        return exit_usage;
    }
    ModemPort modem{};
    SimCard card;
    InfoResult result = open_modem(run.bus, modem);
    if (result == InfoResult::reported) {
        if (!read_sim_card(modem.session, card))
            result = InfoResult::no_answer;
        modem.session.close();
    }
    tell_reason(result, run.bus);
    if (result != InfoResult::reported)
        return static_cast<int>(result);
    const ApnTables tables = read_apn_tables(modem.rec, card);
    const ApnChoices choices = pick_apn_choices(card, tables.sources());
    if (wants_json)
        print_as_json(choices);
    else
        print_as_page(choices);
    return 0;
}
