#include "tests/app/updaterun.h"

#include <QRegularExpression>

UpdateRun updateRun(int mode, Model::Course course, int recoveryCode)
{
    static const QRegularExpression message(QStringLiteral("^[0-9]+% (.*)$"));
    static const QRegularExpression silent(QStringLiteral("^(sync|sleep .*|/.*)$"));
    const QByteArrayList lines = Model::update(mode, course, recoveryCode);
    UpdateRun run;
    for (const QByteArray &path : Model::scripts(lines))
        run.scripts += QString::fromLatin1(path);
    for (const QByteArray &line : lines) {
        const QString text = QString::fromLatin1(line);
        if (message.match(text).hasMatch())
            run.windowPrints += message.match(text).captured(1).toLatin1() + '\n';
        else if (line == "finished")
            run.windowPrints += "FINISHED\n";
        else if (line.startsWith("title "))
            run.title = line.mid(6).replace("\\n", "\n");
        else if (!silent.match(text).hasMatch())
            run.workerPrints += line + '\n';
    }
    return run;
}

ConsoleLines takenApart(const QByteArray &console, const UpdateRun &run)
{
    const QByteArrayList workerLines = run.workerPrints.split('\n');
    ConsoleLines lines;
    for (const QByteArray &line : console.split('\n')) {
        const bool worker = !line.isEmpty() && workerLines.contains(line);
        (worker ? lines.worker : lines.window) += line + '\n';
    }
    lines.window.chop(1); // the last piece is what follows the last line break
    return lines;
}
