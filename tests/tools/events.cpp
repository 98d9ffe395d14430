#include "tests/tools/events.h"

#include <QtGlobal>

#include <unistd.h>

static bool recording = false;

// Takes the place of the C library's own function.
extern "C" void sync() noexcept
{
    if (recording)
        Events::note("[sync]");
}

static const char *emptied(const char *path)
{
    unlink(path);
    return path;
}

Events::Events()
    : console(STDOUT_FILENO, emptied("/run/calls"))
{
    recording = true;
}

Events::~Events() { recording = false; }

void Events::note(const QByteArray &line)
{
    const QByteArray whole = line + '\n'; // past the stream, which may hold what was not flushed
    if (write(STDOUT_FILENO, whole.constData(), static_cast<size_t>(whole.size())) != whole.size())
        qFatal("a note cannot be written");
}
