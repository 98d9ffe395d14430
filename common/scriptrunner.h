#pragma once

#include <QString>
#include <QStringList>

class QByteArray;
class QObject;
class QProcess;

// The one place that runs the instrument's scripts. Nothing here has a time limit: an image may
// take minutes to write, and stopping a script half-way would cost more than waiting.

/// Makes the process object that a screen keeps for its scripts. What the scripts print goes to the
/// null device: nobody reads it, and it must neither fill the program's memory nor block the
/// script. Where that device cannot be opened it is read and thrown away as it comes.
/// @p owner becomes the Qt parent; with none the object lives until the program ends.
QProcess *newScriptProcess(QObject *owner);

/// Starts @p script, which must be executable, in read-write mode and waits until it has ended.
/// Blocks the calling thread, which must be the process object's own. Returns the exit code as
/// QProcess reports it: 255 for a script that could not be started, the signal's number for one
/// that was killed.
int runScript(QProcess *process, const QString &script, const QStringList &arguments = {});

/// Prints the script's result, @p label directly followed by the decimal @p exitCode.
void printExitCode(const QByteArray &label, int exitCode);
