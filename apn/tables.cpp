#include "apn/tables.h"

#include <sys/stat.h>

#include "apn/candidates.h"
#include "apn/database.h"
#include "apn/entries.h"
#include "apn/fixed_apn.h"
#include "apn/shell_lines.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

constexpr char database_file[] = "/usr/share/modem/apns";
constexpr char worked_file[] = "/etc/modemctl/worked-apns";
constexpr size_t longest_database = size_t{1} << 20;
constexpr size_t longest_worked = 2048;

// Null if the file is missing or empty.
HeapText read_table(const char *path, size_t longest)
{
    HeapText text{static_cast<char *>(calloc(1, longest))};
    if (text == nullptr || read_file(path, longest - 1, {text.get(), longest}) <= 0)
        return nullptr;
    return text;
}

std::string_view view_of(const HeapText &text)
{
    return text == nullptr ? std::string_view{} : text.get();
}

const char *text_or_empty(json_object *entry, const char *key)
{
    const char *text = kjson_get_string(entry, key);
    return text == nullptr ? "" : text;
}

// The rows of the card's network from the web interface's database, as a table.
HeapText read_web_database(const SimCard &card)
{
    constexpr size_t longest = 4096;
    HeapText table{static_cast<char *>(calloc(1, longest))};
    const std::string_view imsi = card.imsi.view();
    HeapText database;
    if (table == nullptr || imsi.empty())
        return nullptr;
    const TextOut rows{table.get(), longest};
    const Text<4> mcc{first_characters(imsi, 3)};
    // The key is told as the reason, so it is not the whole IMSI.
    if (const char *apn = pick_fixed_apn(imsi); apn != nullptr)
        rows.append(Text<120>::format("%.5s*\t%s\n", card.imsi.c_str(), apn).view());
    const Json entries{json_object_new_array()};
    if (read_apn_database(apn_database_file, database) == 0)
        pick_apn_entries(database.get(), mcc.view(), first_characters(without_first(imsi, 3), 3), entries.get());
    for (size_t i = 0; i < json_object_array_length(entries.get()); i++) {
        json_object *entry = json_object_array_get_idx(entries.get(), i);
        if (is_internet_apn(entry))
            rows.append(Text<256>::format("%s%s\t%s\t%s\t%s\n", mcc.c_str(), text_or_empty(entry, "-mnc"),
                                          text_or_empty(entry, "-apn"), text_or_empty(entry, "-user"),
                                          text_or_empty(entry, "-password"))
                            .view());
    }
    return table;
}

} // namespace

bool read_user_login(const char *iface, ApnLogin &login)
{
    const Uci uci = kuci2_init();
    const auto get = [&](const char *option, TextOut out) {
        return kuci2_get_name(uci, "network", iface, option, out) == 0;
    };
    Text<8> device;
    get("device", device);
    get("apn", login.apn);
    get("username", login.username);
    get("password", login.password);
    if (!get("auth", login.auth))
        login.auth = login.username.empty() ? "NONE" : "PAP or CHAP";
    if (!get("pdptype", login.ip))
        login.ip = "ipv4v6";
    if (login.apn.empty() && device.empty())
        return false;
    Text<72> digest;
    Text<72> found;
    kuci2_get_name(uci, "devconf", "modem_auto", iface, found);
    if (found.empty())
        return true;
    getShellCommandReturnLine(compose_settings_digest(iface), digest);
    return digest != found.view();
}

ApnSources ApnTables::sources() const
{
    return {.user = has_user ? &user : nullptr, .worked = view_of(worked), .database = view_of(database)};
}

ApnTables read_apn_tables(const ModemDriver &rec, const SimCard &card)
{
    ApnTables tables;
    tables.worked = read_table(worked_file, longest_worked);
    tables.database = read_table(database_file, longest_database);
    if (tables.database == nullptr)
        tables.database = read_web_database(card);
    tables.has_user = read_user_login(rec.iface.c_str(), tables.user);
    return tables;
}

void keep_worked(const ApnTables &tables, const SimCard &card, const ApnLogin &login)
{
    const auto table = add_worked(view_of(tables.worked), card.iccid.view(), login);
    if (table.empty() || table == view_of(tables.worked))
        return;
    mkdir("/etc/modemctl", 0755);
    write_file(worked_file, table.view(), 0600);
}
