#pragma once

// What the program starts: the instrument's own commands, and the scripts of the maintenance
// screens. The scripts of an update are in update/stepcatalogue.

namespace Program {
constexpr char shell[] = "/bin/sh";
constexpr char list[] = "/bin/ls";
constexpr char filter[] = "/bin/grep";
constexpr char probe[] = "ls"; ///< Looked for as a shell does; tells a blank board.
constexpr char reboot[] = "/sbin/reboot";
} // namespace Program

namespace UtilityScript {
constexpr char removeFile[] = "/etc/update/utility_scripts/RemoveSingleFile.sh";
constexpr char removeListedFiles[]
    = "/etc/update/utility_scripts/RemoveFilesUsingBackupFileList.sh";
constexpr char removeDisplayFiles[] = "/etc/update/utility_scripts/RemoveDetectedDisplayFiles.sh";
constexpr char exportFiles[] = "/etc/update/utility_scripts/ExportFiles.sh";
constexpr char changePartition[] = "/etc/update/utility_scripts/ChangeToPartition.sh";
} // namespace UtilityScript
