// Stands before the C library's functions that wait and tell the time, and before sync().

#include "clock.h"

#include "journal.h"
#include "window.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace {

// Milliseconds; the program's own timers have one second, the toolkit tidies its caches much later.
constexpr int LongestTimer = 2000;

bool trueSpeed = false;
std::atomic<int64_t> timers = 1000000000000; // nanoseconds; moves only when a timer is waited for
std::atomic<long> timeOfDay = 0; // seconds that it has jumped
std::atomic<int> workers = 0;
int wake = -1; // written when a worker has ended

template <typename Function> Function next(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

struct Work
{
    void *(*routine)(void *);
    void *argument;
};

void *work(void *given)
{
    const Work todo = *static_cast<Work *>(given);
    delete static_cast<Work *>(given);
    void *result = todo.routine(todo.argument);
    --workers;
    eventfd_write(wake, 1);
    return result;
}

// Waits as the event loop asked, or until the player has an order or a worker has ended.
int waitForMore(pollfd *descriptors, nfds_t count, int timeout)
{
    static const auto realPoll = next(&poll, "poll");
    pollfd all[64];
    if (count > 62)
        std::abort();
    std::copy(descriptors, descriptors + count, all);
    all[count] = {Window::instance()->descriptor(), POLLIN, 0};
    all[count + 1] = {wake, POLLIN, 0};
    const int ready = realPoll(all, count + 2, timeout);
    eventfd_t ended;
    if (all[count + 1].revents)
        eventfd_read(wake, &ended);
    return ready;
}

__attribute__((constructor)) void begin()
{
    Journal::begin();
    trueSpeed = getenv("CAMPAIGN_TRUE_SPEED");
    wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    unsetenv("LD_PRELOAD"); // the program's children are not what is watched
    unsetenv("CAMPAIGN_TRUE_SPEED");
}

} // namespace

void Clock::jump(long seconds) { timeOfDay += seconds; }

extern "C" {

// The event loop waits here, and only the event loop does: the toolkit waits for a process
// elsewhere.
int poll(pollfd *descriptors, nfds_t count, int timeout)
{
    static const auto realPoll = next(&poll, "poll");
    if (!Window::instance() || !Journal::inGuiThread() || timeout == 0)
        return realPoll(descriptors, count, timeout);
    while (true) {
        const bool alone = workers == 0;
        if (const int ready = realPoll(descriptors, count, 0))
            return ready;
        if (Window::instance()->takeOrder())
            return 0;
        const bool waitsForOthers = timeout < 0 || timeout > LongestTimer;
        if (Window::instance()->isHeld()) {
            waitForMore(descriptors, count, -1);
        } else if (waitsForOthers && alone) {
            Window::instance()->rest();
        } else if (waitsForOthers) {
            waitForMore(descriptors, count, -1);
        } else if (trueSpeed) {
            if (waitForMore(descriptors, count, timeout) == 0)
                return 0;
        } else if (Window::instance()->mayPass()) {
            timers += static_cast<int64_t>(timeout) * 1000000;
            return 0;
        }
    }
}

int clock_gettime(clockid_t clock, timespec *now)
{
    static const auto real = next(&clock_gettime, "clock_gettime");
    const int result = real(clock, now);
    if (clock == CLOCK_MONOTONIC && !trueSpeed)
        *now = {timers / 1000000000, timers % 1000000000};
    else if (clock == CLOCK_REALTIME)
        now->tv_sec += timeOfDay;
    return result;
}

int gettimeofday(timeval *__restrict now, void *__restrict zone)
{
    static const auto real = next(&gettimeofday, "gettimeofday");
    const int result = real(now, zone);
    now->tv_sec += timeOfDay;
    return result;
}

int nanosleep(const timespec *duration, timespec *remaining)
{
    static const auto real = next(&nanosleep, "nanosleep");
    if (!Window::instance() || Journal::inGuiThread())
        return real(duration, remaining);
    Conversation player("pause " + std::to_string(duration->tv_sec));
    player.hear();
    return trueSpeed ? real(duration, remaining) : 0;
}

void sync() { Journal::note("sync"); } // the machine that tests need not be flushed for it

int pthread_create(pthread_t *__restrict thread, const pthread_attr_t *__restrict attributes,
                   void *(*routine)(void *), void *__restrict argument)
{
    static const auto real = next(&pthread_create, "pthread_create");
    ++workers;
    const int result = real(thread, attributes, work, new Work {routine, argument});
    if (result != 0)
        --workers;
    return result;
}

} // extern "C"
