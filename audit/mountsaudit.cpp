#include "app/updatesource.h"
#include "audit/audit.h"
#include "audit/mountcommand.h"
#include "audit/textfile.h"

#include <QMap>
#include <QStringList>

#include <algorithm>

// Looks for whatever mounts a stick: a line of fstab, a mount unit, a udev rule, or what a rule has
// started.

namespace {

constexpr char table[] = "/etc/fstab";
/// In the order in which a file of one hides that of the same name in another.
constexpr const char *ruleDirectories[] = {"/etc/udev/rules.d", "/usr/local/lib/udev/rules.d",
                                           "/usr/lib/udev/rules.d", "/lib/udev/rules.d"};
constexpr const char *unitDirectories[] = {"/etc/systemd/system", "/usr/local/lib/systemd/system",
                                           "/usr/lib/systemd/system", "/lib/systemd/system"};
/// Where a program without a path is that a rule starts.
constexpr const char *ruleProgramDirectories[] = {"/usr/lib/udev", "/lib/udev"};

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QString mountPoint() { return text(usbMountPoint); }

/// What a text file of the instrument holds; nothing of a program or of what is no file.
QString contentOf(Tree &tree, const QString &path)
{
    const QByteArray content = tree.read(path, textLimit).value_or(QByteArray());
    return content.contains('\0') ? QString() : decodeText(content, true);
}

class MountsAudit
{
public:
    MountsAudit(Tree &instrument, Findings &found)
        : tree(instrument)
        , findings(found)
    {
    }

    void judgeAll();

private:
    void judgeTable();
    void judgeUnit();
    void judgeRules();
    void judgeCommands(const QString &path);
    void judgeStarted(const QString &rules);
    void judge(const QString &path, int line, MountOptions options);
    QString unitPath(QString name);

    Tree &tree;
    Findings &findings;
    QStringList judged; ///< Scripts and units.
    bool isSeen = false; ///< What mounts a stick.
    bool isInTable = false;
};

void MountsAudit::judge(const QString &path, int line, MountOptions options)
{
    isSeen = true;
    QStringList missing;
    QStringList counts;
    for (const MountOptionRow &row : wantedMountOptions) {
        if (!(options & row.option)) {
            missing << text(row.name);
            counts << text(row.without);
        }
    }
    const auto comma = QStringLiteral(", ");
    if (!missing.isEmpty())
        findings.addLine(Kind::MountOptions, path, line,
                         QStringLiteral("mounts a stick without ") + missing.join(comma),
                         QStringLiteral("what a stick holds of these counts on the instrument: ")
                             + counts.join(comma));
}

void MountsAudit::judgeTable()
{
    int number = 0;
    const QStringList lines = contentOf(tree, text(table)).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        ++number;
        const QStringList fields = line.simplified().split(QLatin1Char(' '));
        if (fields.first().startsWith(QLatin1Char('#')) || fields.value(1) != mountPoint())
            continue;
        isInTable = true;
        judge(text(table), number, mountOptionsIn(fields.value(3)));
    }
}

QString MountsAudit::unitPath(QString name)
{
    const int instance = name.indexOf(QLatin1Char('@'));
    if (instance >= 0)
        name = name.left(instance + 1) + name.mid(name.lastIndexOf(QLatin1Char('.')));
    for (const char *directory : unitDirectories) {
        QString path = text(directory) + QLatin1Char('/') + name;
        if (tree.look(path).exists())
            return path;
    }
    return {};
}

void MountsAudit::judgeUnit()
{
    const QString path = unitPath(mountPoint().mid(1).replace(QLatin1Char('/'), QLatin1Char('-'))
                                  + QStringLiteral(".mount"));
    if (path.isEmpty())
        return;
    const auto key = QStringLiteral("Options=");
    QStringList options;
    const QStringList lines = contentOf(tree, path).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(key))
            options << line.mid(key.size()).trimmed();
    }
    judge(path, 0, mountOptionsIn(options.join(QLatin1Char(','))));
}

void MountsAudit::judgeCommands(const QString &path)
{
    for (const MountCommand &command : mountCommands(contentOf(tree, path), mountPoint())) {
        if (command.hasOptions || !isInTable)
            judge(path, command.line, command.options);
    }
}

/// Of what rules or a unit start, the scripts and units that are there.
void MountsAudit::judgeStarted(const QString &starting)
{
    static const auto ends = QStringLiteral(" \t\n\"'=,;");
    QString all = starting;
    for (const QChar sign : ends)
        all.replace(sign, QLatin1Char(' '));
    const QStringList words = all.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &word : words) {
        QString path;
        const bool isUnit = word.endsWith(QLatin1String(".service"));
        if (isUnit)
            path = unitPath(word);
        else if (word.startsWith(QLatin1Char('/')))
            path = word;
        for (const char *directory : ruleProgramDirectories) {
            const QString beside = text(directory) + QLatin1Char('/') + word;
            if (path.isEmpty() && tree.look(beside).kind == Entry::File)
                path = beside;
        }
        if (path.isEmpty() || judged.contains(path) || tree.look(path).kind != Entry::File)
            continue;
        judged << path;
        if (!isUnit && tree.read(path, 2) != QByteArray("#!"))
            continue;
        judgeCommands(path);
        if (isUnit)
            judgeStarted(contentOf(tree, path));
    }
}

void MountsAudit::judgeRules()
{
    QMap<QString, QString> rules; // by name, in which order they are read
    for (const char *directory : ruleDirectories) {
        tree.list(text(directory), [&](const QByteArray &name, Entry::Kind) {
            const QString file = QString::fromUtf8(name);
            if (name.endsWith(".rules") && !rules.contains(file))
                rules.insert(file, text(directory) + QLatin1Char('/') + file);
            return true;
        });
    }
    for (const QString &path : std::as_const(rules)) {
        judgeCommands(path);
        QStringList lines = contentOf(tree, path).split(QLatin1Char('\n'));
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [](const QString &line) {
                                       return line.trimmed().startsWith(QLatin1Char('#'));
                                   }),
                    lines.end());
        judgeStarted(lines.join(QLatin1Char('\n')));
    }
}

void MountsAudit::judgeAll()
{
    judgeTable();
    judgeUnit();
    judgeRules();
    if (!isSeen)
        findings.add(Kind::MountUnseen, mountPoint(),
                     QStringLiteral("is mounted by nothing that was found"),
                     QStringLiteral("what a stick holds of links, programs and devices counts on "
                                    "the instrument, unless mounted with "
                                    "nosuid,nodev,noexec,nosymfollow"));
}

} // namespace

void auditMounts(Tree &tree, Findings &findings) { MountsAudit(tree, findings).judgeAll(); }
