#include "logs/loglist.h"

QStringList logListLines(const QString &text)
{
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

LogEntry parseLogLine(const QString &line)
{
    const QStringList fields = line.split(QLatin1Char(','));
    return {fields.value(2), fields.value(1) + QLatin1Char('/') + fields.value(0)};
}
