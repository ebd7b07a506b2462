#include "apn/choices.h"

#include "readings/fields.h"

namespace {

constexpr size_t mcc_length = 3;

struct Word {
    std::string_view word; ///< in a table
    const char *value;
};
constexpr Word auth_words[] = {{"none", "NONE"}, {"pap", "PAP"}, {"chap", "CHAP"}, {"both", "PAP or CHAP"}};

struct Row {
    std::string_view key, apn, username, password, auth, ip;
};

bool next_row(std::string_view &rest, Row &row)
{
    while (!rest.empty()) {
        std::string_view line = take_until(rest, "\n");
        row.key = take_until(line, "\t");
        row.apn = take_until(line, "\t");
        row.username = take_until(line, "\t");
        row.password = take_until(line, "\t");
        row.auth = take_until(line, "\t");
        row.ip = take_until(line, "\t");
        if (!row.key.empty())
            return true;
    }
    return false;
}

char small(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 0x20) : character;
}

bool is_same_name(std::string_view one, std::string_view other)
{
    bool same = one.size() == other.size();
    for (size_t i = 0; same && i < one.size(); i++)
        same = small(one[i]) == small(other[i]);
    return same;
}

bool begins(std::string_view digits, std::string_view pattern)
{
    bool fits = digits.size() >= pattern.size();
    for (size_t i = 0; fits && i < pattern.size(); i++)
        fits = pattern[i] == 'x' || pattern[i] == digits[i];
    return fits;
}

// The card's group is followed by FF, as many as the file has room for.
bool is_in_group(std::string_view group, std::string_view pattern)
{
    bool fits = !group.empty();
    for (size_t i = 0; fits && i < pattern.size(); i++)
        fits = small(pattern[i]) == (i < group.size() ? small(group[i]) : 'f');
    return fits;
}

enum Rank : uint32_t { by_network = 1, by_name, by_group, by_imsi, by_iccid };

// How well a row fits a card: the rank, then the length of its key. 0 when it does not.
uint32_t grade(const SimCard &card, std::string_view key)
{
    constexpr size_t longest_key = 100;
    if (key.size() > longest_key)
        return 0;
    const size_t mark = key.find_first_of("=#*");
    const std::string_view digits = first_characters(key, mark);
    const std::string_view value = without_first(key, digits.size() + 1);
    const auto graded = [&](Rank rank) { return static_cast<uint32_t>(rank << 8 | key.size()); };
    if (mark == std::string_view::npos) {
        const bool is_network = digits.size() == mcc_length + 2 || digits.size() == mcc_length + 3;
        if (!is_network || !begins(card.imsi.view(), digits))
            return 0;
        // A code of the length that the card names comes first. Without a name the longer code is the closer match.
        const bool is_named = digits.size() == mcc_length + static_cast<size_t>(card.mnc_length);
        return graded(by_network) + (is_named ? longest_key : 0);
    }
    const bool is_iccid = digits.starts_with("89");
    if (key[mark] == '*' && begins(is_iccid ? card.iccid.view() : card.imsi.view(), digits))
        return graded(is_iccid ? by_iccid : by_imsi);
    if (key[mark] == '*' || !begins(card.imsi.view(), digits) || value.empty())
        return 0;
    if (key[mark] == '#')
        return is_in_group(card.gid1.view(), value) ? graded(by_group) : 0;
    return is_same_name(card.spn.view(), value) ? graded(by_name) : 0;
}

Text<80> reason_of(uint32_t its_grade, std::string_view key)
{
    static constexpr const char *names[] = {"", "network", "SPN", "GID1", "IMSI", "ICCID"};
    const size_t mark = key.find_first_of("=#");
    const std::string_view value = mark == std::string_view::npos ? key : without_first(key, mark + 1);
    Text<80> why = names[its_grade >> 8];
    why.append(" ");
    why.append(value.ends_with('*') ? first_characters(value, value.size() - 1) : value);
    return why;
}

void fill_login(const Row &row, ApnLogin &login)
{
    login.apn.assign(row.apn);
    login.username.assign(row.username);
    login.password.assign(row.password);
    login.auth.assign(row.username.empty() ? "NONE" : "PAP or CHAP");
    for (const Word &word : auth_words)
        if (row.auth == word.word)
            login.auth.assign(word.value);
    login.ip.assign(row.ip.empty() ? "ipv4v6" : row.ip);
}

bool is_same_login(const ApnLogin &one, const ApnLogin &other)
{
    return is_same_name(one.apn.view(), other.apn.view()) && one.username == other.username.view() &&
           one.password == other.password.view();
}

