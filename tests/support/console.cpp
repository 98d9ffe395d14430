#include "tests/support/console.h"

#include <QtGlobal>

#include <cstdio>
#include <iostream>

#include <fcntl.h>

static void flush()
{
    std::cout.flush();
    std::fflush(stdout);
}

Console::Console(int takenStream, const char *path)
    : stream(takenStream)
{
    flush();
    savedOutput = dup(stream);
    file = open(path ? path : "/run", (path ? O_CREAT : O_TMPFILE) | O_RDWR | O_APPEND | O_CLOEXEC,
                0600);
    if (savedOutput < 0 || file < 0 || dup2(file, stream) < 0)
        qFatal("standard output cannot be taken");
}

Console::~Console()
{
    flush();
    dup2(savedOutput, stream);
    close(savedOutput);
    close(file);
}

QByteArray Console::take()
{
    flush();
    QByteArray text;
    char buffer[4096];
    for (;;) {
        const ssize_t count = pread(file, buffer, sizeof buffer, taken);
        if (count <= 0)
            return text;
        text.append(buffer, static_cast<int>(count));
        taken += count;
    }
}
