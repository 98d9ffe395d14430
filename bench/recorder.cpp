// Preloaded into a program, says when its main() was reached and when the calls below began and
// ended: a line each on file descriptor 3, in seconds of the monotonic clock. The program itself is
// unmodified.

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>

namespace {

constexpr int record = 3;

double now()
{
    timespec time {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void note(const char *what, double begin) { dprintf(record, "%s %.6f %.6f\n", what, begin, now()); }

using Word = long;
using Call = Word (*)(Word, Word, Word, Word, Word, Word);

Word timed(const char *what, Call call, Word a, Word b, Word c, Word d, Word e, Word f)
{
    const double begin = now();
    const Word result = call(a, b, c, d, e, f);
    note(what, begin);
    return result;
}

} // namespace

// Arguments and results of these calls are integers and addresses, so six words carry any of them.
#define RECORDED(name, symbol)                                                                     \
    Word name(Word, Word, Word, Word, Word, Word) __asm__(symbol);                                 \
    Word name(Word a, Word b, Word c, Word d, Word e, Word f)                                      \
    {                                                                                              \
        static const auto call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, symbol));                 \
        return timed(#name, call, a, b, c, d, e, f);                                               \
    }

RECORDED(application, "_ZN12QApplicationC1ERiPPci")
RECORDED(processStart,
         "_ZN8QProcess5startERK7QStringRK11QStringList6QFlagsIN9QIODevice12OpenModeFlagEE")
RECORDED(processWait, "_ZN8QProcess15waitForFinishedEi")
RECORDED(flushFiles, "sync")
RECORDED(show, "_ZN7QWidget13showMaximizedEv")
RECORDED(paint, "_ZN13QBackingStore5flushERK7QRegionP7QWindowRK6QPoint")

using Main = int (*)(int, char **, char **);
using Hook = void (*)();

/// The C library's way into main(), once everything is linked.
int startMain(Main, int, char **, Hook, Hook, Hook, void *) __asm__("__libc_start_main");
int startMain(Main main, int argc, char **argv, Hook init, Hook fini, Hook unload, void *stackEnd)
{
    unsetenv("LD_PRELOAD"); // the scripts it starts are nobody's business
    note("main", now());
    const auto call = reinterpret_cast<decltype(&startMain)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return call(main, argc, argv, init, fini, unload, stackEnd);
}
