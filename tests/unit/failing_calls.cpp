#include "tests/unit/failing_calls.h"

#include <cerrno>
#include <string_view>
#include <sys/types.h>

namespace {

struct Failure {
    std::string_view name;
    int calls_before = 0;
    int reason = 0;
} failure;

bool fails(std::string_view name)
{
    if (failure.name != name || failure.calls_before < 0)
        return false;
    return failure.calls_before-- == 0;
}

int failed()
{
    errno = failure.reason;
    return -1;
}

} // namespace

FailingCall::FailingCall(const char *name, int passed, int reason)
{
    failure = {.name = name, .calls_before = passed, .reason = reason};
}

FailingCall::~FailingCall()
{
    failure = {};
}

bool FailingCall::has_failed() const
{
    return failure.calls_before < 0;
}

extern "C" {

ssize_t __real_write(int fd, const void *bytes, size_t count);
int __real_fsync(int fd);
int __real_close(int fd);
int __real_renameat(int from_folder, const char *from, int to_folder, const char *to);

ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (!fails("write"))
        return __real_write(fd, bytes, count);
    const ssize_t half = __real_write(fd, bytes, count / 2);
    return half < 0 ? half : failed();
}

int __wrap_fsync(int fd)
{
    return fails("fsync") ? failed() : __real_fsync(fd);
}

int __wrap_close(int fd)
{
    const int result = __real_close(fd);
    return fails("close") ? failed() : result;
}

int __wrap_renameat(int from_folder, const char *from, int to_folder, const char *to)
{
    return fails("renameat") ? failed() : __real_renameat(from_folder, from, to_folder, to);
}
}
