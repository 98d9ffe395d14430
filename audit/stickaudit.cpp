#include "app/updatesource.h"
#include "audit/audit.h"

#include <cstring>

namespace {

/// A path of the mounted device, as seen from the device's top.
QString onStick(const char *path)
{
    return QString::fromLatin1(path + std::strlen(usbMountPoint) + 1);
}

/// What overrideFilter counts.
bool isOverride(const QByteArray &name, Entry::Kind kind)
{
    return kind == Entry::File && !name.startsWith('.');
}

QString otherCase(Tree &stick, const QString &name)
{
    QString found;
    stick.list(QStringLiteral("."), [&](const QByteArray &entry, Entry::Kind) {
        const QString candidate = QString::fromUtf8(entry);
        if (candidate != name && candidate.compare(name, Qt::CaseInsensitive) == 0)
            found = QStringLiteral(" (there is ") + candidate + QLatin1Char(')');
        return found.isEmpty();
    });
    return found;
}

void auditOverrides(Tree &stick, Findings &findings)
{
    const QString path = onStick(overridePath);
    const Entry entry = stick.look(path);
    if (entry.kind == Entry::Unknown || (entry.kind == Entry::Missing && !entry.isLink))
        return; // no overrides are meant
    const QString ignored = QStringLiteral("a normal update is offered, and no override installed");
    if (entry.kind != Entry::Directory)
        return findings.add(Kind::OverridesNotADirectory, path, entry.what, ignored);

    bool holdsAnything = false;
    bool holdsOverride = false;
    stick.list(path, [&](const QByteArray &name, Entry::Kind kind) {
        holdsAnything = true;
        holdsOverride = isOverride(name, kind);
        return !holdsOverride;
    });
    const QString unprobed = ignored
        + QStringLiteral("; a blank board is not recognised, and an update after a reboot waits to "
                         "be touched");
    if (!holdsAnything)
        findings.add(Kind::OverridesEmpty, path, QStringLiteral("is empty"), unprobed);
    else if (!holdsOverride)
        findings.add(
            Kind::OverridesIgnored, path,
            QStringLiteral("holds links, directories or hidden files only, which do not count"),
            unprobed);
}

} // namespace

void auditStick(Tree &stick, Findings &findings)
{
    const QString path = onStick(updatePath);
    const Entry entry = stick.look(path);
    const QString notFound
        = QStringLiteral("\"'update' directory NOT found on / USB storage device\"");
    if (entry.kind == Entry::Missing)
        findings.add(Kind::StickWithoutUpdate, path, entry.what + otherCase(stick, path), notFound);
    else if (entry.kind == Entry::Directory)
        auditOverrides(stick, findings);
    else if (entry.kind != Entry::Unknown)
        findings.add(Kind::StickUpdateNotADirectory, path, entry.what, notFound);
}
