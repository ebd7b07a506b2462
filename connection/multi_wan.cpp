#include "connection/multi_wan.h"

#include "connection/interface_config.h"
#include "connection/shell_lines.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

constexpr std::string_view kept_out_operator = "Visible";

bool is_kept_out(const char *operator_name)
{
    return operator_name != nullptr && std::string_view{operator_name}.starts_with(kept_out_operator);
}

struct Option {
    const char *name;
    const char *value;
};
constexpr Option tracking[] = {{"family", "ipv4"}, {"reliability", "2"}, {"count", "1"}, {"timeout", "2"},
                               {"interval", "5"},  {"down", "3"},        {"up", "5"}};
constexpr const char *tracked_addresses[] = {"8.8.4.4", "8.8.8.8", "208.67.222.222", "208.67.220.220"};

// The name is cut short on purpose: the routers' mwan3 configuration has the policy under this name.
constexpr char policy_members[] = "mwan3.default_poli.use_member";

void restart_mwan3(const Uci &uci)
{
    kuci2_commit(uci, "mwan3");
    fork_exec2(restart_multi_wan);
}

void create_member(const Uci &uci, const char *iface, const char *operator_name)
{
    kuci2_set_name(uci, "mwan3", iface, nullptr, "interface");
    kuci2_set_name(uci, "mwan3", iface, "enabled", is_kept_out(operator_name) ? "0" : "1");
    for (const Option &option : tracking)
        kuci2_set_name(uci, "mwan3", iface, option.name, option.value);
    const auto track_ip = Text<64>::format("mwan3.%s.track_ip", iface);
    for (const char *address : tracked_addresses)
        kuci2_add_list(uci, track_ip.c_str(), address);
    const auto member = Text<32>::format("%s_only", iface);
    kuci2_set_name(uci, "mwan3", member.c_str(), nullptr, "member");
    kuci2_set_name(uci, "mwan3", member.c_str(), "interface", iface);
    kuci2_set_name(uci, "mwan3", member.c_str(), "metric", "4");
    kuci2_set_name(uci, "mwan3", member.c_str(), "weight", "3");
    kuci2_add_list(uci, policy_members, member.c_str());
    restart_mwan3(uci);
}

void change_member(const Uci &uci, const char *iface, const char *operator_name)
{
    Text<2> enabled;
    kuci2_get_name(uci, "mwan3", iface, "enabled", enabled);
    const MultiWanChange change = pick_multi_wan_change(enabled.view(), operator_name);
    if (change == MultiWanChange::none)
        return;
    kuci2_set_name(uci, "mwan3", iface, "enabled", change == MultiWanChange::enable ? "1" : "0");
    restart_mwan3(uci);
}

} // namespace

MultiWanChange pick_multi_wan_change(std::string_view enabled, const char *operator_name)
{
    if (enabled.empty())
        return MultiWanChange::none;
    const bool is_enabled = enabled == "1";
    if (is_kept_out(operator_name))
        return is_enabled ? MultiWanChange::disable : MultiWanChange::none;
    return is_enabled ? MultiWanChange::none : MultiWanChange::enable;
}

void set_up_multi_wan_member(const char *iface, const char *operator_name)
{
    const Uci uci = kuci2_init();
    kuci2_begin(uci, "mwan3");
    if (uci.text<30>(Text<64>::format("mwan3.%s", iface).c_str()).empty())
        create_member(uci, iface, operator_name);
    else
        change_member(uci, iface, operator_name);
}

void write_forced_ttl(const ModemDriver &rec, const char *device)
{
    const Uci uci = kuci2_init();
    const char *section = rec.iface.c_str();
    if (rec.ttl == 0) {
        kuci2_delete(uci, Text<64>::format("cellconf.%s", section).c_str());
    } else {
        kuci2_set_name(uci, "cellconf", section, nullptr, "forceTTL");
        kuci2_set_name(uci, "cellconf", section, "dev", device);
        kuci2_set_name(uci, "cellconf", section, "ttl", Text<4>::format("%d", rec.ttl).c_str());
    }
    kuci2_commit(uci, "cellconf");
}
