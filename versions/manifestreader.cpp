#include "versions/manifestreader.h"

#include "common/common.h"
#include "common/devicefile.h"

#include <QDateTime>
#include <QFile>
#include <QTextStream>

// clazy:excludeall=non-pod-global-static

const QByteArrayList partitionIds = {"1", "7", "8"};

const QByteArrayList manifestColumnKeys = {
    "part:0",
    "core_version:1",
    "core_build:1",
    "install_date_time:2",
    "core_build_date:3",
    "image_bootloader_version:4",
};

const QStringList versionColumnHeaders = {
    QStringLiteral("Partition\nNumber"),   QStringLiteral("Firmware\nVersion"),
    QStringLiteral("Install\nDate"),       QStringLiteral("Firmware\nBuild Date"),
    QStringLiteral("Bootloader\nVersion"), QStringLiteral("Part"),
};

/// What QRegExp's "(^\w+)" matches. Its word characters are exactly these, and looking at the first
/// one says the same without walking through a line of any length.
static bool beginsWithWord(const QString &line)
{
    const QChar first = line.at(0);
    return first.isLetterOrNumber() || first.isMark() || first == QLatin1Char('_');
}

void storeManifest(const QByteArray &partition, const QString &text, VersionInfo &versionInfo)
{
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const int equals = line.indexOf(QLatin1Char('='));
        if (beginsWithWord(line) && equals >= 0)
            versionInfo[partition + line.left(equals).toUtf8()] = line.mid(equals + 1).toUtf8();
    }
}

QString manifestFile(const QByteArray &partition)
{
    // No slash or blank in between: "1manifest.txt" is what the installation scripts write.
    return QString::fromLatin1(updateFilesDirectory + partition + "manifest.txt");
}

/// Returns whether there was a manifest to read.
static bool readManifest(const QByteArray &partition, VersionInfo &versionInfo)
{
    QFile file(manifestFile(partition));
    // Not QIODevice::Text: the carriage returns of a CRLF manifest stay, and its dates show empty.
    if (!openForReading(file))
        return false;
    storeManifest(partition, QTextStream(&file).readAll(), versionInfo);
    return true;
}

VersionInfo readVersionManifests()
{
    VersionInfo versionInfo;
    int position = 0;
    for (const QByteArray &partition : partitionIds) {
        const bool wasRead = readManifest(partition, versionInfo);
        // Last, so that they win over what the manifest itself may say.
        versionInfo[partition + emptyKey] = wasRead ? "0" : "1";
        versionInfo[partition + partKey] = QByteArray::number(++position);
    }
    return versionInfo;
}

QString formatManifestDate(const QString &value)
{
    if (value.size() > 9) {
        return QDateTime::fromString(value, QStringLiteral("yyyyMMdd HH:mm:ss"))
            .toString(QStringLiteral("dd MMM yyyy\nHH:mm:ss"));
    }
    return QDate::fromString(value, QStringLiteral("yyyyMMdd"))
        .toString(QStringLiteral("dd MMM yyyy"));
}

QByteArray readActivePartition(QIODevice &file) { return QTextStream(&file).readLine(50).toUtf8(); }
