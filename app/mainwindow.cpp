#include "app/mainwindow.h"

#include "app/commandline.h"
#include "common/common.h"
#include "common/programs.h"
#include "common/scriptrunner.h"
#include "tools/utilities.h"
#include "ui_mainwindow.h"
#include "versions/changeversionpartition.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QScreen>

// The window itself, and an update from its start to its end. How the window finds out which update
// to start is startup.cpp.

const MainWindow::Failure MainWindow::updateDirGone
    = {"usb button - update dir does not exist",
       "USB storage device or \n'update' directory \nnot found", "Initialization:\nFAILED"};
const MainWindow::Failure MainWindow::updateDirGoneAfterReboot
    = {"usb button RB - update dir does not exist",
       "USB storage device or \n'update' directory \nnot found", "RB Initialization:\nFAILED"};

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , progressPrefix(QStringLiteral("This will take a few minutes."))
    , restoreOffText(QStringLiteral("<html><head/><body>Restore Settings<br>After Install<br>"
                                    "<b>Not Enabled</b></body></html>"))
    , restoreOnText(QStringLiteral("<html><head/><body>Restore Settings<br>After Install<br>"
                                   "<b>Enabled</b></body></html>"))
    , ui(new Ui::MainWindow)
{
    readCommandLine();
    ui->setupUi(this);

    const std::initializer_list<QWidget *> shownLater
        = {ui->progressBar,    ui->usbLabel,   ui->progressMsg,           ui->ETHbtn,
           ui->version_number, ui->messageFrm, ui->pbuttonBackupSettings, ui->lblUSBBackup};
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

void MainWindow::readCommandLine()
{
    QCommandLineParser parser;
    processCommandLine(parser);
    rebootUsbUpdate = parser.isSet(QStringLiteral("rebootusbupdate"));
    autoUpdate = parser.isSet(QStringLiteral("autoupdate"));
    goBackUpdate = parser.isSet(QStringLiteral("gobackupdate"));
    deadUsbRebuild = parser.isSet(QStringLiteral("deadusbrebuild"));
}

/// Leaves the version for the instrument's other programs and scripts, without a line break.
void MainWindow::publishBootloaderVersion()
{
    bootloaderProcess = newScriptProcess(parent());
    runScript(
        bootloaderProcess, QString::fromLatin1(Program::shell),
        {QStringLiteral("-c"),
         QString::fromLatin1("echo -n " + bootloaderVersion + " > /tmp/runningbootloaderversion")});
    printLine("");
    printLine("Current bootloader version = " + bootloaderVersion);
    printLine("");
}

void MainWindow::on_USBbtn_clicked()
{
    if (!usbDeviceFound) {
        printLine("usb button - usb device NOT found");
        ui->update_title->setText(QStringLiteral("Initializing:"));
        initialise();
    } else if (!updateDirExists()) {
        report(updateDirGone);
        ui->USBbtn->setEnabled(false);
        ui->pbuttonBackupSettings->setEnabled(false);
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
        report(updateDirGoneAfterReboot);
        ui->USBbtn->setEnabled(false);
        ui->pbuttonBackupSettings->setEnabled(false);
        ui->pbuttonUtils->setEnabled(false);
    } else {
        startUpdateInMode(UsbUpdate);
    }
}

void MainWindow::startAutoUpdate()
{
    if (usbDeviceFound) {
        if (!updateDirExists()) {
            report(updateDirGone);
            ui->USBbtn->setEnabled(false);
            ui->pbuttonBackupSettings->setEnabled(false);
            enableMaintenance(false);
            return;
        }
        startUpdateInMode(UsbUpdate); // and on: the second start leaves a running thread alone
    }
    printLine("starting - Network Update");
    startUpdateInMode(NetworkUpdate);
}

void MainWindow::startUpdateInMode(UpdateMode mode)
{
    ui->messageFrm->hide();
    ui->usbLabel->hide();
    updateThread.setMode(mode);
    startUpdate();
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

void MainWindow::onProgressChanged(int value, const QString &text)
{
    ui->progressBar->setValue(value);
    ui->progressMsg->setText(progressPrefix + QLatin1Char('\n') + text);
    ui->progressMsg->show();
    printLine(text.toUtf8());
}

void MainWindow::setTitle(const QString &title)
{
    ui->update_title->setText(title);
    ui->update_title->show();
}

void MainWindow::onFinished()
{
    if (updateThread.status == 1) {
        ui->update_title->show();
        if (overrideStatus == OverrideRejected) {
            showUsbLabel(
                QStringLiteral("See 'update/update_override.log' on\nUSB storage device for\n"
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

void MainWindow::report(const Failure &failure)
{
    printLine(failure.print);
    showUsbLabel(QString::fromLatin1(failure.label));
    ui->update_title->setText(QString::fromLatin1(failure.title));
}