void append(ApnChoices &choices, const ApnLogin &login, const Text<80> &why)
{
    for (size_t i = 0; i < choices.size; i++)
        if (is_same_login(choices.items[i], login))
            return;
    if (choices.size < choices.items.size())
        choices.items[choices.size++] = {login, why};
}

void append_worked(ApnChoices &choices, std::string_view worked, std::string_view iccid)
{
    for (Row row; !iccid.empty() && next_row(worked, row);)
        if (row.key == iccid) {
            ApnLogin login;
            fill_login(row, login);
            append(choices, login, worked_before);
            return;
        }
}

// One after the other, each the best of those after the one before: a list of all rows that fit would need memory.
void append_rows(ApnChoices &choices, const SimCard &card, std::string_view database)
{
    const std::string_view places[] = {rows_of(database, first_characters(card.imsi.view(), mcc_length)),
                                       rows_of(database, first_characters(card.iccid.view(), mcc_length)),
                                       rows_of(database, "#"), rows_of(database, "=")};
    uint32_t before = UINT32_MAX;
    for (;;) {
        uint32_t best = 0;
        uint32_t best_grade = 0;
        Row found{};
        uint32_t position = UINT16_MAX;
        for (std::string_view rows : places)
            for (Row row; next_row(rows, row) && position > 0; position--) {
                const uint32_t its_grade = grade(card, row.key);
                const uint32_t order = its_grade << 16 | position;
                if (its_grade > 0 && order > best && order < before) {
                    best = order;
                    best_grade = its_grade;
                    found = row;
                }
            }
        if (best == 0)
            return;
        before = best;
        ApnLogin login;
        fill_login(found, login);
        append(choices, login, reason_of(best_grade, found.key));
    }
}

// Where the first row starts that does not come before start; with past also none that begins with it.
size_t first_row(std::string_view sorted, std::string_view start, int past)
{
    size_t low = 0;
    size_t high = sorted.size();
    while (low < high) {
        const size_t line_end = first_characters(sorted, low + (high - low) / 2).rfind('\n');
        const size_t middle = line_end == std::string_view::npos || line_end < low ? low : line_end + 1;
        const std::string_view row = without_first(sorted, middle);
        if (first_characters(row, start.size()).compare(start) < past)
            low = middle + first_characters(row, row.find('\n')).size() + 1;
        else
            high = middle;
    }
    return low < sorted.size() ? low : sorted.size();
}

bool is_field(std::string_view text)
{
    for (const char character : text)
        if (static_cast<unsigned char>(character) < ' ')
            return false;
    return true;
}

} // namespace

ApnChoices pick_apn_choices(const SimCard &card, const ApnSources &sources)
{
    ApnChoices choices;
    if (sources.user != nullptr)
        append(choices, *sources.user, set_by_user);
    append_worked(choices, sources.worked, card.iccid.view());
    append_rows(choices, card, sources.database);
    const size_t most = choices.items.size() - 1;
    choices.size = choices.size < most ? choices.size : most; // the empty one is always tried
    ApnLogin none;
    fill_login({}, none);
    append(choices, none, "the network may choose");
    return choices;
}

std::string_view rows_of(std::string_view sorted, std::string_view start)
{
    if (start.empty())
        return {};
    const size_t first = first_row(sorted, start, 0);
    return first_characters(without_first(sorted, first), first_row(sorted, start, 1) - first);
}

Text<2048> add_worked(std::string_view worked, std::string_view iccid, const ApnLogin &login)
{
    Text<2048> table;
    std::string_view auth;
    for (const Word &word : auth_words)
        if (login.auth == word.value)
            auth = word.word;
    const std::string_view fields[] = {iccid, login.apn.view(), login.username.view(), login.password.view(),
                                       auth,  login.ip.view()};
    for (const std::string_view &field : fields) {
        if (!is_field(field))
            return {};
        table.append(field);
        table.append(&field == &fields[std::size(fields) - 1] ? "\n" : "\t");
    }
    if (!starts_with_digits(iccid, 1))
        return {};
    while (!worked.empty()) {
        std::string_view line = take_until(worked, "\n");
        const std::string_view row = line;
        const bool fits = table.size() + row.size() + 2 <= table.capacity();
        if (take_until(line, "\t") != iccid && starts_with_digits(row, 1) && fits) {
            table.append(row);
            table.append("\n");
        }
    }
    return table;
}
