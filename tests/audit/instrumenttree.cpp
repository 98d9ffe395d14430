#include "tests/audit/instrumenttree.h"

#include "audit/audit.h"

#include <QDir>
#include <QFileInfo>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

const QStringList &allScripts()
{
    static const QStringList scripts = [] {
        QStringList names;
        for (const char *name : {"0-checkpartitions.sh",
                                 "1-AUTUPD-createRecoverySystem.sh",
                                 "2-AUTUPD-unzipFirmwareImage.sh",
                                 "99-USB-ubootDtbVersionCompatibilityCheck.sh",
                                 "2-USB-checkupdatefiles.sh",
                                 "3-AUTUPD-backupUserFiles.sh",
                                 "3-USB-UBoot.sh",
                                 "4-USB-kernel.sh",
                                 "5-USB-recoverykernel.sh",
                                 "6-USB-recoveryfs.sh",
                                 "7-USB-rootfs.sh",
                                 "10-USB-PostUpdate.sh",
                                 "11-AUTUPD-restoreUserFiles.sh",
                                 "11-SetNextPartition.sh",
                                 "11-Reboot.sh",
                                 "11-DCA-Reboot.sh",
                                 "99-AUTUPD-failedCleanup.sh",
                                 "00-USB-installoverrides.sh",
                                 "utility_scripts/RemoveSingleFile.sh",
                                 "utility_scripts/RemoveFilesUsingBackupFileList.sh",
                                 "utility_scripts/RemoveDetectedDisplayFiles.sh",
                                 "utility_scripts/ExportFiles.sh",
                                 "utility_scripts/ChangeToPartition.sh"})
            names << QStringLiteral("/etc/update/") + QString::fromLatin1(name);
        return names;
    }();
    return scripts;
}

static void append(QByteArray &bytes, quint32 number, int length)
{
    for (int shift = 8 * (length - 1); shift >= 0; shift -= 8)
        bytes.append(static_cast<char>(number >> shift & 0xff));
}

QByteArray fontWithFamily(const QString &family)
{
    QByteArray name;
    for (const QChar sign : family)
        append(name, sign.unicode(), 2);
    QByteArray table;
    for (const quint32 number :
         {0U, 1U, 18U, 3U, 1U, 0x409U, 1U, static_cast<quint32>(name.size()), 0U})
        append(table, number, 2);
    table += name;

    QByteArray font;
    append(font, 0x00010000, 4);
    for (const quint32 number : {1U, 16U, 0U, 0U})
        append(font, number, 2);
    font += "name";
    for (const quint32 number : {0U, 28U, static_cast<quint32>(table.size())})
        append(font, number, 4);
    return font + table;
}

QByteArray publicKey(char number)
{
    return "untrusted comment: minisign public key\n"
        + ("Ed" + QByteArray(8, number) + QByteArray(32, 'k')).toBase64() + '\n';
}

