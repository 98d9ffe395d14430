#pragma once

#include <QString>

#include <vector>

// Mount options and "mount" commands, as they stand in shell scripts, udev rules, units and fstab.

/// A set of the options that keep a stick harmless.
using MountOptions = unsigned;

struct MountOptionRow
{
    const char *name;
    MountOptions option;
    const char *without; ///< What of a stick counts without it.
};

extern const std::vector<MountOptionRow> wantedMountOptions;

/// What of @p list, with commas, is in force in the end: of "exec" and "noexec" the last one.
MountOptions mountOptionsIn(const QString &list);

struct MountCommand
{
    int line = 0; ///< On which it begins, counted from 1.
    bool hasOptions = false; ///< Otherwise those of fstab count.
    MountOptions options = 0;
    QString type; ///< Of the file system, as named.
};

/// The commands of a shell script, rule or unit that mount something at @p place. Where a place or
/// options are named by a variable, all that is anywhere in @p text counts for them.
std::vector<MountCommand> mountCommands(const QString &text, const QString &place);
