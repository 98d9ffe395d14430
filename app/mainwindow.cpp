#include "app/mainwindow.h"

#include "app/common.h"
#include "app/scriptrunner.h"
#include "tools/utilities.h"
#include "ui_mainwindow.h"
#include "versions/changeversionpartition.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QProcess>
#include <QScreen>
#include <QTimerEvent>

#include <cstdlib>

#include <unistd.h>

namespace {

constexpr QLatin1String usbDevicePath("/sys/class/block/sda");
constexpr QLatin1String updatePath("/media/usb0/update");
constexpr QLatin1String overridePath("/media/usb0/update/OVERRIDE");

// The storage device is given a few ticks to settle, then looked for on eight.
constexpr int settlingTicks = 3;
constexpr int lastLookingTick = 12;

// What overrideStatus says besides the override script's own codes.
constexpr int overrideRejected = 98;
constexpr int overrideNotRun = 99;

/// The values of UpdateThread::setMode() that this window chooses.
enum Mode {
    UsbUpdate = 0,
    EthernetUpdate = 1,
    BlankBoardRebuild = 2,
    NetworkUpdate = 3,
    UsbUpdateKeepingSettings = 4,
};

struct Option
{
    const char *name;
    const char *description;
};

// "usbupdate" is what the program does anyway: it is accepted, and nothing asks for it.
constexpr Option options[] = {
    { "autoupdate", "Run teskupdater in Auto Update mode." },
    { "usbupdate", "Run teskupdater in USB Update mode." },
    { "rebootusbupdate", "Run teskupdater in Rebooted USB Update mode." },
    { "gobackupdate", "Run teskupdater in Go Back Update mode." },
    { "deadusbrebuild", "Run teskupdater in Dead System USB Rebuild mode." },
};

/// What the override script's exit code means to the user when nothing was installed.
struct OverrideMessage
{
    int overrideStatus;
    const char *text;
};

constexpr OverrideMessage overrideMessages[] = {
    { 1, "Override Matches Existing Display Setting\n\nContinueing with normal install mode." },
    { 2,
      "Override Combination Invalid\n============================\n"
      "Only one Sizexx or SizeClear may be present at a time.\n" },
};

bool updateDirExists()
{
    return QDir(updatePath).exists();
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , progressPrefix(QStringLiteral("This will take a few minutes."))
    , restoreOffText(QStringLiteral("<html><head/><body>Restore Settings<br>After Install<br>"
                                    "<b>Not Enabled</b></body></html>"))
    , restoreOnText(QStringLiteral("<html><head/><body>Restore Settings<br>After Install<br>"
                                   "<b>Enabled</b></body></html>"))
    , ui(new Ui::MainWindow)
{
    processCommandLine();
    ui->setupUi(this);

    const std::initializer_list<QWidget *> shownLater
        = { ui->progressBar, ui->usbLabel, ui->progressMsg, ui->ETHbtn,
            ui->version_number, ui->messageFrm, ui->pbuttonBackupSettings, ui->lblUSBBackup };
    for (QWidget *widget : shownLater)
        widget->hide();
    if (deadUsbRebuild || goBackUpdate) {
        ui->pbuttonUtils->hide();
        ui->pbuttonVersions->hide();
    }

    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    setFixedSize(screen.width(), screen.height());
    publishBootloaderVersion();
    initialise();
}

MainWindow::~MainWindow()
{
    startupTimer.stop();
    delete ui;
}

void MainWindow::processCommandLine()
{
    QCoreApplication::setApplicationName(QStringLiteral("teskupdater"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(bootloaderVersion));

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    for (const Option &option : options)
        parser.addOption({ QString::fromLatin1(option.name), QString::fromLatin1(option.description) });
    parser.process(QCoreApplication::arguments());

    rebootUsbUpdate = parser.isSet(QStringLiteral("rebootusbupdate"));
    autoUpdate = parser.isSet(QStringLiteral("autoupdate"));
    goBackUpdate = parser.isSet(QStringLiteral("gobackupdate"));
    deadUsbRebuild = parser.isSet(QStringLiteral("deadusbrebuild"));
}

/// Leaves the version for the instrument's other programs and scripts, without a line break.
void MainWindow::publishBootloaderVersion()
{
    bootloaderProcess = newScriptProcess(parent());
    runScript(bootloaderProcess, QStringLiteral("/bin/sh"),
              { QStringLiteral("-c"),
                QString::fromLatin1("echo -n " + bootloaderVersion
                                    + " > /tmp/runningbootloaderversion") });
    printLine("");
    printLine("Current bootloader version = " + bootloaderVersion);
    printLine("");
}

void MainWindow::initialise()
{
    ui->version_number->setText(QStringLiteral("Bootloader:\n") + QString::fromLatin1(bootloaderVersion));
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
    overrideStatus = overrideNotRun;

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

void MainWindow::checkUsbStorage()
{
    if (!usbDeviceFound && QDir(usbDevicePath).exists()) {
        usbDeviceFound = true;
        showUsbLabel(QStringLiteral("USB storage device found"));
    }
    if (!updateDirExists())
        return;

    updateDirFound = true;
    overrideDir.setPath(overridePath);
    if (overrideDir.exists())
        examineOverrides();
    showUsbLabel(QStringLiteral("'update' directory found on\nUSB storage device"));
    ui->update_title->setText(QStringLiteral("Initialization:\nCompleted"));
}

void MainWindow::examineOverrides()
{
    overrideExists = true;
    overrideDir.setFilter(QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot);
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
        printLine("FAIL - Update directory does not exist");
        showUsbLabel(QStringLiteral("'update' directory NOT found on\nUSB storage device"));
        ui->update_title->setText(QStringLiteral("Initialization:\nFAILED"));
    } else {
        printLine("FAIL - USB storage device does not exist");
        showUsbLabel(QStringLiteral("No USB storage device found.\nCheck your USB device and \nRETRY."));
        ui->update_title->setText(QStringLiteral("Initialization:\nFAILED"));
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
    if (overrideStatus == 0 || overrideStatus == 1 || overrideStatus == overrideRejected) {
        startupTimer.stop();
        onFinished();
    }
    if (updateThread.status == 2)
        showOverrideMessage();
    if (!interactive)
        return; // after any other code the next tick installs the overrides once more: it is meant to
    startupTimer.stop();
    offerInteractiveUpdate();
}

/// Says why the overrides were not installed, where the script has said so, and goes on interactively.
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
    blankBoardExitCode = QProcess::execute(
        QStringLiteral("ls"), { QStringLiteral("-al"), QStringLiteral("/dev/mmcblk0p2") });
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

void MainWindow::on_USBbtn_clicked()
{
    if (!usbDeviceFound) {
        printLine("usb button - usb device NOT found");
        ui->update_title->setText(QStringLiteral("Initializing:"));
        initialise();
    } else if (!updateDirExists()) {
        reportUpdateDirMissing("usb button - update dir does not exist",
                               QStringLiteral("Initialization:\nFAILED"));
    } else {
        ui->messageFrm->hide();
        ui->usbLabel->setEnabled(false);
        ui->lblUSBBackup->setEnabled(false);
        updateThread.setMode(restoreSettings == 1 ? UsbUpdateKeepingSettings : UsbUpdate);
        startUpdate();
    }
}

void MainWindow::startRebootUsbUpdate()
{
    if (!usbDeviceFound) {
        printLine("usb reboot- usb device NOT found");
        ui->update_title->setText(QStringLiteral("RB Initializing:"));
        initialise();
    } else if (!updateDirExists()) {
        reportUpdateDirMissing("usb button RB - update dir does not exist",
                               QStringLiteral("RB Initialization:\nFAILED"));
        ui->pbuttonUtils->setEnabled(false);
    } else {
        startUpdateInMode(UsbUpdate);
    }
}

void MainWindow::startAutoUpdate()
{
    if (usbDeviceFound) {
        if (!updateDirExists()) {
            reportUpdateDirMissing("usb button - update dir does not exist",
                                   QStringLiteral("Initialization:\nFAILED"));
            enableMaintenance(false);
            return;
        }
        startUpdateInMode(UsbUpdate); // and on: the second start below leaves a running thread alone
    }
    printLine("starting - Network Update");
    startUpdateInMode(NetworkUpdate);
}

void MainWindow::startUpdateInMode(int mode)
{
    ui->messageFrm->hide();
    ui->usbLabel->hide();
    updateThread.setMode(mode);
    startUpdate();
}

/// The storage device is there, its update directory is not (any more).
void MainWindow::reportUpdateDirMissing(const QByteArray &line, const QString &title)
{
    printLine(line);
    showUsbLabel(QStringLiteral("USB storage device or \n'update' directory \nnot found"));
    ui->update_title->setText(title);
    ui->USBbtn->setEnabled(false);
    ui->pbuttonBackupSettings->setEnabled(false);
}

void MainWindow::on_ETHbtn_clicked()
{
    updateThread.setMode(EthernetUpdate);
    startUpdate();
}

void MainWindow::startUpdate()
{
    connect(&updateThread, SIGNAL(progressChanged(int, QString)), this,
            SLOT(onProgressChanged(int, QString)));
    connect(&updateThread, SIGNAL(titleChanged(QString)), this, SLOT(setTitle(QString)));
    connect(&updateThread, SIGNAL(finished()), this, SLOT(onFinished()));

    ui->USBbtn->setEnabled(false);
    ui->pbuttonBackupSettings->setEnabled(false);
    enableMaintenance(false);
    ui->ETHbtn->hide();

    printLine("");
    printLine("Update in progress");
    ui->progressMsg->setText(progressPrefix);
    ui->progressMsg->show();
    ui->progressBar->show();
    updateThread.start(QThread::InheritPriority);
}

void MainWindow::onProgressChanged(int value, QString text)
{
    ui->progressBar->setValue(value);
    ui->progressMsg->setText(progressPrefix + QLatin1Char('\n') + text);
    ui->progressMsg->show();
    printLine(text.toUtf8());
}

void MainWindow::setTitle(QString title)
{
    ui->update_title->setText(title);
    ui->update_title->show();
}

void MainWindow::onFinished()
{
    if (updateThread.status == 1) {
        ui->update_title->show();
        if (overrideStatus == overrideRejected) {
            showUsbLabel(QStringLiteral("See 'update/update_override.log' on\nUSB storage device for\n"
                                        "explanation of failure!"));
            enableMaintenance(true);
        } else if (autoUpdate) {
            showUsbLabel(QStringLiteral("See 'update/update.log' in\nRECOVERY update for\n"
                                        "explanation of failure!"));
        } else {
            showUsbLabel(QStringLiteral("See 'update/update.log' on\nUSB storage device for\n"
                                        "explanation of failure!"));
            enableMaintenance(true);
        }
    }
    printLine("FINISHED");
}

void MainWindow::on_pbuttonBackupSettings_clicked()
{
    const bool keep = ui->pbuttonBackupSettings->isChecked();
    ui->lblUSBBackup->setText(keep ? restoreOnText : restoreOffText);
    ui->lblUSBBackup->show();
    ui->pbuttonBackupSettings->setStyleSheet(
        keep ? QStringLiteral("QPushButton{background-color:gray}")
             : QStringLiteral("QPushButton{background-color:QPalette::Button}"));
    restoreSettings = keep ? 1 : 0;
}

void MainWindow::on_pbuttonUtils_clicked()
{
    // A menu opened before stays as it is: its "Done" closes it, and nothing deletes it.
    utilitiesDialog = new Utilities(this);
    utilitiesDialog->setWindowFlags(Qt::Window);
    utilitiesDialog->show();
}

void MainWindow::on_pbuttonVersions_clicked()
{
    auto *versions = new ChangeVersionPartition(this); // shows only, since this is the main window
    versions->setModal(true);
    versions->show();
}

/// Reached by nothing: the network update trusts its scripts to look.
void MainWindow::checkNetworkStorage()
{
    if (!networkStorageFound && QDir(QStringLiteral("/mnt/recovery")).exists()) {
        networkStorageFound = true;
        showUsbLabel(QStringLiteral("Network Update storage device found"));
    }
    recoveryDir.setFilter(QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot);
    const uint entries = recoveryDir.count();
    recoveryUpdateFound
        = entries == 3 && QDir(QStringLiteral("/mnt/recovery/update_files/update")).exists();
    interactive = false;
    if (recoveryUpdateFound) {
        showUsbLabel(QStringLiteral("'update' directory found in\nNetwork Update storage"));
    } else {
        printLine("Recovery directory structure not valid - " + QByteArray::number(entries));
    }
}

void MainWindow::showUsbLabel(const QString &text)
{
    ui->usbLabel->setText(text);
    ui->usbLabel->show();
}

/// The two buttons that leave the update flow.
void MainWindow::enableMaintenance(bool enabled)
{
    ui->pbuttonUtils->setEnabled(enabled);
    ui->pbuttonVersions->setEnabled(enabled);
}
