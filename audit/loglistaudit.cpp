#include "audit/audit.h"
#include "audit/textfile.h"
#include "common/common.h"
#include "logs/loglist.h"

#include <QStringList>

#include <algorithm>

namespace {

constexpr int fieldCount = 3;
constexpr int nameField = 2;

const auto noList = QStringLiteral(
    "the log viewer opens with \"Error\": \"Could not open file\" and shows no logs");

/// One line of the list, as it is judged.
struct Line
{
    int number; ///< Counted from 1.
    QStringList fields;
    LogEntry entry;

    QString name() const
    {
        return entry.displayName.isEmpty() ? QStringLiteral("an entry without a name")
                                           : quoted(entry.displayName);
    }
};

class ListAudit
{
public:
    ListAudit(Tree &lookedAt, Findings &found)
        : tree(lookedAt)
        , findings(found)
    {
    }

    void judge(const Line &line)
    {
        judgeFields(line);
        if (!judgeDirectory(line))
            judgeLog(line);
    }

private:
    void add(Kind kind, const Line &line, const QString &problem, const QString &seen)
    {
        findings.addLine(kind, list, line.number, problem, seen);
    }

    void judgeFields(const Line &line);
    bool judgeDirectory(const Line &line); ///< Whether there is nothing more to say of the log.
    void judgeLog(const Line &line);

    Tree &tree;
    Findings &findings;
    const QString list = QString::fromLatin1(logListFile);
};

void ListAudit::judgeFields(const Line &line)
{
    if (line.fields.size() < fieldCount)
        add(Kind::LogFieldMissing, line,
            QStringLiteral("has ") + QString::number(line.fields.size())
                + QStringLiteral(" of the fields file, directory, name"),
            QStringLiteral("a row without a name"));
    else if (line.entry.displayName.isEmpty())
        add(Kind::LogFieldMissing, line, QStringLiteral("has no name for the screen"),
            QStringLiteral("a row without a name"));
    else if (line.fields.size() > fieldCount)
        add(Kind::LogFieldExtra, line, QStringLiteral("has a comma too many"),
            QStringLiteral("the name ends at the comma: ") + line.name());
    for (int field = 0; field < std::min(fieldCount, line.fields.size()); ++field) {
        const QString text = line.fields.at(field).trimmed();
        if (text == line.fields.at(field))
            continue;
        add(Kind::LogBlanks, line, QStringLiteral("has blanks around ") + quoted(text),
            field == nameField
                ? QStringLiteral("the name with its blanks")
                : line.name() + QStringLiteral(" is looked for with its blanks, and grey"));
    }
}

bool ListAudit::judgeDirectory(const Line &line)
{
    if (!line.entry.path.startsWith(QLatin1Char('/'))) {
        add(Kind::LogRelative, line,
            QStringLiteral("names the directory \"") + line.fields.value(1)
                + QStringLiteral("\" without a slash in front"),
            line.name() + QStringLiteral(" depends on where the program is started"));
        return true;
    }
    int depth = 0;
    const QStringList parts = line.entry.path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (part == QLatin1String(".."))
            --depth;
        else if (part != QLatin1String("."))
            ++depth;
        if (depth < 0) {
            add(Kind::LogOutside, line,
                line.entry.path + QStringLiteral(" climbs out of the file system"),
                line.name() + QStringLiteral(" shows another file than meant, or is grey"));
            return true;
        }
    }
    return false;
}

void ListAudit::judgeLog(const Line &line)
{
    const Entry log = tree.look(line.entry.path);
    if (log.kind == Entry::Missing)
        add(Kind::LogMissing, line, line.entry.path + QLatin1Char(' ') + log.what,
            line.name() + QStringLiteral(" is grey and cannot be opened"));
    else if (!isReadable(log))
        add(Kind::LogNotAFile, line, line.entry.path + QLatin1Char(' ') + log.what,
            line.name()
                + QStringLiteral(" can be chosen, and ends in \"Error\": \"Could not open "
                                 "file\""));
}

} // namespace

void auditLogList(Tree &tree, Findings &findings)
{
    const QString list = QString::fromLatin1(logListFile);
    const Entry entry = tree.look(list);
    if (entry.kind == Entry::Missing)
        return findings.add(Kind::LogListMissing, list, entry.what, noList);
    if (!isReadable(entry))
        return findings.add(Kind::LogListNotAFile, list, entry.what, noList);
    if (entry.size > textLimit)
        return findings.add(Kind::LogListTooLarge, list,
                            QStringLiteral("holds ") + QString::number(entry.size)
                                + QStringLiteral(" bytes"),
                            QStringLiteral("the log viewer does not open before all is read"));
    const auto content = tree.read(list, textLimit);
    if (!content)
        return;
    if (!isUtf8(*content))
        findings.add(
            Kind::LogListEncoding, list, QStringLiteral("is not UTF-8"),
            QStringLiteral("other letters than meant, and logs with such a path are grey"));

    ListAudit audit(tree, findings);
    int number = 0;
    bool isEmpty = true;
    const QStringList texts = decodeText(*content, true).split(QLatin1Char('\n'));
    for (const QString &text : texts) {
        ++number;
        const QStringList lines = logListLines(text); // one, or none if it is empty
        for (const QString &line : lines) {
            isEmpty = false;
            audit.judge({number, line.split(QLatin1Char(',')), parseLogLine(line)});
        }
    }
    if (isEmpty)
        findings.add(Kind::LogListEmpty, list, QStringLiteral("names no log"),
                     QStringLiteral("the log viewer shows no logs"));
}