InstrumentTree::InstrumentTree()
{
    umask(022); // what others may write counts
    for (const QString &script : allScripts())
        writeExecutable(script, "#!/bin/sh\nexit 0\n");
    for (const char *program : {"/usr/bin/dash", "/usr/bin/ls", "/usr/bin/grep", "/sbin/reboot"})
        writeExecutable(QString::fromLatin1(program), "\177ELF");
    makeLink(QStringLiteral("/usr/bin/sh"), "/usr/bin/dash");
    makeLink(QStringLiteral("/bin"), "usr/bin");
    makeDirectory(QStringLiteral("/tmp"));

    write(QStringLiteral("/mnt/recovery/logFiles.txt"),
          "messages,/var/log,System Log\napplication.log,/var/log,Application Log\n");
    write(QStringLiteral("/var/log/messages"), "one\n");
    write(QStringLiteral("/var/log/application.log"), "two\n");
    for (const char *partition : {"1", "7", "8"})
        write(
            QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
                .arg(QString::fromLatin1(partition)),
            "# installed\ncore_version=4.05\ncore_build=118\ninstall_date_time=20230512 09:30:00\n"
            "core_build_date=20230404\nimage_bootloader_version=V4.05.00\n");
    write(QStringLiteral("/mnt/recovery/download/partition_c"), "7\n");

    for (const char *style : {"Sans", "Serif", "Mono"})
        writeFont(
            QStringLiteral("/usr/share/fonts/liberation/%1.ttf").arg(QString::fromLatin1(style)),
            QStringLiteral("Liberation ") + QString::fromLatin1(style));
    makeDirectory(QStringLiteral("/usr/lib/locale/C.utf8"));

    write(QStringLiteral("/etc/update/signature.sh"), "# sourced\n");
    write(QStringLiteral("/etc/update/keys/this.pub"), publicKey('t'));
    write(QStringLiteral("/etc/update/keys/next.pub"), publicKey('n'));
    for (const char *program : {"/usr/bin/minisign", "/usr/bin/unzip"})
        writeExecutable(QString::fromLatin1(program), "\177ELF");
    write(QStringLiteral("/etc/udev/rules.d/90-stick.rules"),
          "KERNEL==\"sd*\", RUN+=\"/bin/mount -o nosuid,nodev,noexec,nosymfollow $devnode "
          "/media/usb0\"\n");
    write(QStringLiteral("/etc/fstab"), "tmpfs /run tmpfs mode=755 0 0\n");
}

void InstrumentTree::write(const QString &path, const QByteArray &content)
{
    makeDirectory(path.section(QLatin1Char('/'), 0, -2));
    QFile file(real(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s could not be written", qPrintable(path));
}

void InstrumentTree::writeExecutable(const QString &path, const QByteArray &content)
{
    write(path, content);
    setMode(path, 0755);
}

void InstrumentTree::writeFont(const QString &path, const QString &family)
{
    write(path, fontWithFamily(family));
}

void InstrumentTree::setMode(const QString &path, unsigned mode)
{
    if (chmod(qPrintable(real(path)), mode) != 0)
        qFatal("%s has no such mode", qPrintable(path));
}

void InstrumentTree::remove(const QString &path)
{
    const QFileInfo file(real(path));
    const bool isRemoved = file.isDir() && !file.isSymLink() ? QDir(real(path)).removeRecursively()
                                                             : QFile::remove(real(path));
    if (!isRemoved)
        qFatal("%s could not be removed", qPrintable(path));
}

void InstrumentTree::makeDirectory(const QString &path)
{
    if (!QDir().mkpath(real(path)))
        qFatal("%s could not be made", qPrintable(path));
}

void InstrumentTree::makePipe(const QString &path)
{
    if (mkfifo(qPrintable(real(path)), 0644) != 0)
        qFatal("%s is no pipe", qPrintable(path));
}

void InstrumentTree::makeLink(const QString &path, const QByteArray &target)
{
    makeDirectory(path.section(QLatin1Char('/'), 0, -2));
    if (symlink(target.constData(), qPrintable(real(path))) != 0)
        qFatal("%s is no link", qPrintable(path));
}

void InstrumentTree::stretch(const QString &path, qint64 size)
{
    if (truncate(qPrintable(real(path)), size) != 0)
        qFatal("%s has no such size", qPrintable(path));
}

static Findings audit(const QString &top)
{
    Findings findings;
    QString reason;
    auto tree = Tree::open(top, Tree::StayInside, reason);
    if (!tree)
        qFatal("%s: %s", qPrintable(top), qPrintable(reason));
    auditInstrument(*tree, findings);
    return findings;
}

static QString head(const Finding &finding)
{
    QString text = QString::fromLatin1(rowOf(finding.kind).name) + QLatin1Char(' ') + finding.path;
    if (finding.line)
        text += QLatin1Char(':') + QString::number(finding.line);
    return text;
}

QStringList InstrumentTree::findings() const
{
    QStringList texts;
    const Findings found = audit(top());
    for (const Finding &finding : found.all())
        texts << head(finding);
    return texts;
}

QStringList InstrumentTree::seen() const
{
    QStringList texts;
    const Findings found = audit(top());
    for (const Finding &finding : found.all())
        texts << head(finding) + QStringLiteral(": ") + finding.seen;
    return texts;
}
