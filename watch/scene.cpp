#include "watch/scene.h"

#include "core/model/state_dir.h"
#include "readings/fields.h"
#include "watch/actors.h"

namespace {

constexpr char scene_file[] = "watch";

using SceneText = Text<longest_watch_memory + 400>;

// A text or a number of a scene.
struct Part {
    Part(TextOut out) : text(out) {}
    Part(int64_t &value) : text(nullptr, 0), number(&value) {}

    TextOut text;
    int64_t *number = nullptr;
};

// A line each, before the memory.
std::array<Part, 14> parts_of(Scene &scene)
{
    return {scene.device.out(), scene.server.out(), scene.address.out(), scene.plug.out(),  scene.stamp.out(),
            scene.sampled,      scene.iccid.out(),  scene.received,      scene.sent,        scene.kept,
            scene.warned,       scene.route,        scene.loader,        scene.reason.out()};
}

} // namespace

void read_scene(const char *bus, Scene &scene)
{
    SceneText text;
    if (read_state(bus, scene_file, text.capacity() - 1, text) <= 0) {
        read_kept(bus, scene.memory);
        return;
    }
    std::string_view rest = text.view();
    for (const Part &part : parts_of(scene)) {
        const std::string_view line = take_until(rest, "\n");
        part.text.assign(line);
        if (part.number != nullptr)
            *part.number = decimal(line).value_or(0);
    }
    scene.memory = read_watch_memory(rest);
}

void write_scene(const char *bus, const Scene &scene)
{
    SceneText text;
    Scene copy = scene;
    for (const Part &part : parts_of(copy)) {
        if (part.number != nullptr)
            text.append(Text<24>::format("%lld", static_cast<long long>(*part.number)).view());
        text.append(part.text.view());
        text.append("\n");
    }
    Text<longest_watch_memory> memory;
    write_watch_memory(scene.memory, memory);
    text.append(memory.view());
    write_state(bus, scene_file, text.view(), 0600);
}
