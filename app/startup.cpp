#include "app/mainwindow.h"

#include "app/updatesource.h"
#include "common/common.h"
#include "common/programs.h"
#include "common/scriptrunner.h"
#include "ui_mainwindow.h"

#include <QProcess>
#include <QTimerEvent>

#include <cstdlib>

#include <unistd.h>

// The start-up sequence of the main window: find the update source, install overrides, tell a blank
// board, and start the update or offer it.

namespace {

// The storage device is given a few ticks to settle, then looked for on eight.
constexpr int settlingTicks = 3;
constexpr int lastLookingTick = 12;

/// What the override script's exit code means to the user when nothing was installed.
struct OverrideMessage
{
    int overrideStatus;
    const char *text;
};

constexpr OverrideMessage overrideMessages[] = {
    {1, "Override Matches Existing Display Setting\n\nContinueing with normal install mode."},
    {2,
     "Override Combination Invalid\n============================\n"
     "Only one Sizexx or SizeClear may be present at a time.\n"},
};

bool directoryExists(const char *path) { return QDir(QString::fromLatin1(path)).exists(); }

} // namespace

const MainWindow::Failure MainWindow::noStorageDevice = {
    "FAIL - USB storage device does not exist",
    "No USB storage device found.\nCheck your USB device and \nRETRY.", "Initialization:\nFAILED"};
const MainWindow::Failure MainWindow::noUpdateDir
    = {"FAIL - Update directory does not exist",
       "'update' directory NOT found on\nUSB storage device", "Initialization:\nFAILED"};

void MainWindow::initialise()
{
    ui->version_number->setText(QStringLiteral("Bootloader:\n")
                                + QString::fromLatin1(bootloaderVersion));
    ui->version_number->show();

    ui->USBbtn->setText(QStringLiteral("USB"));
    ui->USBbtn->setEnabled(false);
    ui->pbuttonBackupSettings->setEnabled(false);
    ui->pbuttonBackupSettings->setCheckable(true);
    ui->lblUSBBackup->setText(restoreOffText);
    enableMaintenance(false);

    showUsbLabel(autoUpdate ? QStringLiteral("Checking for \nNetwork Update storage")
                            : QStringLiteral("Checking for \nUSB storage device"));

    tickCount = 0;
    updateThread.setStatus(0);
    usbWaitArmed = false;
    updateDirFound = false;
    overrideExists = false;
    overrideValid = false;
    usbDeviceFound = false;
    recoveryUpdateFound = false;
    networkStorageFound = false;
    restoreSettings = 0;
    interactive = true;
    overrideStatus = OverrideNotRun;

    startupTimer.start(1000, this);
    sync();
}

void MainWindow::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != startupTimer.timerId())
        return;
    ++tickCount;
    onStartupTick();
}

void MainWindow::onStartupTick()
{
    if (updateDirFound) {
        if (overrideExists && !autoUpdate) {
            handleOverride(); // the timer keeps running: it may have to be tried again
        } else {
            startupTimer.stop();
            checkBlankBoard();
        }
    } else if (autoUpdate) {
        startupTimer.stop();
        checkBlankBoard();
    } else if (!usbWaitArmed) {
        usbWaitArmed = tickCount > settlingTicks;
    } else if (tickCount <= lastLookingTick) {
        checkUsbStorage();
    } else {
        startupTimer.stop();
        reportUsbFailure();
    }
}

bool MainWindow::updateDirExists() { return directoryExists(updatePath); }

void MainWindow::checkUsbStorage()
{
    if (!usbDeviceFound && directoryExists(usbDevicePath)) {
        usbDeviceFound = true;
        showUsbLabel(QStringLiteral("USB storage device found"));
    }
    if (!updateDirExists())
        return;

    updateDirFound = true;
    overrideDir.setPath(QString::fromLatin1(overridePath));
    if (overrideDir.exists())
        examineOverrides();
    showUsbLabel(QStringLiteral("'update' directory found on\nUSB storage device"));
    ui->update_title->setText(QStringLiteral("Initialization:\nCompleted"));
}

void MainWindow::examineOverrides()
{
    overrideExists = true;
    overrideDir.setFilter(overrideFilter);
    printLine("Overide exists"); // log filters know this spelling
    overrideValid = overrideDir.count() > 0;
    if (overrideValid) {
        interactive = false;
        printLine("Overide valid - Interactive false");
    } else {
        printLine("Overide not valid - " + QByteArray::number(interactive ? 1 : 0));
    }
}

