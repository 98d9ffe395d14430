#include "tests/support/transcript.h"

#include "tests/support/instrument.h"
#include "update/updatethread.h"

#include <atomic>
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <sys/syscall.h>

static const char callsFile[] = "/run/calls";
static std::atomic<bool> recording {false};

// These take the place of the C library's own functions, for Qt and for the updater alike.

extern "C" void sync() noexcept
{
    if (recording)
        Transcript::note("sync");
    else
        syscall(SYS_sync);
}

extern "C" int nanosleep(const timespec *pause, timespec *left)
{
    const bool firstThread = gettid() == getpid();
    if (recording && !firstThread) {
        const double seconds
            = static_cast<double>(pause->tv_sec) + 1e-9 * static_cast<double>(pause->tv_nsec);
        Transcript::note("sleep " + QByteArray::number(seconds, 'f', 1) + " s");
        return 0;
    }
    errno = clock_nanosleep(CLOCK_REALTIME, 0, pause, left);
    return errno == 0 ? 0 : -1;
}

Transcript::Transcript(UpdateThread *thread)
    : console(STDOUT_FILENO, callsFile)
{
    recording = true;
    QObject::connect(thread, &UpdateThread::progressChanged, [](int progress, const QString &info) {
        note(QByteArray::number(progress) + "% " + info.toUtf8());
    });
    QObject::connect(thread, &UpdateThread::titleChanged, [](const QString &title) {
        note("title " + title.toUtf8().replace('\n', "\\n"));
    });
    QObject::connect(thread, &UpdateThread::finished, [] { note("finished"); });
}

Transcript::~Transcript() { recording = false; }

void Transcript::note(const QByteArray &line)
{
    const int file = open(callsFile, O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    const QByteArray whole = line + '\n';
    if (file < 0
        || write(file, whole.constData(), static_cast<size_t>(whole.size())) != whole.size())
        qFatal("the transcript cannot be written");
    close(file);
}

QByteArrayList Transcript::lines()
{
    QByteArrayList lines = Instrument::read(QString::fromLatin1(callsFile)).split('\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}
