#pragma once

#include <QThread>

#include <string>

class QProcess;
enum class Step;
struct MarkerCheck;

/// The worker that carries out an update: it runs the scripts of its mode's sequence one after the
/// other, announces each to the screen, and ends in a reboot script. It cannot be cancelled, and no
/// script has a time limit.
///
/// The owner sets the mode, connects the signals and calls start() once; it reads #status after
/// finished() has arrived, which is all the synchronisation there is. There is no event loop in the
/// thread. The destructor neither stops a running update nor kills its script.
class UpdateThread : public QThread
{
    Q_OBJECT

public:
    UpdateThread() = default;

    /// Chooses the sequence: 0 and 1 USB, 2 rebuild of a blank board, 3 network, 4 USB with the
    /// user files kept, any other value as 0. To be called before start().
    void setMode(int newMode) { mode = newMode; }
    void setStatus(int newStatus) { status = newStatus; }

    /// Installs the overrides of the USB storage device in the caller's thread and blocks it until
    /// their script has ended. Returns 98 when the files were rejected (#status is then 1),
    /// otherwise the script's exit code, negative if it could not be started or crashed (#status is
    /// then 2).
    int installOverrides();

    /// Returns 1 and announces the failure of @p stage (2 version, 1 files; any other stage keeps
    /// silent) when the scripts have left "/tmp/verifyFailed", else 0. The file is theirs: it is
    /// read, never removed.
    int checkVerifyFailed(int stage);

    /// The same for "/tmp/overrideFailed". No sequence asks for it.
    int checkOverrideFailed();

private:
    int mode = 0;

public:
    /// Last line of "/tmp/verifyFailed", line end included, once a verification has failed.
    std::string verifyFailText;
    /// Last line of "/tmp/overrideFailed", once checkOverrideFailed() has found it.
    std::string overrideFailText;
    /// 0 nothing to report, 1 a verification failed, 2 the overrides were installed.
    int status = 0;

signals:
    /// A script is about to run: @p progress in per cent, @p info the line for the progress area.
    /// Emitted from the worker thread.
    void progressChanged(int progress, QString info);
    /// The screen's title is to change. Emitted from the worker thread, by installOverrides() from
    /// the caller's.
    void titleChanged(QString title);

protected:
    /// Runs the mode's sequence in the worker thread. finished() follows when it returns.
    void run() override;

    // The steps by name, run in the worker thread; run() has made the process object that they
    // share, and goes by its tables.
    /// Returns the recovery system's exit code; anything but 0 aborts the update.
    int checkFilesystem();
    void unzipFirmwareImage();
    void checkVersion();
    void validateFiles();
    void backupUserFiles();
    void updateImages();
    void updateUbootVariables(); ///< Part of no sequence.
    void runPostUpdate();
    void restoreUserFiles();
    void setNextPartition();
    void failedCleanup();
    /// Ends every sequence: flushes the file systems and runs the reboot script.
    void finishUpdate(bool failed);

    /// What every step runs its scripts with. Made by run(), used only in the worker thread and
    /// deleted by nobody: an update ends in a reboot.
    QProcess *process = nullptr;

private:
    int runStep(Step step); ///< Returns the exit code of the step's last script.
    void announce(const MarkerCheck &check);

    QProcess *overrideProcess = nullptr; ///< Made by installOverrides(), runs nothing.
    int overrideExitCode = 0;
};
