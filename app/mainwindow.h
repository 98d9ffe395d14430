#pragma once

#include "update/stepcatalogue.h"
#include "update/updatethread.h"

#include <QBasicTimer>
#include <QDir>
#include <QMainWindow>

class QProcess;
class Utilities;

namespace Ui {
class MainWindow;
}

/// The updater's only window. It finds the update source with a one-second timer, installs
/// overrides, tells a blank board from a flashed one, starts the update at once or offers it to the
/// user, and shows how it goes. Everything here runs in the GUI thread; the update itself is
/// updateThread's.
///
/// The command line is read by the constructor, which also writes the bootloader version to
/// "/tmp/runningbootloaderversion" and starts looking. The program ends with exit code 1 when a
/// blank board has no update directory; otherwise an update ends in the instrument's reboot.
///
/// One class in two files: startup.cpp holds timerEvent() and what leads to the decision,
/// mainwindow.cpp everything else.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override; ///< Does not stop a running update.

public slots:
    void setTitle(const QString &title);
    void onProgressChanged(int value, const QString &text);
    /// After a rejected update says where the reason is to be read.
    void onFinished();

private slots:
    // Connected by name when the form is built.
    void on_USBbtn_clicked();
    void on_ETHbtn_clicked();
    void on_pbuttonUtils_clicked();
    void on_pbuttonVersions_clicked();
    void on_pbuttonBackupSettings_clicked();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    /// What overrideStatus says besides the override script's own codes.
    enum OverrideStatus { OverrideRejected = 98, OverrideNotRun = 99 };
    /// What is printed and shown when an update cannot be started.
    struct Failure
    {
        const char *print;
        const char *label;
        const char *title;
    };

    // startup.cpp: from the first tick to the decision what to do with what was found.
    static const Failure noStorageDevice;
    static const Failure noUpdateDir;
    void initialise();
    void onStartupTick();
    void checkUsbStorage();
    void examineOverrides();
    void reportUsbFailure();
    void handleOverride();
    void showOverrideMessage();
    void offerInteractiveUpdate();
    void checkBlankBoard();
    void checkNetworkStorage();
    static bool updateDirExists(); ///< "/media/usb0/update" is there now.

    // mainwindow.cpp: the command line, the start of an update, the screen and its buttons.
    static const Failure updateDirGone;
    static const Failure updateDirGoneAfterReboot;
    void readCommandLine();
    void publishBootloaderVersion();
    void startRebootUsbUpdate();
    void startAutoUpdate();
    void startUpdate();
    void startUpdateInMode(UpdateMode mode);
    void report(const Failure &failure);
    void enableMaintenance(bool enabled);
    void showUsbLabel(const QString &text);

    QProcess *bootloaderProcess = nullptr; ///< Lives until the program ends.
    QBasicTimer startupTimer; ///< One tick a second.
    QDir overrideDir;
    QDir recoveryDir; ///< Read only by checkNetworkStorage().
    int tickCount = 0; ///< Ticks since the last initialise().
    bool usbWaitArmed
        = false; ///< The storage device has had its time to settle; each tick looks for it.
    bool updateDirFound = false;
    bool overrideExists = false;
    bool overrideValid = false; ///< The OVERRIDE directory holds at least one file.
    bool usbDeviceFound = false;
    bool recoveryUpdateFound = false; ///< Written only by checkNetworkStorage().
    bool networkStorageFound = false; ///< Written only by checkNetworkStorage().
    bool interactive = true; ///< The user is to be offered the buttons.
    // The command line's flags; any combination is accepted.
    bool rebootUsbUpdate = false;
    bool autoUpdate = false;
    bool goBackUpdate = false;
    bool deadUsbRebuild = false;
    int restoreSettings = 0; ///< 1 keeps the user's settings over the update, 0 does not.
    int overrideStatus = 0; ///< What UpdateThread::installOverrides() returned; 99 not run.
    QString progressPrefix;
    QString restoreOffText;
    QString restoreOnText;
    Ui::MainWindow *ui; ///< Owned.
    Utilities *utilitiesDialog = nullptr; ///< The last support tools menu opened; never deleted.
    UpdateThread updateThread;
    QProcess *blankBoardProcess = nullptr; ///< Made by checkBlankBoard(), runs nothing.
    int blankBoardExitCode = 0;
};
