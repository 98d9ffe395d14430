#pragma once

#include <QByteArrayList>
#include <QStringList>

#include <map>

class QIODevice;

// What the instrument knows about its installed firmware versions. Each version partition leaves a
// manifest, a text file of lines "key=value", in the update files directory. Nothing here needs a
// screen, writes a file or prints.

/// The entries of all manifests: the partition identifier directly followed by the key, as in
/// "1core_version", leads to the value; both UTF-8. operator[] is the look-up: a key that is not
/// there comes into being with an empty value, so it shows as an empty cell.
using VersionInfo = std::map<QByteArray, QByteArray>;

/// The version partitions, in the order of the version table's rows.
extern const QByteArrayList partitionIds;

/// What the version table shows, as "key:column". The order counts: what comes second for a column
/// is joined to what came first.
extern const QByteArrayList manifestColumnKeys;

/// The headings of the version table's columns.
extern const QStringList versionColumnHeaders;

/// The keys that every partition ends up with, whatever its manifest says.
constexpr char emptyKey[] = "empty"; ///< "0" the manifest was read, "1" it could not be opened.
constexpr char partKey[] = "part"; ///< The position in #partitionIds, counted from 1.

/// Names the version partition that the instrument runs from, on its first line.
constexpr char activePartitionPath[] = "/mnt/recovery/download/partition_c";

/// Where a partition's manifest lies.
QString manifestFile(const QByteArray &partition);

/// Reads the manifests of all partitions.
VersionInfo readVersionManifests();

/// Stores the lines of one manifest's @p text for @p partition: those that begin with a word
/// character and hold a "=", cut at the first one. Nothing is trimmed; the last of several equal
/// keys counts.
void storeManifest(const QByteArray &partition, const QString &text, VersionInfo &versionInfo);

/// How the version table writes a manifest's date; empty for what is no date.
QString formatManifestDate(const QString &value);

/// The first line of the active-partition file, which is open for reading as text. Nothing is
/// trimmed, so only a line that is one of #partitionIds names a partition.
QByteArray readActivePartition(QIODevice &file);
