#include "tests/support/instrument.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace Instrument {

static const QString callsFile = QStringLiteral("/run/calls");
static const QString secondPartition = QStringLiteral("/dev/mmcblk0p2");

// Written down once more, apart from the program's own table.
static const char *const updateScripts[] = {
    "00-USB-installoverrides.sh",
    "0-checkpartitions.sh",
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
    "9-UbootVariables.sh",
    "10-USB-PostUpdate.sh",
    "11-AUTUPD-restoreUserFiles.sh",
    "11-SetNextPartition.sh",
    "99-AUTUPD-failedCleanup.sh",
    "11-Reboot.sh",
    "11-DCA-Reboot.sh",
};

/// Empties a directory, whatever the permissions of what it holds, and leaves it standing.
static void empty(const QString &directory)
{
    const QDir::Filters all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (const QFileInfo &entry : QDir(directory).entryInfoList(all)) {
        if (entry.isDir() && !entry.isSymLink()) {
            QFile::setPermissions(entry.filePath(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            empty(entry.filePath());
            QDir().rmdir(entry.filePath());
        } else {
            QFile::remove(entry.filePath());
        }
    }
}

void clear()
{
    for (const char *directory :
         {"/etc/update", "/home/tesk", "/media", "/mnt", "/sys/class/block", "/tmp"})
        empty(QString::fromLatin1(directory));
    for (const char *directory : {"/etc/update/utility_scripts", "/home/tesk/cfg", "/media/usb0",
                                  "/mnt/recovery/download", "/mnt/recovery/update_files"})
        QDir().mkpath(QString::fromLatin1(directory));
    QFile::remove(callsFile);
    setBlank(false);
}

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(path));
}

QByteArray read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

void writeScript(const QString &path, const QByteArray &body)
{
    write(path, "#!/bin/sh\necho \"$0\" \"$@\" >>/run/calls\n" + body + '\n');
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void writeUpdateScripts()
{
    for (const char *name : updateScripts)
        writeScript(QStringLiteral("/etc/update/") + QString::fromLatin1(name));
}

QStringList calls()
{
    return QString::fromUtf8(read(callsFile)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void shell(const QByteArray &lines)
{
    const QStringList command = {QStringLiteral("-ec"), QString::fromUtf8(lines)};
    if (QProcess::execute(QStringLiteral("sh"), command) != 0)
        qFatal("%s failed", lines.constData());
}

void plugStorageDevice(bool update)
{
    QDir().mkpath(QStringLiteral("/sys/class/block/sda"));
    if (update)
        QDir().mkpath(QStringLiteral("/media/usb0/update"));
}

void unplugStorageDevice()
{
    QDir().rmdir(QStringLiteral("/sys/class/block/sda"));
    empty(QStringLiteral("/media/usb0"));
}

void setBlank(bool blank)
{
    if (blank)
        QFile::remove(secondPartition);
    else
        write(secondPartition, {});
}

} // namespace Instrument
