#include "common/scriptrunner.h"

#include "common/common.h"

#include <QFile>
#include <QProcess>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Whether the null device is there, is a device and may be written to. QProcess itself would start
/// nothing where it cannot be opened and report exit code 0, a success; where it is missing, it
/// would make an ordinary file of that name and fill it.
static bool nullDeviceOpens()
{
    // a pipe of that name must not keep us waiting
    const int device
        = open(QFile::encodeName(QProcess::nullDevice()), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (device < 0)
        return false;
    struct stat status
    {
    };
    const bool isDevice = fstat(device, &status) == 0 && S_ISCHR(status.st_mode);
    close(device);
    return isDevice;
}

QProcess *newScriptProcess(QObject *owner)
{
    auto *process = new QProcess(owner);
    // What comes on the process object's own channels is thrown away at once.
    QObject::connect(process, &QProcess::readyReadStandardOutput, process,
                     &QProcess::readAllStandardOutput);
    QObject::connect(process, &QProcess::readyReadStandardError, process,
                     &QProcess::readAllStandardError);
    return process;
}

int runScript(QProcess *process, const QString &script, const QStringList &arguments)
{
    const QString sink = nullDeviceOpens() ? QProcess::nullDevice() : QString();
    process->setStandardOutputFile(sink);
    process->setStandardErrorFile(sink);
    process->start(script, arguments, QIODevice::ReadWrite);
    process->waitForFinished(-1);
    return process->exitCode();
}

void printExitCode(const QByteArray &label, int exitCode)
{
    printLine(label + QByteArray::number(exitCode));
}
