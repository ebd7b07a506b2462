#include "core/cli/apn_command.h"

#include <cstdio>
#include <cstring>

#include "apn/candidates.h"
#include "apn/proof.h"
#include "apn/tables.h"
#include "core/cli/info_command.h"
#include "core/model/modem.h"
#include "platform/clock.h"
#include "platform/json.h"
#include "platform/tell_person.h"

namespace {

constexpr int exit_offline = 4;
constexpr int exit_unproved = 5;
constexpr int exit_usage = 64;

// A wrong APN can cost half a minute. What comes late in the list is rarely right.
constexpr int64_t longest_search_ms = 150'000;

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

// With a private network nothing public answers, however right the APN is. So the first that came up is taken if none
// is proved.
int connect_by_choices(const ModemDriver &rec, const SimCard &card, const ApnTables &tables, const ApnChoices &choices)
{
    const int64_t deadline = monotonic_ms() + longest_search_ms;
    const ApnChoice *first_up = nullptr;
    const ApnChoice *tried = nullptr;
    for (size_t i = 0; i < choices.size && monotonic_ms() < deadline; i++) {
        tried = &choices.items[i];
        if (connect_with_login(rec, *tried) != 0)
            continue;
        if (carries_traffic(rec.iface.c_str())) {
            keep_worked(tables, card, *tried);
            puts("\nconnect success");
            return 0;
        }
        tell_person("APN \"%s\" is accepted, but nothing answers", tried->apn.c_str());
        if (first_up == nullptr)
            first_up = tried;
    }
    if (first_up == nullptr)
        return exit_offline;
    if (first_up != tried)
        connect_with_login(rec, *first_up);
    return exit_unproved;
}

} // namespace

int run_apn(const CommandRun &run)
{
    const std::string_view option = run.arguments.size() == 1 ? run.arguments[0] : "";
    const bool wants_json = option == "--json";
    const bool wants_connection = option == "--connect";
    if (!run.arguments.empty() && !wants_json && !wants_connection) {
        tell_person("apn [--json | --connect]: \"%s\" is not understood", run.arguments.back());
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
    if (wants_connection) {
        set_current_modem_id(modem.rec.modem_id);
        return connect_by_choices(modem.rec, card, tables, choices);
    }
    if (wants_json)
        print_as_json(choices);
    else
        print_as_page(choices);
    return 0;
}
