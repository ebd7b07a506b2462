// Answers the request for a PPP device's statistics, which only a kernel with PPP does. Loaded in front of the C
// library (LD_PRELOAD) of the program to be tested, whose other requests go on to the kernel.

#include <linux/ppp_defs.h>
#include <net/if.h>
#include <net/if_ppp.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

int ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request != SIOCGPPPSTATS)
        return (int)syscall(SYS_ioctl, fd, request, argument);
    const struct ifreq *question = argument;
    if (strcmp(question->ifr_name, "3g-modem_1_1_2") != 0)
        return -1;
    struct ppp_stats *statistics = (void *)question->ifr_data;
    statistics->p.ppp_ibytes = 4000000000;
    statistics->p.ppp_obytes = 12;
    return 0;
}
