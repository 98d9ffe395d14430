#include "tests/update/model.h"

#include <QMap>

#include <algorithm>

namespace Model {

// clang-format off
const QVector<Step> steps = {
    {"checkFilesystem",      nullptr,                               5, "Checking Filesystem...",                    "/etc/update/0-checkpartitions.sh"},
    {"checkFilesystem",      nullptr,                              10, "Verifying Recovery Filesystem...",          "/etc/update/1-AUTUPD-createRecoverySystem.sh"},
    {"unzipFirmwareImage",   nullptr,                              20, "Unzipping Net Update Firmware Image...",    "/etc/update/2-AUTUPD-unzipFirmwareImage.sh"},
    {"checkVersion",         nullptr,                              30, "Version Checking...",                       "/etc/update/99-USB-ubootDtbVersionCompatibilityCheck.sh"},
    {"validateFiles",        nullptr,                              35, "Validating Files...",                       "/etc/update/2-USB-checkupdatefiles.sh"},
    {"backupUserFiles",      nullptr,                              40, "Backup User Files...",                      "/etc/update/3-AUTUPD-backupUserFiles.sh"},
    {"updateImages",         nullptr,                              45, "Update U-Boot",                             "/etc/update/3-USB-UBoot.sh"},
    {"updateImages",         nullptr,                              50, "Update Kernel",                             "/etc/update/4-USB-kernel.sh"},
    {"updateImages",         nullptr,                              60, "Update Recovery Kernel",                    "/etc/update/5-USB-recoverykernel.sh"},
    {"updateImages",         nullptr,                              70, "Update RecoveryFS",                         "/etc/update/6-USB-recoveryfs.sh"},
    {"updateImages",         nullptr,                              80, "Update RootFS",                             "/etc/update/7-USB-rootfs.sh"},
    {"updateUbootVariables", nullptr,                              85, "Update Uboot variables",                    "/etc/update/9-UbootVariables.sh"},
    {"runPostUpdate",        nullptr,                              90, "Execute Post update script, if available.", "/etc/update/10-USB-PostUpdate.sh"},
    {"restoreUserFiles",     "Restore Backedup User Files...",     95, "Restore User Files...",                     "/etc/update/11-AUTUPD-restoreUserFiles.sh"},
    {"setNextPartition",     "Set Current & Next Partition...",    95, "Increment Partitions...",                   "/etc/update/11-SetNextPartition.sh"},
    {"failedCleanup",        "Verify Failed - Recovery Cleanup...", 95, "Recovery Cleanup...",                      "/etc/update/99-AUTUPD-failedCleanup.sh"},
};

/// The lines of one mode; a step's name stands for its lines, and "version ok?" and "files ok?" for
/// the places where a rejection is found out.
struct Sequence
{
    QByteArrayList whole;
    QByteArrayList rejected; ///< What follows a rejection.
    QByteArrayList aborted;  ///< What follows a missing recovery system.
};

static const QByteArrayList usbEnd = {
    "100% Update Successful, rebooting", "sync", "REBOOTING...", "/etc/update/11-Reboot.sh"};
static const QByteArrayList networkEnd = {
    "100% Net Update Successful, rebooting", "sync", "REBOOTING...", "sync", "/etc/update/11-Reboot.sh"};
static const QByteArrayList networkFailure = {
    "100% Net Update Failed, rebooting", "sync", "REBOOTING...", "sync", "/etc/update/11-Reboot.sh"};
static const QByteArrayList rebuildEnd = {
    "100% Update Successful, exiting", "sync", "/etc/update/11-DCA-Reboot.sh"};
static const QByteArrayList missing = {"AutoUpdate file is missing - cannot continue"};

static const Sequence usb = {
    QByteArrayList{
        "title Verifying Files:", "checkVersion", "version ok?", "validateFiles", "files ok?",
        "Updating Files...", "title USB Update\\nin progress...",
        "updateImages", "runPostUpdate", "setNextPartition"} + usbEnd,
    {},
    usbEnd + missing};

static const QMap<int, Sequence> otherModes = {
    {2, {
        QByteArrayList{
            "Updating Files...", "title Update in progress...",
            "updateImages", "runPostUpdate", "setNextPartition"} + rebuildEnd,
        {},
        rebuildEnd + missing}},
    {3, {
        QByteArrayList{
            "unzipFirmwareImage", "title Verifying Files:",
            "checkVersion", "version ok?", "validateFiles", "files ok?",
            "Net Updating Files...", "title Net Update in progress...", "backupUserFiles",
            "updateImages", "runPostUpdate", "restoreUserFiles", "setNextPartition"} + networkEnd,
        QByteArrayList{"failedCleanup"} + networkFailure,
        networkFailure + missing}},
    {4, {
        QByteArrayList{
            "title Verifying Files:", "checkVersion", "version ok?", "validateFiles", "files ok?",
            "Updating Files w/Backup...", "title USB Update\\nin progress...", "backupUserFiles",
            "updateImages", "runPostUpdate", "restoreUserFiles", "setNextPartition"} + usbEnd,
        {},
        usbEnd + missing}},
};

static const QMap<QByteArray, QPair<Course, QByteArrayList>> verdicts = {
    {"version ok?", {Course::VersionRejected, {"title Version Checking:\\nFAILED", "Version Checking...FAILED"}}},
    {"files ok?",   {Course::FilesRejected,   {"title Verifying Files:\\nFAILED", "Verifying Files...FAILED"}}},
};
// clang-format on

QByteArrayList step(const QByteArray &name)
{
    QByteArrayList lines;
    for (const Step &row : steps) {
        if (name != row.name)
            continue;
        if (row.print)
            lines += row.print;
        lines += QByteArray::number(row.progress) + "% " + row.message;
        lines += row.script;
    }
    return lines;
}

/// Replaces the steps' names by the steps' lines.
static QByteArrayList spelledOut(const QByteArrayList &sequence)
{
    QByteArrayList lines;
    for (const QByteArray &item : sequence) {
        const QByteArrayList stepLines = step(item);
        lines += stepLines.isEmpty() ? QByteArrayList {item} : stepLines;
    }
    return lines;
}

QByteArrayList update(int mode, Course course, int recoveryCode)
{
    const Sequence sequence = otherModes.value(mode, usb);
    QByteArrayList lines = QByteArrayList {"0% Initializing Update...", "sleep 1.0 s"}
        + step("checkFilesystem") + QByteArrayList {"code = " + QByteArray::number(recoveryCode)};
    if (course == Course::Aborted)
        return lines + sequence.aborted + QByteArrayList {"finished"};

    for (const QByteArray &item : spelledOut(sequence.whole)) {
        const auto verdict = verdicts.constFind(item);
        if (verdict == verdicts.constEnd())
            lines += item;
        else if (verdict->first == course)
            return lines + verdict->second + spelledOut(sequence.rejected)
                + QByteArrayList {"finished"};
    }
    return lines + QByteArrayList {"finished"};
}

QByteArrayList scripts(const QByteArrayList &lines)
{
    QByteArrayList paths;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(paths),
                 [](const QByteArray &line) { return line.startsWith("/etc/update/"); });
    return paths;
}

} // namespace Model
