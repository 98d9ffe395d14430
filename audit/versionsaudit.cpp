#include "audit/audit.h"
#include "audit/textfile.h"
#include "versions/manifestreader.h"

#include <QBuffer>
#include <QMap>
#include <QStringList>

namespace {

/// A key that a manifest has to have, and the heading under which its value is shown.
struct ShownKey
{
    QByteArray key;
    QString heading;
};

/// Whatever a manifest says under these is lost: the reader puts its own there.
bool isReadersKey(const QByteArray &key) { return key == emptyKey || key == partKey; }

QList<ShownKey> readShownKeys()
{
    QList<ShownKey> keys;
    for (const QByteArray &columnKey : manifestColumnKeys) {
        const QByteArrayList parts = columnKey.split(':');
        QString heading = versionColumnHeaders.at(parts.at(1).toInt());
        heading.replace(QLatin1Char('\n'), QLatin1Char(' '));
        if (!isReadersKey(parts.at(0)))
            keys.append({parts.at(0), heading});
    }
    return keys;
}

/// The version table's keys, but for those of the reader.
const QList<ShownKey> &shownKeys()
{
    static const QList<ShownKey> keys = readShownKeys();
    return keys;
}

/// What a partition is called on the screens and in the files.
QString nameOf(const QByteArray &partition)
{
    return QStringLiteral("version ") + QString::number(partitionIds.indexOf(partition) + 1);
}

QString emptyCell(const QByteArray &partition, const QString &heading)
{
    return nameOf(partition) + QStringLiteral(": nothing under \"") + heading + QLatin1Char('"');
}

bool isShown(const QByteArray &key)
{
    for (const ShownKey &shown : shownKeys()) {
        if (shown.key == key)
            return true;
    }
    return false;
}

class ManifestAudit
{
public:
    ManifestAudit(Findings &found, const QByteArray &identifier)
        : findings(found)
        , partition(identifier)
        , path(manifestFile(identifier))
    {
    }

    void judge(const QString &text);

private:
    void judgeLine(int number, const QString &line);
    void judgeKey(int number, const QByteArray &key);
    void judgeShown(const ShownKey &shown);

    struct Value
    {
        int line = 0;
        QString text;
    };

    Findings &findings;
    const QByteArray partition;
    const QString path;
    QMap<QByteArray, Value> values; ///< As the reader stores them.
    bool windowsLines = false;
};

void ManifestAudit::judge(const QString &text)
{
    int number = 0;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        ++number;
        windowsLines = windowsLines || line.endsWith(QLatin1Char('\r'));
        judgeLine(number, line.endsWith(QLatin1Char('\r')) ? line.chopped(1) : line);
    }
    if (windowsLines)
        findings.add(Kind::ManifestWindowsLines, path, QStringLiteral("has Windows line ends"),
                     nameOf(partition)
                         + QStringLiteral(": no dates, and an odd sign after its other values"));
    for (const ShownKey &shown : shownKeys())
        judgeShown(shown);
}

void ManifestAudit::judgeLine(int number, const QString &line)
{
    VersionInfo stored;
    storeManifest({}, line, stored);
    if (!stored.empty()) {
        const auto &[key, value] = *stored.begin();
        judgeKey(number, key);
        values.insert(key, {number, QString::fromUtf8(value)});
        return;
    }
    const QString text = line.trimmed();
    const bool isComment = text.startsWith(QLatin1Char('#')) || text.startsWith(QLatin1Char(';'));
    if (!text.isEmpty() && !isComment)
        findings.addLine(Kind::ManifestLineIgnored, path, number,
                         text.contains(QLatin1Char('='))
                             ? QStringLiteral("does not begin with a letter, digit or underscore")
                             : QStringLiteral("is no \"key=value\""),
                         nameOf(partition) + QStringLiteral(": nothing of this line"));
}

void ManifestAudit::judgeKey(int number, const QByteArray &key)
{
    const QString name = QStringLiteral("the key \"") + QString::fromUtf8(key) + QLatin1Char('"');
    if (isReadersKey(key))
        findings.addLine(Kind::ManifestKeyShadowed, path, number,
                         name + QStringLiteral(" is the program's own"),
                         nameOf(partition) + QStringLiteral(": what the program puts there"));
    else if (const auto earlier = values.constFind(key); earlier != values.constEnd())
        findings.addLine(Kind::ManifestKeyRepeated, path, number,
                         name + QStringLiteral(" is already in line ")
                             + QString::number(earlier->line),
                         nameOf(partition) + QStringLiteral(": the last of the values"));
    else if (!isShown(key))
        findings.addLine(Kind::ManifestKeyUnknown, path, number,
                         name + QStringLiteral(" is shown nowhere"),
                         nameOf(partition) + QStringLiteral(": nothing of this line"));
}

