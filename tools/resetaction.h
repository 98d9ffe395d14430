#pragma once

class AreYouSureWarning;
class QByteArray;
class QObject;
class QProcess;
class QWidget;

// What the four reset screens have in common: each is one row of values, asks once and runs one
// script.

struct ResetAction
{
    const char *title; ///< Of the confirmation.
    const char *warning; ///< Its body: HTML that ends with a line break.
    const char *script; ///< Full path.
    const QByteArray *fileToRemove; ///< The script's only argument; null for a script without any.
    const char *codeLabel; ///< Printed before the exit code, closing blank included.
};

/// Asks whether to go on with @p reset, as confirm() does. Returns whether the user accepted.
bool confirmReset(const ResetAction &reset, AreYouSureWarning *&dialog, QWidget *screen);

/// Runs the script of @p reset, prints its exit code and flushes the file systems. Blocks until the
/// script has ended; a failure is printed and changes nothing. Returns the process object, which
/// belongs to @p owner and, with none, lives until the program ends.
QProcess *runReset(const ResetAction &reset, QObject *owner);
