#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

// docs/scripts.md as its readers see it: what it says is held against what the program does.

namespace Manual {

/// The text below a heading, up to the next one.
QString section(const QString &heading);

/// The cells of the section's table, the head first. A cell that says nothing repeats the one above
/// it where @p inherits is its column.
QVector<QStringList> table(const QString &heading, int inherits = -1);

/// What stands in backquotes, in its order.
QStringList quoted(const QString &text);

} // namespace Manual