void ManifestAudit::judgeShown(const ShownKey &shown)
{
    const QString key = QString::fromUtf8(shown.key);
    const auto value = values.constFind(shown.key);
    if (value == values.constEnd())
        return findings.add(Kind::ManifestKeyMissing, path,
                            QStringLiteral("has no \"") + key + QLatin1Char('"'),
                            emptyCell(partition, shown.heading));
    if (value->text.isEmpty())
        return findings.addLine(Kind::ManifestValueMissing, path, value->line,
                                QLatin1Char('"') + key + QStringLiteral("\" has no value"),
                                emptyCell(partition, shown.heading));
    if (key.contains(QLatin1String("date")) && formatManifestDate(value->text).isEmpty())
        findings.addLine(Kind::ManifestDate, path, value->line,
                         QLatin1Char('"') + value->text
                             + QStringLiteral("\" is neither yyyyMMdd nor yyyyMMdd HH:mm:ss"),
                         emptyCell(partition, shown.heading));
}

void auditManifest(Tree &tree, Findings &findings, const QByteArray &partition)
{
    const QString path = manifestFile(partition);
    const Entry entry = tree.look(path);
    const QString notRead = nameOf(partition) + QStringLiteral(": \"N/A\" and a grey row");
    if (entry.kind == Entry::Missing)
        return findings.add(Kind::ManifestMissing, path, entry.what, notRead);
    if (!isReadable(entry))
        return findings.add(Kind::ManifestNotAFile, path, entry.what, notRead);
    if (entry.size > textLimit)
        return findings.add(Kind::ManifestTooLarge, path,
                            QStringLiteral("holds ") + QString::number(entry.size)
                                + QStringLiteral(" bytes"),
                            QStringLiteral("the versions do not show before all is read"));
    const auto content = tree.read(path, textLimit);
    if (!content)
        return;
    if (!isUtf8(*content))
        findings.add(Kind::ManifestEncoding, path, QStringLiteral("is not UTF-8"),
                     nameOf(partition) + QStringLiteral(": other letters than meant"));
    ManifestAudit(findings, partition).judge(decodeText(*content, false));
}

} // namespace

void auditManifests(Tree &tree, Findings &findings)
{
    for (const QByteArray &partition : partitionIds)
        auditManifest(tree, findings, partition);
}

void auditActivePartition(Tree &tree, Findings &findings)
{
    const QString path = QString::fromLatin1(activePartitionPath);
    const Entry entry = tree.look(path);
    const QString error
        = QStringLiteral("the version screens open with \"Error\": \"Could not open "
                         "file\", and no version is marked as active");
    if (entry.kind == Entry::Missing)
        return findings.add(Kind::ActiveMissing, path, entry.what, error);
    if (!isReadable(entry))
        return findings.add(Kind::ActiveNotAFile, path, entry.what, error);
    const auto content = tree.read(path, 4096);
    if (!content)
        return;

    QBuffer buffer;
    buffer.setData(*content);
    buffer.open(QIODevice::ReadOnly | QIODevice::Text);
    const QByteArray line = readActivePartition(buffer);
    const QString unmarked
        = QStringLiteral("no version is marked as active, and the active one can be changed to");
    if (partitionIds.contains(line)) {
        if (!isReadable(tree.look(manifestFile(line))))
            findings.add(Kind::ActiveNotInstalled, path,
                         QStringLiteral("names partition ") + QString::fromLatin1(line)
                             + QStringLiteral(", which has no manifest"),
                         QStringLiteral("\"N/A\" is marked as the active version"));
    } else if (partitionIds.contains(line.trimmed())) {
        findings.add(Kind::ActiveBlanks, path, QStringLiteral("has blanks around its number"),
                     unmarked);
    } else {
        findings.add(Kind::ActiveUnknown, path,
                     QStringLiteral("names no partition, but \"") + QString::fromUtf8(line)
                         + QLatin1Char('"'),
                     unmarked);
    }
}
