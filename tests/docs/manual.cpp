#include "tests/docs/manual.h"

#include "tests/support/instrument.h"

#include <QRegularExpression>

namespace Manual {

QString section(const QString &heading)
{
    const QString text
        = QString::fromUtf8(Instrument::read(QStringLiteral("/opt/source/docs/scripts.md")));
    return text.section(QStringLiteral("\n## ") + heading + QLatin1Char('\n'), 1)
        .section(QStringLiteral("\n## "), 0, 0);
}

QVector<QStringList> table(const QString &heading, int inherits)
{
    QVector<QStringList> rows;
    for (const QString &line : section(heading).split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1Char('|')) || line.startsWith(QLatin1String("|---")))
            continue;
        QStringList cells = line.split(QLatin1Char('|')).mid(1);
        cells.removeLast();
        for (QString &cell : cells)
            cell = cell.trimmed();
        if (inherits >= 0 && !rows.isEmpty() && cells.at(inherits).isEmpty())
            cells[inherits] = rows.last().at(inherits);
        rows += cells;
    }
    return rows;
}

QStringList quoted(const QString &text)
{
    static const QRegularExpression inBackquotes(QStringLiteral("`([^`]+)`"));
    QStringList found;
    for (auto match = inBackquotes.globalMatch(text); match.hasNext();)
        found += match.next().captured(1);
    return found;
}

} // namespace Manual
