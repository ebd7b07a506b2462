#include "core/model/state_dir.h"

#include <sys/stat.h>

#include "platform/files.h"

Text<100> state_dir(const char *bus)
{
    return Text<100>::format("/tmp/modem.%s", bus);
}

void ensure_state_dir(const char *bus)
{
    mkdir(state_dir(bus).c_str(), 0755);
}

Text<100> state_path(const char *bus, const char *file)
{
    struct stat directory;
    if (lstat(state_dir(bus).c_str(), &directory) == 0 && directory.st_uid != geteuid())
        return {};
    return Text<100>::format("%s/%s", state_dir(bus).c_str(), file);
}

void remove_state(const char *bus, const char *file)
{
    unlink(state_path(bus, file).c_str());
}

int write_state(const char *bus, const char *file, std::string_view content)
{
    ensure_state_dir(bus);
    return write_file(state_path(bus, file).c_str(), content) == -1 ? -1 : 0;
}
