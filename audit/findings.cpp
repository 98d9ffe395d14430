#include "audit/findings.h"

#include <QStringList>

#include <algorithm>

// clazy:excludeall=non-pod-global-static

// clang-format off
const std::vector<KindRow> kindRows = {
    {Kind::ScriptMissing,                  "script-missing",                    true},
    {Kind::ScriptNotAFile,                 "script-not-a-file",                 true},
    {Kind::ScriptNotExecutable,            "script-not-executable",             true},
    {Kind::ScriptEmpty,                    "script-empty",                      true},
    {Kind::ScriptWithoutInterpreter,       "script-without-interpreter",        true},
    {Kind::ScriptInterpreterLine,          "script-interpreter-line",           true},
    {Kind::ScriptInterpreterMissing,       "script-interpreter-missing",        true},
    {Kind::ScriptInterpreterNotExecutable, "script-interpreter-not-executable", true},
    {Kind::ScriptWindowsLines,             "script-windows-lines",              true},
    {Kind::ScriptNeverRun,                 "script-never-run",                  false},
    {Kind::ProgramMissing,                 "program-missing",                   true},
    {Kind::MarkerLeft,                     "marker-left",                       true},
    {Kind::MarkerLeftUnused,               "marker-left-unused",                false},
    {Kind::MarkerDirectory,                "marker-directory",                  true},
    {Kind::LogListMissing,                 "log-list-missing",                  true},
    {Kind::LogListNotAFile,                "log-list-not-a-file",               true},
    {Kind::LogListTooLarge,                "log-list-too-large",                true},
    {Kind::LogListEncoding,                "log-list-encoding",                 true},
    {Kind::LogListEmpty,                   "log-list-empty",                    false},
    {Kind::LogFieldMissing,                "log-field-missing",                 true},
    {Kind::LogFieldExtra,                  "log-field-extra",                   true},
    {Kind::LogBlanks,                      "log-blanks",                        true},
    {Kind::LogRelative,                    "log-relative",                      true},
    {Kind::LogOutside,                     "log-outside",                       true},
    {Kind::LogMissing,                     "log-missing",                       false},
    {Kind::LogNotAFile,                    "log-not-a-file",                    true},
    {Kind::ManifestMissing,                "manifest-missing",                  false},
    {Kind::ManifestNotAFile,               "manifest-not-a-file",               true},
    {Kind::ManifestTooLarge,               "manifest-too-large",                true},
    {Kind::ManifestEncoding,               "manifest-encoding",                 true},
    {Kind::ManifestWindowsLines,           "manifest-windows-lines",            true},
    {Kind::ManifestLineIgnored,            "manifest-line-ignored",             true},
    {Kind::ManifestKeyMissing,             "manifest-key-missing",              true},
    {Kind::ManifestValueMissing,           "manifest-value-missing",            true},
    {Kind::ManifestKeyUnknown,             "manifest-key-unknown",              false},
    {Kind::ManifestKeyRepeated,            "manifest-key-repeated",             true},
    {Kind::ManifestKeyShadowed,            "manifest-key-shadowed",             true},
    {Kind::ManifestDate,                   "manifest-date",                     true},
    {Kind::ActiveMissing,                  "active-missing",                    true},
    {Kind::ActiveNotAFile,                 "active-not-a-file",                 true},
    {Kind::ActiveBlanks,                   "active-blanks",                     true},
    {Kind::ActiveUnknown,                  "active-unknown",                    true},
    {Kind::ActiveNotInstalled,             "active-not-installed",              true},
    {Kind::FontMissing,                    "font-missing",                      true},
    {Kind::LocaleMissing,                  "locale-missing",                    false},
    {Kind::LocaleNotUtf8,                  "locale-not-utf8",                   false},
    {Kind::KeysMissing,                     "keys-missing",                      false},
    {Kind::KeysNotADirectory,               "keys-not-a-directory",              true},
    {Kind::KeysEmpty,                       "keys-empty",                        true},
    {Kind::KeysUnused,                      "keys-unused",                       false},
    {Kind::KeyDamaged,                      "key-damaged",                       true},
    {Kind::KeyAlone,                        "key-alone",                         false},
    {Kind::KeySecret,                       "key-secret",                        true},
    {Kind::KeyIgnored,                      "key-ignored",                       false},
    {Kind::UpdateWritable,                  "update-writable",                   true},
    {Kind::MountOptions,                    "mount-options",                     true},
    {Kind::MountUnseen,                     "mount-unseen",                      false},
    {Kind::WorkOnStorage,                   "work-on-storage",                   true},
    {Kind::WorkUnseen,                      "work-unseen",                       false},
    {Kind::StickWithoutUpdate,             "stick-without-update",              true},
    {Kind::StickUpdateNotADirectory,       "stick-update-not-a-directory",      true},
    {Kind::OverridesNotADirectory,         "overrides-not-a-directory",         true},
    {Kind::OverridesEmpty,                 "overrides-empty",                   true},
    {Kind::OverridesIgnored,               "overrides-ignored",                 true},
};
// clang-format on

const KindRow &rowOf(Kind kind) { return kindRows.at(static_cast<std::size_t>(kind)); }

void Findings::add(Kind kind, const QString &path, const QString &problem, const QString &seen)
{
    addLine(kind, path, 0, problem, seen);
}

void Findings::addLine(Kind kind, const QString &path, int line, const QString &problem,
                       const QString &seen)
{
    if (++found[kind] <= keptOfAKind)
        kept.push_back({kind, path, line, problem, seen});
}

int Findings::count(bool faults) const
{
    int sum = 0;
    for (const auto &[kind, number] : found) {
        if (rowOf(kind).fault == faults)
            sum += number;
    }
    return sum;
}

int Findings::notKept(Kind kind) const
{
    const auto number = found.find(kind);
    return number == found.end() ? 0 : std::max(0, number->second - keptOfAKind);
}

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text.split(QLatin1Char('\n')).join(QStringLiteral(" / "))
        + QLatin1Char('"');
}
