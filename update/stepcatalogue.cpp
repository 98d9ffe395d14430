#include "update/stepcatalogue.h"

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

static constexpr SequenceRow usbRows[] = {
    {nullptr,                         "Verifying Files:",            Step::CheckVersion,       2},
    {nullptr,                         nullptr,                       Step::ValidateFiles,      1},
    {"Updating Files...",             "USB Update\nin progress...",  Step::UpdateImages,       0},
    {nullptr,                         nullptr,                       Step::RunPostUpdate,      0},
    {nullptr,                         nullptr,                       Step::SetNextPartition,   0},
};

static constexpr SequenceRow usbWithBackupRows[] = {
    {nullptr,                         "Verifying Files:",            Step::CheckVersion,       2},
    {nullptr,                         nullptr,                       Step::ValidateFiles,      1},
    {"Updating Files w/Backup...",    "USB Update\nin progress...",  Step::BackupUserFiles,    0},
    {nullptr,                         nullptr,                       Step::UpdateImages,       0},
    {nullptr,                         nullptr,                       Step::RunPostUpdate,      0},
    {nullptr,                         nullptr,                       Step::RestoreUserFiles,   0},
    {nullptr,                         nullptr,                       Step::SetNextPartition,   0},
};

static constexpr SequenceRow networkRows[] = {
    {nullptr,                         nullptr,                       Step::UnzipFirmwareImage, 0},
    {nullptr,                         "Verifying Files:",            Step::CheckVersion,       2},
    {nullptr,                         nullptr,                       Step::ValidateFiles,      1},
    {"Net Updating Files...",         "Net Update in progress...",   Step::BackupUserFiles,    0},
    {nullptr,                         nullptr,                       Step::UpdateImages,       0},
    {nullptr,                         nullptr,                       Step::RunPostUpdate,      0},
    {nullptr,                         nullptr,                       Step::RestoreUserFiles,   0},
    {nullptr,                         nullptr,                       Step::SetNextPartition,   0},
};

static constexpr SequenceRow rebuildRows[] = {
    {"Updating Files...",             "Update in progress...",       Step::UpdateImages,       0},
    {nullptr,                         nullptr,                       Step::RunPostUpdate,      0},
    {nullptr,                         nullptr,                       Step::SetNextPartition,   0},
};

// Only the network update says that it failed. In the other modes a failed recovery system is
// announced as a success: what counts there is that the instrument reboots into what it still has.
static constexpr Ending usbEnding        = {"Update Successful, rebooting",     "REBOOTING...", false, "/etc/update/11-Reboot.sh"};
static constexpr Ending networkSucceeded = {"Net Update Successful, rebooting", "REBOOTING...", true,  "/etc/update/11-Reboot.sh"};
static constexpr Ending networkFailed    = {"Net Update Failed, rebooting",     "REBOOTING...", true,  "/etc/update/11-Reboot.sh"};
static constexpr Ending rebuildEnding    = {"Update Successful, exiting",       nullptr,        false, "/etc/update/11-DCA-Reboot.sh"};

// A rejected stick leaves the user at the instrument, who reads why; a rejected download has no one
// to read, so the network update alone cleans up and reboots.
static const UpdateSequence usb           = {usbRows,           false, usbEnding,        usbEnding};
static const UpdateSequence usbWithBackup = {usbWithBackupRows, false, usbEnding,        usbEnding};
static const UpdateSequence network       = {networkRows,       true,  networkSucceeded, networkFailed};
static const UpdateSequence rebuild       = {rebuildRows,       false, rebuildEnding,    rebuildEnding};
// clang-format on

const Table<StepRow> stepCatalogue = stepRows;
const Table<MarkerCheck> verifyChecks = verifyRows;

const UpdateSequence &updateSequence(int mode)
{
    switch (mode) {
    case BlankBoardRebuild:
        return rebuild;
    case NetworkUpdate:
        return network;
    case UsbUpdateKeepingSettings:
        return usbWithBackup;
    default:
        return usb;
    }
}
