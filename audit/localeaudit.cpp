#include "audit/audit.h"
#include "audit/textfile.h"

#include <QStringList>

namespace {

constexpr char localeDirectory[] = "/usr/lib/locale";
constexpr char localeArchive[] = "/usr/lib/locale/locale-archive";
/// An archive of all locales there are is some 220 MB; its names stand in its first part.
constexpr qint64 archiveLength = 4LL * 1024 * 1024;

/// Where an instrument is told its locale before anybody logs in.
constexpr const char *settings[] = {"/etc/default/locale", "/etc/locale.conf", "/etc/environment"};
/// In the order in which they count.
constexpr const char *variables[] = {"LC_ALL", "LC_CTYPE", "LANG"};

const auto seen = QStringLiteral(
    "where Qt goes by the locale, other letters than meant in the names of logs and versions, and "
    "logs with such a path are grey");

bool namesUtf8(const QString &locale)
{
    const QString name = locale.toLower().remove(QLatin1Char('-'));
    return name.contains(QLatin1String(".utf8"));
}

bool hasUtf8Locale(Tree &tree)
{
    bool found = false;
    tree.list(QString::fromLatin1(localeDirectory), [&](const QByteArray &name, Entry::Kind) {
        found = namesUtf8(QString::fromUtf8(name));
        return !found;
    });
    if (found)
        return true;
    const auto archive = tree.read(QString::fromLatin1(localeArchive), archiveLength);
    return archive && archive->contains(".utf8");
}

/// The value of a shell assignment "NAME=value", perhaps in quotes; empty if the line is none.
QString assigned(QString line, const char *variable)
{
    line = line.trimmed();
    const QString start = QString::fromLatin1(variable) + QLatin1Char('=');
    if (!line.startsWith(start))
        return {};
    QString value = line.mid(start.size());
    value.remove(QLatin1Char('"')).remove(QLatin1Char('\''));
    return value;
}

/// The locale that the file sets, with the line that does; an empty one if none does.
QString setting(const QStringList &lines, int &number)
{
    for (const char *variable : variables) {
        for (number = 1; number <= lines.size(); ++number) {
            QString value = assigned(lines.at(number - 1), variable);
            if (!value.isEmpty())
                return value;
        }
    }
    return {};
}

} // namespace

void auditLocale(Tree &tree, Findings &findings)
{
    if (!hasUtf8Locale(tree))
        findings.add(Kind::LocaleMissing, QString::fromLatin1(localeDirectory),
                     QStringLiteral("holds no UTF-8 locale"), seen);
    for (const char *file : settings) {
        const QString path = QString::fromLatin1(file);
        const auto content = tree.read(path, textLimit);
        if (!content)
            continue;
        int line = 0;
        const QString locale = setting(decodeText(*content, true).split(QLatin1Char('\n')), line);
        if (!locale.isEmpty() && !namesUtf8(locale))
            findings.addLine(Kind::LocaleNotUtf8, path, line,
                             QStringLiteral("sets ") + quoted(locale)
                                 + QStringLiteral(", which is not UTF-8"),
                             seen);
    }
}
