#pragma once

#include <QByteArray>

/// Takes what is printed on standard output, by the C and C++ streams and by child processes alike,
/// from construction until destruction.
class Console
{
public:
    Console();
    ~Console(); ///< Gives standard output back.
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    /// Everything printed since construction or the last take().
    QByteArray take();

private:
    int savedOutput;
    int file;
    long taken = 0;
};
