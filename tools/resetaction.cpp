#include "tools/resetaction.h"

#include "common/areyousurewarning.h"
#include "common/common.h"
#include "common/scriptrunner.h"

#include <QProcess>

#include <unistd.h>

bool confirmReset(const ResetAction &reset, AreYouSureWarning *&dialog, QWidget *screen)
{
    return confirm(dialog, screen,
                   {QString::fromUtf8(reset.title), QString::fromUtf8(reset.warning)});
}

QProcess *runReset(const ResetAction &reset, QObject *owner)
{
    QProcess *process = newScriptProcess(owner);
    QStringList arguments;
    if (reset.fileToRemove)
        arguments << QString::fromUtf8(*reset.fileToRemove);
    const int exitCode = runScript(process, QString::fromUtf8(reset.script), arguments);
    printLine("Code: '0' = success,  'other' = fail");
    printExitCode(reset.codeLabel, exitCode);
    sync();
    return process;
}
