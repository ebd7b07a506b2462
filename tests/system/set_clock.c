// A clock that goes wrong by the seconds in the file /tmp/clock. Loaded in front of the C library (LD_PRELOAD) of the
// program to be tested, since a simulated router cannot set the clock of its machine.

#include <stdio.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

time_t time(time_t *out)
{
    struct timespec now = {0};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    long long error = 0;
    FILE *file = fopen("/tmp/clock", "re");
    if (file != NULL) {
        if (fscanf(file, "%lld", &error) != 1)
            error = 0;
        fclose(file);
    }
    now.tv_sec += error;
    if (out != NULL)
        *out = now.tv_sec;
    return now.tv_sec;
}
