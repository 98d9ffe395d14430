#include "tests/support/program.h"

#include <QDeadlineTimer>

static constexpr int patience = 60000;

QString Program::path() { return QStringLiteral("/opt/build/teskupdater"); }

Program::Program(const QStringList &options, const QString &platform)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), platform);
    process.setProcessEnvironment(environment);
    process.start(path(), options);
    process.waitForStarted();
}

Program::~Program()
{
    process.kill();
    process.waitForFinished();
}

void Program::read()
{
    standardOutput += process.readAllStandardOutput();
    standardError += process.readAllStandardError();
}

bool Program::prints(const QByteArray &text)
{
    const QDeadlineTimer deadline(patience);
    for (;;) {
        read();
        if (standardOutput.contains(text))
            return true;
        if (deadline.hasExpired() || !runs())
            return false;
        process.waitForReadyRead(100);
    }
}

int Program::exitCode()
{
    const bool ended = process.waitForFinished(patience);
    read();
    return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}
