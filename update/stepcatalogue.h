#pragma once

#include <cstddef>

// What an update does, as tables: every step with its scripts, every mode with its sequence of
// steps, and how each mode ends. UpdateThread walks them; nothing else knows a script of the
// update.

/// A constant array seen as a range; the array lives as long as the program.
template <typename Row> class Table
{
public:
    template <std::size_t size>
    constexpr Table(const Row (&rows)[size])
        : first(rows)
        , last(rows + size)
    {
    }
    constexpr const Row *begin() const { return first; }
    constexpr const Row *end() const { return last; }

private:
    const Row *first;
    const Row *last;
};

/// What UpdateThread::setMode() takes.
enum UpdateMode {
    UsbUpdate = 0,
    EthernetUpdate = 1,
    BlankBoardRebuild = 2,
    NetworkUpdate = 3,
    UsbUpdateKeepingSettings = 4,
};

/// Runs before any update, outside the sequences.
constexpr char installOverridesScript[] = "/etc/update/00-USB-installoverrides.sh";

/// What the scripts leave to reject an update, and an override. They alone remove them.
constexpr char verifyFailedMarker[] = "/tmp/verifyFailed";
constexpr char overrideFailedMarker[] = "/tmp/overrideFailed";

enum class Step {
    CheckFilesystem,
    UnzipFirmwareImage,
    CheckVersion,
    ValidateFiles,
    BackupUserFiles,
    UpdateImages,
    UpdateUbootVariables,
    RunPostUpdate,
    RestoreUserFiles,
    SetNextPartition,
    FailedCleanup,
};

/// One script of a step; a step with several scripts has several rows in succession.
struct StepRow
{
    Step step;
    const char *print; ///< Console line before the script is announced, or null.
    int progress; ///< Percentage announced as the script begins.
    const char *message; ///< Announced with it.
    const char *script; ///< Full path, run without arguments.
};

/// How a rejection that a script left as a marker file is announced.
struct MarkerCheck
{
    int stage; ///< What UpdateThread::checkVerifyFailed() was asked for.
    const char *title;
    const char *print;
    int status; ///< What UpdateThread::status becomes.
};

/// One step of a sequence: its console line, then its title, then its scripts, then its verdict.
struct SequenceRow
{
    const char *print; ///< Or null.
    const char *title; ///< Or null.
    Step step;
    int verifyStage; ///< Handed to checkVerifyFailed() after the step; 0 asks for no verdict.
};

/// The end of a sequence, announced at 100 per cent.
struct Ending
{
    const char *message;
    const char *print; ///< Console line after the file systems were flushed, or null.
    bool flushAgain; ///< Flush a second time after the print.
    const char *script; ///< The reboot script, full path.
};

/// What one update mode does once the file systems have been checked.
struct UpdateSequence
{
    Table<SequenceRow> rows;
    bool cleansUp; ///< A rejected update is cleaned up and rebooted; otherwise it just stops.
    Ending succeeded;
    Ending failed;
};

extern const Table<StepRow> stepCatalogue;
extern const Table<MarkerCheck> verifyChecks;
extern const MarkerCheck overrideCheck;

/// The sequence of an update mode; every value that is no mode of its own is a USB update.
const UpdateSequence &updateSequence(int mode);
