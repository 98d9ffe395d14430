#include "common/scriptrunner.h"

#include "common/common.h"

#include <QProcess>

QProcess *newScriptProcess(QObject *owner)
{
    auto *process = new QProcess(owner);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    return process;
}

int runScript(QProcess *process, const QString &script, const QStringList &arguments)
{
    process->start(script, arguments, QIODevice::ReadWrite);
    process->waitForFinished(-1);
    return process->exitCode();
}

void printExitCode(const QByteArray &label, int exitCode)
{
    printLine(label + QByteArray::number(exitCode));
}
