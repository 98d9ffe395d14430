#include "audit/audit.h"
#include "audit/mountcommand.h"
#include "audit/textfile.h"

#include <QStringList>

#include <algorithm>

// The scripts keep what they have verified in /run/update. That has to be in memory: what lies on
// storage can be changed while the instrument is off.

namespace {

const auto workPlace = QStringLiteral("/run");
const auto table = QStringLiteral("/etc/fstab");

/// An init that mounts it in memory by itself.
constexpr const char *mountingInits[] = {"/lib/systemd/systemd", "/usr/lib/systemd/systemd"};
constexpr char init[] = "/sbin/init";
/// Where other inits are told what to mount.
constexpr const char *startDirectories[] = {"/etc/init.d", "/etc/rcS.d", "/etc/rc.d"};
constexpr const char *startFiles[] = {"/etc/inittab", "/etc/rc", "/etc/rc.local"};

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QString contentOf(Tree &tree, const QString &path)
{
    return decodeText(tree.read(path, textLimit).value_or(QByteArray()), true);
}

bool isInMemory(const QString &type)
{
    return type == QLatin1String("tmpfs") || type == QLatin1String("ramfs");
}

enum Answer { Memory, Storage, Unseen };

/// What fstab says; what it says last is mounted on top.
Answer askTable(Tree &tree, int &line)
{
    Answer answer = Unseen;
    int number = 0;
    const QStringList lines = contentOf(tree, table).split(QLatin1Char('\n'));
    for (const QString &entry : lines) {
        ++number;
        const QStringList fields = entry.simplified().split(QLatin1Char(' '));
        const bool isWorkPlace = fields.value(1) == workPlace
            || fields.value(1) == workPlace + QStringLiteral("/update");
        if (fields.first().startsWith(QLatin1Char('#')) || !isWorkPlace)
            continue;
        line = number;
        answer = isInMemory(fields.value(2)) ? Memory : Storage;
    }
    return answer;
}

bool isMountedByInit(Tree &tree)
{
    const Entry first = tree.look(text(init));
    for (const char *path : mountingInits) {
        const Entry entry = tree.look(text(path));
        if (first.exists() && entry.kind == Entry::File && entry.device == first.device
            && entry.inode == first.inode)
            return true;
    }
    return false;
}

bool isMountedIn(Tree &tree, const QString &path)
{
    const auto commands = mountCommands(contentOf(tree, path), workPlace);
    return std::any_of(commands.begin(), commands.end(),
                       [](const MountCommand &command) { return isInMemory(command.type); });
}

bool isMountedAtStart(Tree &tree)
{
    QStringList files;
    for (const char *file : startFiles)
        files << text(file);
    for (const char *directory : startDirectories) {
        tree.list(text(directory), [&](const QByteArray &name, Entry::Kind) {
            files << text(directory) + QLatin1Char('/') + QString::fromUtf8(name);
            return true;
        });
    }
    for (const QString &file : std::as_const(files)) {
        if (isMountedIn(tree, file))
            return true;
    }
    return false;
}

} // namespace

void auditWorkPlace(Tree &tree, Findings &findings)
{
    const auto lasting = QStringLiteral(
        "what was verified outlives the power, and can be changed while that is off");
    int line = 0;
    const Answer answer = askTable(tree, line);
    if (answer == Storage)
        return findings.addLine(Kind::WorkOnStorage, table, line,
                                QStringLiteral("mounts /run from a storage"), lasting);
    if (answer == Unseen && !isMountedByInit(tree) && !isMountedAtStart(tree))
        findings.add(Kind::WorkUnseen, workPlace, QStringLiteral("is not seen to be in memory"),
                     QStringLiteral("nothing if it is; else ") + lasting);
}
