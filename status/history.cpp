#include "status/history.h"

#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "core/model/state_dir.h"
#include "platform/files.h"

namespace {

constexpr char history_file[] = "history";
constexpr uint32_t magic = 0x6d686973; // "mhis"; another size of a sample is another file

struct Header {
    uint32_t magic;
    uint32_t sample_size;
    uint32_t next;  ///< where the next sample goes
    uint32_t count; ///< at most history_samples
};
static_assert(sizeof(Header) + history_samples * sizeof(HistorySample) <= 65536);

bool read_header(const Fd &file, Header &header)
{
    return pread(file.get(), &header, sizeof header, 0) == sizeof header && header.magic == magic &&
           header.sample_size == sizeof(HistorySample) && header.next < history_samples &&
           header.count <= history_samples;
}

off_t place_of(uint32_t index)
{
    return static_cast<off_t>(sizeof(Header) + index * sizeof(HistorySample));
}

} // namespace

int add_history(const char *bus, const HistorySample &sample)
{
    const Fd file = open_state(bus, history_file, O_RDWR | O_CREAT);
    Header header{};
    if (!file)
        return -1;
    if (!read_header(file, header))
        header = {.magic = magic, .sample_size = sizeof sample, .next = 0, .count = 0};
    // The sample first: a process that is killed in between leaves what was there.
    if (pwrite(file.get(), &sample, sizeof sample, place_of(header.next)) != sizeof sample)
        return -1;
    header.next = (header.next + 1) % history_samples;
    if (header.count < history_samples)
        header.count++;
    return pwrite(file.get(), &header, sizeof header, 0) == sizeof header ? 0 : -1;
}

int read_history(const char *bus, int64_t since_s, void (*visit)(void *context, const HistorySample &sample),
                 void *context)
{
    const Fd file = open_state(bus, history_file, O_RDONLY);
    Header header{};
    int visited = 0;
    if (!file || !read_header(file, header))
        return 0;
    int32_t before = INT32_MIN;
    for (uint32_t i = 0; i < header.count; i++) {
        const uint32_t index = (header.next + history_samples - header.count + i) % history_samples;
        HistorySample sample{};
        if (pread(file.get(), &sample, sizeof sample, place_of(index)) != sizeof sample)
            break;
        if (sample.uptime_s < before || sample.uptime_s < since_s)
            continue;
        before = sample.uptime_s;
        visit(context, sample);
        visited++;
    }
    return visited;
}
