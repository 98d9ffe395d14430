#include "logs/loglist.h"
#include "tests/fuzz/finding.h"

// Any text as a list of logs: every line is in it once, and cut at its commas by another hand here.

static void judge(const QString &line)
{
    QStringList fields = {QString()};
    for (const QChar sign : line) {
        if (sign == QLatin1Char(','))
            fields.append(QString());
        else
            fields.last() += sign;
    }
    while (fields.size() < 3)
        fields.append(QString());

    const LogEntry entry = parseLogLine(line);
    expect(entry.displayName == fields[2], "the third field is the name");
    expect(entry.path == fields[1] + QLatin1Char('/') + fields[0], "the path is the first two");
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = QString::fromUtf8(inputBytes(data, size));
    QString rest = text;
    const QStringList lines = logListLines(text);
    for (const QString &line : lines) {
        while (rest.startsWith(QLatin1Char('\n')))
            rest.remove(0, 1);
        expect(!line.isEmpty() && rest.startsWith(line), "the lines are those of the text");
        rest.remove(0, line.size());
        expect(rest.isEmpty() || rest.at(0) == QLatin1Char('\n'), "a line is whole");
        judge(line);
    }
    expect(rest.count(QLatin1Char('\n')) == rest.size(), "no line is left out");
    return 0;
}
