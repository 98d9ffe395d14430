#pragma once

#include "tests/support/console.h"

#include <QByteArrayList>

class UpdateThread;

/// What an update does, a line each in the order in which it happens, whichever thread or process
/// does it:
///
///     5% Checking Filesystem...          progressChanged(5, "Checking Filesystem...")
///     title Verifying Files:             titleChanged("Verifying Files:"), a line break as \n
///     finished                           finished()
///     /etc/update/0-checkpartitions.sh   a script of Instrument::writeScript() runs
///     sync                               the file systems are flushed
///     sleep 1.0 s                        a thread other than the first pauses
///
/// and every line printed on standard output as it is. Lines that were printed but not flushed turn
/// up too late. Flushing and pausing are only noted, not carried out.
class Transcript
{
public:
    explicit Transcript(UpdateThread *thread);
    ~Transcript();
    Transcript(const Transcript &) = delete;
    Transcript &operator=(const Transcript &) = delete;

    /// Adds a line of the test's own.
    static void note(const QByteArray &line);
    static QByteArrayList lines();

private:
    Console console;
};
