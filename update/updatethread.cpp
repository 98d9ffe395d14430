#include "update/updatethread.h"

#include "common/common.h"
#include "common/scriptrunner.h"
#include "update/stepcatalogue.h"

#include <QFile>
#include <QProcess>

#include <csignal>

#include <unistd.h>

/// Puts the last line of @p path into @p line, which stays as it is when there is none to read.
static void readLastLine(const char *path, std::string &line)
{
    QFile file(QString::fromLatin1(path));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    while (!file.atEnd())
        line = file.readLine().toStdString();
}

void UpdateThread::run()
{
    // From here on the program must outlive whatever reads its console. Not earlier: a blank board
    // is told by a probe that prints there, and that would fail on a console without a reader.
    std::signal(SIGPIPE, SIG_IGN);

    process = newScriptProcess(parent());
    emit progressChanged(0, QStringLiteral("Initializing Update..."));
    sleep(1);

    if (checkFilesystem() != 0) {
        finishUpdate(true);
        printLine("AutoUpdate file is missing - cannot continue");
        exit(0);
        return;
    }

    const UpdateSequence &sequence = updateSequence(mode);
    for (const SequenceRow &row : sequence.rows) {
        if (row.print)
            printLine(row.print);
        if (row.title)
            emit titleChanged(QString::fromUtf8(row.title));
        runStep(row.step);
        if (row.verifyStage != 0 && checkVerifyFailed(row.verifyStage) != 0) {
            if (sequence.cleansUp) {
                failedCleanup();
                finishUpdate(true);
            }
            return;
        }
    }
    finishUpdate(false);
}

int UpdateThread::runStep(Step step)
{
    int exitCode = 0;
    for (const StepRow &row : stepCatalogue) {
        if (row.step != step)
            continue;
        if (row.print)
            printLine(row.print);
        emit progressChanged(row.progress, QString::fromUtf8(row.message));
        exitCode = runScript(process, QString::fromUtf8(row.script));
    }
    return exitCode;
}

int UpdateThread::checkFilesystem()
{
    const int exitCode = runStep(Step::CheckFilesystem);
    printExitCode("code = ", exitCode);
    return exitCode;
}

void UpdateThread::unzipFirmwareImage() { runStep(Step::UnzipFirmwareImage); }
void UpdateThread::checkVersion() { runStep(Step::CheckVersion); }
void UpdateThread::validateFiles() { runStep(Step::ValidateFiles); }
void UpdateThread::backupUserFiles() { runStep(Step::BackupUserFiles); }
void UpdateThread::updateImages() { runStep(Step::UpdateImages); }
void UpdateThread::updateUbootVariables() { runStep(Step::UpdateUbootVariables); }
void UpdateThread::runPostUpdate() { runStep(Step::RunPostUpdate); }
void UpdateThread::restoreUserFiles() { runStep(Step::RestoreUserFiles); }
void UpdateThread::setNextPartition() { runStep(Step::SetNextPartition); }
void UpdateThread::failedCleanup() { runStep(Step::FailedCleanup); }

void UpdateThread::finishUpdate(bool failed)
{
    const UpdateSequence &sequence = updateSequence(mode);
    const Ending &ending = failed ? sequence.failed : sequence.succeeded;
    emit progressChanged(100, QString::fromUtf8(ending.message));
    sync();
    if (ending.print)
        printLine(ending.print);
    if (ending.flushAgain)
        sync();
    runScript(process, QString::fromUtf8(ending.script));
    exit(0); // without an event loop a mere formality
}

int UpdateThread::checkVerifyFailed(int stage)
{
    if (!QFile::exists(QString::fromLatin1(verifyFailedMarker)))
        return 0;
    for (const MarkerCheck &check : verifyChecks) {
        if (check.stage == stage)
            announce(check);
    }
    readLastLine(verifyFailedMarker, verifyFailText);
    return 1;
}

int UpdateThread::checkOverrideFailed()
{
    if (!QFile::exists(QString::fromLatin1(overrideFailedMarker)))
        return 0;
    announce(overrideCheck);
    readLastLine(overrideFailedMarker, overrideFailText);
    return 1;
}

void UpdateThread::announce(const MarkerCheck &check)
{
    emit titleChanged(QString::fromUtf8(check.title));
    status = check.status;
    printLine(check.print);
}

int UpdateThread::installOverrides()
{
    printLine("Implementing overrides...");
    emit titleChanged(QStringLiteral("Overrides:"));
    overrideProcess = newScriptProcess(parent());
    overrideExitCode = QProcess::execute(QString::fromLatin1(installOverridesScript), {});
    if (overrideExitCode == 0)
        emit titleChanged(QStringLiteral("Overrides:\nRebooting"));
    if (checkVerifyFailed(1) != 0)
        return 98;
    setStatus(2);
    printLine("Status set...");
    return overrideExitCode;
}
