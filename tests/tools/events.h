#pragma once

#include "tests/support/console.h"

/// Everything that a screen does outside itself, a line each in the order in which it happens:
///
///     a line as it is printed     one that is not flushed turns up too late
///     /sbin/reboot                a script of Instrument::writeScript() runs, with its arguments
///     [sync]                      the file systems are flushed; noted, not carried out
class Events
{
public:
    Events();
    ~Events();
    Events(const Events &) = delete;
    Events &operator=(const Events &) = delete;

    /// Adds a line of the test's own.
    static void note(const QByteArray &line);

    /// What happened since construction or the last take().
    QByteArray take() { return console.take(); }

private:
    Console console;
};
