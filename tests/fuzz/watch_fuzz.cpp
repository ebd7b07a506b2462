// The decider of the watch: a walk in which each pair of bytes changes the world, and any text as its memory.

#include "tests/fuzz/check.h"
#include "tests/fuzz/watch_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string_view input{reinterpret_cast<const char *>(bytes), size};
    const WatchMemory memory = read_watch_memory(input);
    Text<longest_watch_memory> text;
    write_watch_memory(memory, text);
    check(read_watch_memory(text.view()) == memory, "a memory reads back");
    const WatchDecision decision = decide({}, memory, {.now = 5, .is_there = true, .has_ports = true});
    check(decision.wait >= 1, "any memory goes on");
    WatchWalk walk;
    for (size_t i = 0; i + 1 < size; i += 2) {
        walk.step(bytes[i], bytes[i + 1]);
        check(walk.fault() == nullptr, walk.fault());
    }
    return 0;
}
