#pragma once

#include <QByteArrayList>
#include <QString>
#include <QVector>

// What an update has to do, written down apart from the program; the lines are those of Transcript.

namespace Model {

/// One script of a step, as the service manual lists it.
struct Step
{
    const char *name;
    const char *print; ///< Or null.
    int progress;
    const char *message;
    const char *script;
};

extern const QVector<Step> steps;

constexpr char recoveryScript[] = "/etc/update/1-AUTUPD-createRecoverySystem.sh";
constexpr char versionScript[] = "/etc/update/99-USB-ubootDtbVersionCompatibilityCheck.sh";
constexpr char filesScript[] = "/etc/update/2-USB-checkupdatefiles.sh";
constexpr char cleanupScript[] = "/etc/update/99-AUTUPD-failedCleanup.sh";

/// How far an update gets.
enum class Course {
    Whole,
    VersionRejected,
    FilesRejected,
    Aborted, ///< There is no recovery system to fall back to.
};

/// The lines of the named step when all its scripts run and succeed.
QByteArrayList step(const QByteArray &name);

/// The lines of a whole update, up to the end of its thread. @p recoveryCode is what the recovery
/// system's script exits with.
QByteArrayList update(int mode, Course course = Course::Whole, int recoveryCode = 0);

/// The scripts among the lines.
QByteArrayList scripts(const QByteArrayList &lines);

} // namespace Model
