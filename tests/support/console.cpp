#include "tests/support/console.h"

#include <QtGlobal>

#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

static void flush()
{
    std::cout.flush();
    std::fflush(stdout);
}

Console::Console()
{
    flush();
    savedOutput = dup(STDOUT_FILENO);
    file = open("/run", O_TMPFILE | O_RDWR | O_APPEND | O_CLOEXEC, 0600);
    if (savedOutput < 0 || file < 0 || dup2(file, STDOUT_FILENO) < 0)
        qFatal("standard output cannot be taken");
}

Console::~Console()
{
    flush();
    dup2(savedOutput, STDOUT_FILENO);
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
