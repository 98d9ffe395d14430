#pragma once

#include <QStringList>

// The log viewer's list of log files: text, one log a line, "file name,directory,display name".

/// One log as the list names it.
struct LogEntry
{
    QString displayName;
    QString path; ///< Directory, "/", file name.
};

/// The non-empty lines of the list's @p text.
QStringList logListLines(const QString &text);

/// Cuts a line at its commas. Nothing is trimmed, and a field that is not there is empty.
LogEntry parseLogLine(const QString &line);
