#include "status/usage.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>

#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "readings/fields.h"

namespace {

constexpr char kept_file[] = "/etc/modemctl.usage";
constexpr char lock_path[] = "/var/lock/modemctl.usage.lock";
constexpr char new_file[] = "usage";

// @return false if it is no number, or larger than a Number can be
template <typename Number> bool take_number(std::string_view &text, std::string_view end, Number &number)
{
    const auto value = decimal(take_until(text, end));
    number = static_cast<Number>(value.value_or(0));
    return value && *value >= 0 && static_cast<int64_t>(number) == *value;
}

} // namespace

void UsageBook::add(std::string_view iccid, uint32_t month, uint64_t rx_bytes, uint64_t tx_bytes)
{
    if (!iccid.empty() && month != 0) {
        const auto is_waiting = [&](const UsageEntry &entry) {
            return (entry.iccid.empty() || entry.iccid == iccid) && (entry.iccid.empty() || entry.month == 0);
        };
        for (size_t i = 0; i < size;) {
            if (!is_waiting(entries[i])) {
                i++;
                continue;
            }
            rx_bytes += entries[i].rx_bytes;
            tx_bytes += entries[i].tx_bytes;
            entries[i] = entries[--size];
            entries[size] = {};
        }
    }
    for (UsageEntry &entry : entries)
        if (&entry < entries.data() + size && entry.iccid == iccid && entry.month == month) {
            entry.rx_bytes += rx_bytes;
            entry.tx_bytes += tx_bytes;
            return;
        }
    if (rx_bytes == 0 && tx_bytes == 0)
        return;
    UsageEntry *place = &entries[0];
    if (size < entries.size())
        place = &entries[size++];
    else
        for (UsageEntry &entry : entries)
            if (entry.month < place->month)
                place = &entry;
    place->iccid.assign(iccid);
    place->month = month;
    place->rx_bytes = rx_bytes;
    place->tx_bytes = tx_bytes;
}

void UsageBook::add(const UsageBook &other)
{
    for (size_t i = 0; i < other.size; i++) {
        const UsageEntry &entry = other.entries[i];
        add(entry.iccid.view(), entry.month, entry.rx_bytes, entry.tx_bytes);
    }
}

uint64_t UsageBook::total(std::string_view iccid, uint32_t month) const
{
    uint64_t bytes = 0;
    for (size_t i = 0; i < size; i++)
        if (entries[i].iccid == iccid && entries[i].month == month)
            bytes += entries[i].rx_bytes + entries[i].tx_bytes;
    return bytes;
}

uint64_t UsageBook::total() const
{
    uint64_t bytes = 0;
    for (size_t i = 0; i < size; i++)
        bytes += entries[i].rx_bytes + entries[i].tx_bytes;
    return bytes;
}

UsageBook parse_usage(std::string_view text)
{
    UsageBook book;
    while (!text.empty()) {
        std::string_view line = take_until(text, "\n");
        const std::string_view iccid = take_until(line, " ");
        uint32_t month = 0;
        uint64_t rx_bytes = 0;
        uint64_t tx_bytes = 0;
        const bool is_card = iccid == "-" || (iccid.size() < 24 && !iccid.empty() && is_made_of(iccid, ""));
        if (is_card && take_number(line, " ", month) && take_number(line, " ", rx_bytes) &&
            take_number(line, " ", tx_bytes) && line.empty())
            book.add(iccid == "-" ? "" : iccid, month, rx_bytes, tx_bytes);
    }
    return book;
}

UsageText compose_usage(const UsageBook &book)
{
    UsageText text;
    for (size_t i = 0; i < book.size; i++) {
        const UsageEntry &entry = book.entries[i];
        text.append(Text<80>::format("%s %u %llu %llu\n", entry.iccid.empty() ? "-" : entry.iccid.c_str(), entry.month,
                                     static_cast<unsigned long long>(entry.rx_bytes),
                                     static_cast<unsigned long long>(entry.tx_bytes))
                        .view());
    }
    return text;
}

uint32_t billing_month(time_t now, uint32_t first_day)
{
    if (now < year_2025)
        return 0;
    tm day{};
    localtime_r(&now, &day);
    uint32_t month = static_cast<uint32_t>(day.tm_year + 1900) * 12 + static_cast<uint32_t>(day.tm_mon);
    if (static_cast<uint32_t>(day.tm_mday) < first_day)
        month--;
    return month / 12 * 100 + month % 12 + 1;
}

UsageBook read_kept_usage()
{
    UsageText text;
    read_file(kept_file, text.capacity() - 1, text);
    return parse_usage(text.view());
}

bool keep_usage(const UsageBook &more)
{
    const Fd lock{open(lock_path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600)};
    if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        return false;
    UsageBook book = read_kept_usage();
    book.add(more);
    return write_file(kept_file, compose_usage(book).view(), 0600) == 0;
}

UsageBook read_new_usage(const char *bus)
{
    UsageText text;
    read_state(bus, new_file, text.capacity() - 1, text);
    return parse_usage(text.view());
}

void write_new_usage(const char *bus, const UsageBook &book)
{
    write_state(bus, new_file, compose_usage(book).view(), 0600);
}
