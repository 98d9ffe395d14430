#include "update/stepcatalogue.h"

#include "update/updatethread.h"

// The spellings "Backedup" and "U-Boot" beside "Uboot", and the one message with a full stop, are
// what service manuals and log filters know: they stay.
// clang-format off
static constexpr StepRow stepRows[] = {
    {Step::CheckFilesystem,      nullptr,                               5, "Checking Filesystem...",                     "/etc/update/0-checkpartitions.sh"},
    {Step::CheckFilesystem,      nullptr,                              10, "Verifying Recovery Filesystem...",           "/etc/update/1-AUTUPD-createRecoverySystem.sh"},
    {Step::UnzipFirmwareImage,   nullptr,                              20, "Unzipping Net Update Firmware Image...",     "/etc/update/2-AUTUPD-unzipFirmwareImage.sh"},
    {Step::CheckVersion,         nullptr,                              30, "Version Checking...",                        "/etc/update/99-USB-ubootDtbVersionCompatibilityCheck.sh"},
    {Step::ValidateFiles,        nullptr,                              35, "Validating Files...",                        "/etc/update/2-USB-checkupdatefiles.sh"},
    {Step::BackupUserFiles,      nullptr,                              40, "Backup User Files...",                       "/etc/update/3-AUTUPD-backupUserFiles.sh"},
    {Step::UpdateImages,         nullptr,                              45, "Update U-Boot",                              "/etc/update/3-USB-UBoot.sh"},
    {Step::UpdateImages,         nullptr,                              50, "Update Kernel",                              "/etc/update/4-USB-kernel.sh"},
    {Step::UpdateImages,         nullptr,                              60, "Update Recovery Kernel",                     "/etc/update/5-USB-recoverykernel.sh"},
    {Step::UpdateImages,         nullptr,                              70, "Update RecoveryFS",                          "/etc/update/6-USB-recoveryfs.sh"},
    {Step::UpdateImages,         nullptr,                              80, "Update RootFS",                              "/etc/update/7-USB-rootfs.sh"},
    // In no sequence: the bootloader's variables are left alone until a release needs to change them.
    {Step::UpdateUbootVariables, nullptr,                              85, "Update Uboot variables",                     "/etc/update/9-UbootVariables.sh"},
    {Step::RunPostUpdate,        nullptr,                              90, "Execute Post update script, if available.",  "/etc/update/10-USB-PostUpdate.sh"},
    {Step::RestoreUserFiles,     "Restore Backedup User Files...",     95, "Restore User Files...",                      "/etc/update/11-AUTUPD-restoreUserFiles.sh"},
    {Step::SetNextPartition,     "Set Current & Next Partition...",    95, "Increment Partitions...",                    "/etc/update/11-SetNextPartition.sh"},
    {Step::FailedCleanup,        "Verify Failed - Recovery Cleanup...", 95, "Recovery Cleanup...",                       "/etc/update/99-AUTUPD-failedCleanup.sh"},
};

static constexpr MarkerCheck verifyRows[] = {
    {2, "Version Checking:\nFAILED", "Version Checking...FAILED", 1},
    {1, "Verifying Files:\nFAILED",  "Verifying Files...FAILED",  1},
};

const MarkerCheck overrideCheck =
    {0, "Update Override:\nFAILED",  "Update Override...FAILED",  0};

const SequenceRow UpdateSequences::usbRows[] = {
    {nullptr,                         "Verifying Files:",            &UpdateThread::checkVersion,       2},
    {nullptr,                         nullptr,                       &UpdateThread::validateFiles,      1},
    {"Updating Files...",             "USB Update\nin progress...",  &UpdateThread::updateImages,       0},
    {nullptr,                         nullptr,                       &UpdateThread::runPostUpdate,      0},
    {nullptr,                         nullptr,                       &UpdateThread::setNextPartition,   0},
};

const SequenceRow UpdateSequences::usbWithBackupRows[] = {
    {nullptr,                         "Verifying Files:",            &UpdateThread::checkVersion,       2},
    {nullptr,                         nullptr,                       &UpdateThread::validateFiles,      1},
    {"Updating Files w/Backup...",    "USB Update\nin progress...",  &UpdateThread::backupUserFiles,    0},
    {nullptr,                         nullptr,                       &UpdateThread::updateImages,       0},
    {nullptr,                         nullptr,                       &UpdateThread::runPostUpdate,      0},
    {nullptr,                         nullptr,                       &UpdateThread::restoreUserFiles,   0},
    {nullptr,                         nullptr,                       &UpdateThread::setNextPartition,   0},
};

const SequenceRow UpdateSequences::networkRows[] = {
    {nullptr,                         nullptr,                       &UpdateThread::unzipFirmwareImage, 0},
    {nullptr,                         "Verifying Files:",            &UpdateThread::checkVersion,       2},
    {nullptr,                         nullptr,                       &UpdateThread::validateFiles,      1},
    {"Net Updating Files...",         "Net Update in progress...",   &UpdateThread::backupUserFiles,    0},
    {nullptr,                         nullptr,                       &UpdateThread::updateImages,       0},
    {nullptr,                         nullptr,                       &UpdateThread::runPostUpdate,      0},
    {nullptr,                         nullptr,                       &UpdateThread::restoreUserFiles,   0},
    {nullptr,                         nullptr,                       &UpdateThread::setNextPartition,   0},
};

const SequenceRow UpdateSequences::rebuildRows[] = {
    {"Updating Files...",             "Update in progress...",       &UpdateThread::updateImages,       0},
    {nullptr,                         nullptr,                       &UpdateThread::runPostUpdate,      0},
    {nullptr,                         nullptr,                       &UpdateThread::setNextPartition,   0},
};

// Only the network update says that it failed. In the other modes a failed recovery system is
// announced as a success: what counts there is that the instrument reboots into what it still has.
static constexpr Ending usbEnding        = {"Update Successful, rebooting",     "REBOOTING...", false, "/etc/update/11-Reboot.sh"};
static constexpr Ending networkSucceeded = {"Net Update Successful, rebooting", "REBOOTING...", true,  "/etc/update/11-Reboot.sh"};
static constexpr Ending networkFailed    = {"Net Update Failed, rebooting",     "REBOOTING...", true,  "/etc/update/11-Reboot.sh"};
static constexpr Ending rebuildEnding    = {"Update Successful, exiting",       nullptr,        false, "/etc/update/11-DCA-Reboot.sh"};

// A rejected stick leaves the user at the instrument, who reads why; a rejected download has no one
// to read, so the network update alone cleans up and reboots.
const UpdateSequence UpdateSequences::usb           = {usbRows,           false, usbEnding,        usbEnding};
const UpdateSequence UpdateSequences::usbWithBackup = {usbWithBackupRows, false, usbEnding,        usbEnding};
const UpdateSequence UpdateSequences::network       = {networkRows,       true,  networkSucceeded, networkFailed};
const UpdateSequence UpdateSequences::rebuild       = {rebuildRows,       false, rebuildEnding,    rebuildEnding};
// clang-format on

const Table<StepRow> stepCatalogue = stepRows;
const Table<MarkerCheck> verifyChecks = verifyRows;

const UpdateSequence &UpdateSequences::forMode(int mode)
{
    switch (mode) {
    case 2:
        return rebuild;
    case 3:
        return network;
    case 4:
        return usbWithBackup;
    default:
        return usb;
    }
}
