// stop_output PORT COMMAND...: runs a command while the port's output is stopped, as any program that may open the port
// can stop it.

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

int main(int count, char **words)
{
    const int port = count < 3 ? -1 : open(words[1], O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (port < 0 || tcflow(port, TCOOFF) != 0)
        return 1;
    const pid_t child = fork();
    if (child == 0) {
        execvp(words[2], words + 2);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    tcflow(port, TCOON);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}
