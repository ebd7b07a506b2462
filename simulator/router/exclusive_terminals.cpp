#include "simulator/router/exclusive_terminals.h"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/major.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <system_error>

namespace simulator {

namespace {

/// The listener hears of every ioctl TIOCEXCL.
int install_filter()
{
    constexpr uint32_t low_word = std::endian::native == std::endian::little ? 0 : 4;
    sock_filter instructions[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1]) + low_word),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, TIOCEXCL, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{.len = std::size(instructions), .filter = instructions};
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

bool is_pseudo_terminal(uint32_t process, uint64_t descriptor)
{
    const std::string path = "/proc/" + std::to_string(process) + "/fd/" + std::to_string(static_cast<int>(descriptor));
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode) &&
           major(status.st_rdev) >= UNIX98_PTY_SLAVE_MAJOR &&
           major(status.st_rdev) < UNIX98_PTY_SLAVE_MAJOR + UNIX98_PTY_MAJOR_COUNT;
}

} // namespace

ExclusiveTerminals::ExclusiveTerminals(EventLoop &loop) : loop_(loop), listener_(install_filter())
{
    if (!listener_)
        throw std::system_error(errno, std::generic_category(), "seccomp");
    loop_.watch(listener_.get(), EPOLLIN, [this](uint32_t) { on_call(); });
}

void ExclusiveTerminals::on_call() const
{
    seccomp_notif call{};
    if (ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_RECV, &call) != 0)
        return; // the caller was killed meanwhile
    seccomp_notif_resp answer{};
    answer.id = call.id;
    if (!is_pseudo_terminal(call.pid, call.data.args[0]))
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE; // the kernel refuses it with the right error
    ioctl(listener_.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

} // namespace simulator
