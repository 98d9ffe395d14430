#pragma once

#include <QByteArray>

#include <unistd.h>

/// Takes what is printed on standard output, by the C and C++ streams and by child processes alike,
/// from construction until destruction.
class Console
{
public:
    /// Takes standard error instead when @p stream says so. With @p path it goes to the end of that
    /// file, which other processes may write too.
    explicit Console(int stream = STDOUT_FILENO, const char *path = nullptr);
    ~Console(); ///< Gives the stream back.
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    /// Everything printed since construction or the last take().
    QByteArray take();

private:
    int stream;
    int savedOutput;
    int file;
    long taken = 0;
};
