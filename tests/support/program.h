#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

/// The program itself as a process. It runs on a screen that nobody sees unless @p platform names
/// another one.
class Program
{
public:
    explicit Program(const QStringList &options,
                     const QString &platform = QStringLiteral("offscreen"));
    ~Program(); ///< Kills it, if it still runs.
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /// Waits until the console holds @p text; false when it does not come.
    bool prints(const QByteArray &text);
    /// Waits for the end; the exit code, or -1 when the program does not end by itself.
    int exitCode();
    bool runs() const { return process.state() == QProcess::Running; }
    qint64 id() const { return process.processId(); }

    QByteArray console() const { return standardOutput; }
    QByteArray errors() const { return standardError; }

    static QString path();

private:
    void read();

    QProcess process;
    QByteArray standardOutput;
    QByteArray standardError;
};