void MainWindow::reportUsbFailure()
{
    if (usbDeviceFound) {
        if (updateDirExists())
            return; // plugged in at the last moment: nothing is offered, and nothing denied
        report(noUpdateDir);
    } else {
        report(noStorageDevice);
        ui->USBbtn->setText(QStringLiteral("RETRY"));
        ui->USBbtn->setEnabled(true);
        ui->pbuttonBackupSettings->setEnabled(false);
    }
    enableMaintenance(true);
}

void MainWindow::handleOverride()
{
    if (!interactive && overrideExists) {
        if (overrideValid) {
            connect(&updateThread, SIGNAL(titleChanged(QString)), this, SLOT(setTitle(QString)));
            printLine("OVERRIDE directory found!");
            overrideStatus = updateThread.installOverrides();
            printLine("ostat = " + QByteArray::number(overrideStatus));
        } else {
            interactive = true;
            printLine("OVERRIDE directory found and is EMPTY - ignoring!");
            printLine("Continueing interactive install!");
        }
    }
    if (overrideStatus == 0 || overrideStatus == 1 || overrideStatus == OverrideRejected) {
        startupTimer.stop();
        onFinished();
    }
    if (updateThread.status == 2)
        showOverrideMessage();
    if (!interactive)
        return; // after any other code the next tick installs the overrides again: it is meant to
    startupTimer.stop();
    offerInteractiveUpdate();
}

/// Says why the overrides were not installed, where the script has said so, and goes on
/// interactively.
void MainWindow::showOverrideMessage()
{
    for (const OverrideMessage &message : overrideMessages) {
        if (message.overrideStatus != overrideStatus)
            continue;
        ui->messages->setText(QString::fromLatin1(message.text));
        ui->messageFrm->show();
        interactive = true;
    }
}

/// Enables what a user without a running update may touch; the rebuilding modes offer less.
void MainWindow::offerInteractiveUpdate()
{
    ui->USBbtn->setEnabled(true);
    if (!deadUsbRebuild && !goBackUpdate) {
        ui->pbuttonBackupSettings->setEnabled(true);
        ui->pbuttonBackupSettings->show();
        ui->lblUSBBackup->show();
    }
    enableMaintenance(true);
    printLine("BOARD Previously Flashed - Partition 2 already exists");
}

void MainWindow::checkBlankBoard()
{
    blankBoardProcess = newScriptProcess(parent());
    blankBoardExitCode
        = QProcess::execute(QString::fromLatin1(Program::probe),
                            {QStringLiteral("-al"), QStringLiteral("/dev/mmcblk0p2")});
    if (blankBoardExitCode != 0) {
        printLine("BLANK BOARD - Partition 2 does not exist");
        if (!updateDirExists()) {
            printLine("FAIL - Update directory does not exist");
            // the one text of its kind without a blank after "or"
            showUsbLabel(QStringLiteral("USB storage device or\n'update' directory \nnot found"));
            std::exit(1);
        }
        ui->usbLabel->hide();
        updateThread.setMode(BlankBoardRebuild);
        startUpdate();
    } else if (rebootUsbUpdate) {
        ui->update_title->setText(QStringLiteral("Reboot Update\nInitializing:"));
        printLine("BOARD Previously Flashed RB - Partition 2 already exists");
        startRebootUsbUpdate();
    } else if (autoUpdate) {
        ui->update_title->setText(QStringLiteral("Network Update\nInitializing:"));
        printLine("BOARD Previously Flashed AU - Partition 2 already exists");
        startAutoUpdate();
    } else {
        offerInteractiveUpdate();
    }
    sync();
}

/// Reached by nothing: the network update trusts its scripts to look.
void MainWindow::checkNetworkStorage()
{
    if (!networkStorageFound && directoryExists("/mnt/recovery")) {
        networkStorageFound = true;
        showUsbLabel(QStringLiteral("Network Update storage device found"));
    }
    recoveryDir.setFilter(QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot);
    const uint entries = recoveryDir.count();
    recoveryUpdateFound = entries == 3 && directoryExists("/mnt/recovery/update_files/update");
    interactive = false;
    if (recoveryUpdateFound) {
        showUsbLabel(QStringLiteral("'update' directory found in\nNetwork Update storage"));
    } else {
        printLine("Recovery directory structure not valid - " + QByteArray::number(entries));
    }
}
