#pragma once

#include <QByteArrayList>

#include <map>

class QString;

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

/// Reads the manifests of all partitions. Whatever they say, every partition ends up with "empty"
/// ("0" the manifest was read, "1" it could not be opened) and with "part" (its position in
/// #partitionIds, counted from 1).
VersionInfo readVersionManifests();

/// Stores the lines of one manifest's @p text for @p partition: those that begin with a word
/// character and hold a "=", cut at the first one. Nothing is trimmed; the last of several equal
/// keys counts.
void storeManifest(const QByteArray &partition, const QString &text, VersionInfo &versionInfo);
