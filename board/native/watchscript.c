// Stands in the place of a script: says on the journal port that it starts, waits to be let go on,
// runs the script, says how it ended, and ends alike. Started through a symbolic link with the
// script's name; the script itself lies in /opt/scripts.

#define _GNU_SOURCE // pipe2

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <sys/resource.h>
#include <sys/wait.h>

static const char journalPath[] = "/dev/virtio-ports/journal";

// The port is the emulator's and can be open once: whoever else has it open is about to end.
static int openJournal(void)
{
    int journal;
    while ((journal = open(journalPath, O_RDWR | O_CLOEXEC)) < 0 && errno == EBUSY)
        usleep(10000);
    return journal;
}

static void report(const char *text)
{
    const int journal = openJournal();
    if (journal < 0 || write(journal, text, strlen(text)) < 0)
        perror(journalPath);
    close(journal);
}

static void reportStart(const char *name)
{
    char text[300], go;
    const int journal = openJournal();
    snprintf(text, sizeof text, "start %s\n", name);
    if (journal < 0 || write(journal, text, strlen(text)) < 0 || read(journal, &go, 1) < 0)
        perror(journalPath);
    close(journal);
}

// What a failed start left in errno arrives through a pipe that a successful one closes.
static int runScript(const char *path, char **arguments, int *status)
{
    int failure = 0, channel[2];
    if (pipe2(channel, O_CLOEXEC) != 0)
        return errno;
    const pid_t script = fork();
    if (script == 0) {
        execv(path, arguments);
        failure = errno;
        _exit(write(channel[1], &failure, sizeof failure) > 0 ? 127 : 126);
    }
    close(channel[1]);
    if (read(channel[0], &failure, sizeof failure) != (ssize_t)sizeof failure)
        failure = 0;
    waitpid(script, status, 0);
    return failure;
}

static void dieOf(int number)
{
    const struct rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    signal(number, SIG_DFL);
    raise(number);
}

int main(int count, char **arguments)
{
    (void)count;
    const char *slash = strrchr(arguments[0], '/');
    const char *name = slash ? slash + 1 : arguments[0];
    const char *folder = strstr(arguments[0], "/utility_scripts/") ? "utility_scripts/" : "";
    char path[300], text[400];
    int status = 0;

    reportStart(name);
    snprintf(path, sizeof path, "/opt/scripts/%s%s", folder, name);
    const int failure = runScript(path, arguments, &status);
    if (failure) {
        snprintf(text, sizeof text, "end %s unstartable %s\n", name, strerror(failure));
        report(text);
        return 255;
    }
    snprintf(text, sizeof text, "end %s %d\n", name,
             WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status));
    report(text);
    if (WIFSIGNALED(status))
        dieOf(WTERMSIG(status));
    return WEXITSTATUS(status);
}
