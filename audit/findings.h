#pragma once

#include <QString>

#include <map>
#include <vector>

// What an audit has found, in the order in which it was found.

enum class Kind {
    ScriptMissing,
    ScriptNotAFile,
    ScriptNotExecutable,
    ScriptEmpty,
    ScriptWithoutInterpreter,
    ScriptInterpreterLine,
    ScriptInterpreterMissing,
    ScriptInterpreterNotExecutable,
    ScriptWindowsLines,
    ScriptNeverRun,
    ProgramMissing,
    MarkerLeft,
    MarkerLeftUnused,
    MarkerDirectory,
    LogListMissing,
    LogListNotAFile,
    LogListTooLarge,
    LogListEncoding,
    LogListEmpty,
    LogFieldMissing,
    LogFieldExtra,
    LogBlanks,
    LogRelative,
    LogOutside,
    LogMissing,
    LogNotAFile,
    ManifestMissing,
    ManifestNotAFile,
    ManifestTooLarge,
    ManifestEncoding,
    ManifestWindowsLines,
    ManifestLineIgnored,
    ManifestKeyMissing,
    ManifestValueMissing,
    ManifestKeyUnknown,
    ManifestKeyRepeated,
    ManifestKeyShadowed,
    ManifestDate,
    ActiveMissing,
    ActiveNotAFile,
    ActiveBlanks,
    ActiveUnknown,
    ActiveNotInstalled,
    FontMissing,
    LocaleMissing,
    LocaleNotUtf8,
    KeysMissing,
    KeysNotADirectory,
    KeysEmpty,
    KeysUnused,
    KeyDamaged,
    KeyAlone,
    KeySecret,
    KeyIgnored,
    UpdateWritable,
    MountOptions,
    MountUnseen,
    WorkOnStorage,
    WorkUnseen,
    StickWithoutUpdate,
    StickUpdateNotADirectory,
    OverridesNotADirectory,
    OverridesEmpty,
    OverridesIgnored,
};

/// A kind as it is written for machines. A fault is wrong on every instrument; what may be meant is
/// noted, and counts only if the user says so.
struct KindRow
{
    Kind kind;
    const char *name;
    bool fault;
};

extern const std::vector<KindRow> kindRows; ///< A row for each Kind, in their order.

struct Finding
{
    Kind kind;
    QString path;
    int line; ///< Counted from 1, 0 for the file as a whole.
    QString problem; ///< What is wrong, to be read after the path.
    QString seen; ///< What the user of the instrument will see.
};

class Findings
{
public:
    /// Of each kind so many are kept; the others are counted.
    static constexpr int keptOfAKind = 100;

    void add(Kind kind, const QString &path, const QString &problem, const QString &seen);
    void addLine(Kind kind, const QString &path, int line, const QString &problem,
                 const QString &seen);

    const std::vector<Finding> &all() const { return kept; }
    int count(bool faults) const; ///< Of the faults or of the notes, those not kept included.
    int notKept(Kind kind) const;

private:
    std::vector<Finding> kept;
    std::map<Kind, int> found;
};

const KindRow &rowOf(Kind kind);

/// A text of the screen as a finding quotes it: in double quotes, its lines joined by " / ".
QString quoted(const QString &text);
