#include "tools/exportlogdata.h"

#include "common/common.h"
#include "common/programs.h"
#include "common/scriptrunner.h"
#include "ui_exportlogdata.h"

#include <QDir>
#include <QTimerEvent>

#include <cstdio>

#include <unistd.h>

// The storage device is given a few ticks to settle, then looked for on eight.
static constexpr int settlingTicks = 3;
static constexpr int lastLookingTick = 12;

/// A pipe that could not be opened is closed like any other; only pclose() itself must not see it,
/// since the C library crashes on a null stream.
static void closePipe(FILE *pipe)
{
    if (pipe)
        pclose(pipe);
}

ExportLogData::ExportLogData(QWidget *opener)
    : ui(new Ui::ExportLogData)
{
    ui->setupUi(this);
    setFixedSize(opener->width(), opener->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));
    showStatus(QString());
    startUsbPolling();
}

ExportLogData::~ExportLogData()
{
    pollTimer.stop();
    delete ui;
}

void ExportLogData::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != pollTimer.timerId())
        return;
    ++pollTicks;
    checkState();
}

void ExportLogData::startUsbPolling()
{
    pollTicks = 0;
    pollArmed = false;
    pollProbed = false;
    usbMounted = false;
    usbPresent = false;
    pollTimer.start(1000, this);
    sync();
}

void ExportLogData::checkState()
{
    printLine("checkState time = " + QByteArray::number(pollTicks) + " - "
              + QByteArray::number(usbPresent ? 1 : 0) + " - "
              + QByteArray::number(usbMounted ? 1 : 0));
    if (usbMounted) {
        pollTimer.stop();
        showUsbAvailable();
    } else if (!pollArmed) {
        pollArmed = pollTicks > settlingTicks;
    } else if (pollTicks <= lastLookingTick) {
        checkForUsb();
    } else {
        pollTimer.stop();
        showUsbNotFound();
    }
}

void ExportLogData::checkForUsb()
{
    pollProbed = true;
    sync();
    if (usbPresent)
        return;
    if (QDir(QStringLiteral("/sys/class/block/sda")).exists() && verifyUsbMounted()) {
        usbMounted = true;
        usbPresent = true;
    }
}

bool ExportLogData::verifyUsbMounted()
{
    printLine("In verify if USB is mounted");
    const QByteArray command = QByteArray(Program::list) + " -l /media/usb0/ | " + Program::filter
        + " -c -v \"total 0\" ";
    FILE *pipe = popen(command.constData(), "r");
    sync();
    int count = 0;
    if (pipe) {
        const int converted = std::fscanf(pipe, "%d", &count);
        std::printf("USB mountCount = %d\n", count); // goes out with the next line
        if (converted != 1)
            count = 0;
    } else {
        printLine("Failed to run 'ls' or 'grep' command.\n");
    }
    closePipe(pipe);
    sync();
    return count != 0;
}

void ExportLogData::showUsbAvailable()
{
    // it is disabled when the user has asked for the export while there was no device
    showStatus(
        ui->pbuttonExportData->isEnabled()
            ? QStringLiteral("USB storage device found")
            : QStringLiteral("USB storage device now available.\nClick BUTTON to continue."));
    ui->pbuttonExportData->setEnabled(true);
}

void ExportLogData::showUsbNotFound()
{
    if (usbPresent) { // never so while polling stops as soon as it has a device
        // log filters know this spelling
        if (!verifyUsbMounted())
            printLine("FAIL - USB stroage device mount point does not exist");
        return;
    }
    printLine("FAIL - USB storage device does not exist");
    showStatus(QStringLiteral("No USB storage device found.\nCheck your USB device and \nRETRY."));
    ui->pbuttonExportData->setText(QStringLiteral("RETRY"));
    ui->pbuttonExportData->setEnabled(true);
}

void ExportLogData::on_pbuttonBackToUtils_clicked()
{
    pollTimer.stop();
    close();
}

void ExportLogData::on_pbuttonExportData_clicked()
{
    sync();
    if (!usbPresent) {
        lookForUsb();
    } else if (!verifyUsbMounted()) {
        printLine("usb button - update dir does not exist");
        // not into the status line: what the screen promises is what no longer holds
        ui->labelExportDataDesc->setText(QStringLiteral("USB storage device not found"));
        ui->labelExportDataDesc->show();
        ui->pbuttonExportData->setEnabled(true);
    } else {
        saveExportData();
    }
}

void ExportLogData::lookForUsb()
{
    printLine("saveData button - usb storage device NOT found");
    if (pollProbed)
        ui->pbuttonExportData->setText(QStringLiteral("Export Data\nTo\nUSB Storage Device"));
    showStatus(QStringLiteral("Checking for USB storage device"));
    ui->pbuttonExportData->setEnabled(false);
    if (pollProbed)
        startUsbPolling(); // before the first look the poll that runs just goes on
}

void ExportLogData::saveExportData()
{
    ui->pbuttonExportData->setEnabled(false);
    ui->pbuttonExportData->show();
    sync();
    printLine("USB STORAGE DEVICE FOUND - SAVE EXPORT DATA");
    showStatus(QStringLiteral("Compressing export data and\nwriting to USB storage device."));
    const int exitCode
        = runScript(newScriptProcess(parent()), QString::fromLatin1(UtilityScript::exportFiles));
    printExitCode("Export file code = ", exitCode);
    printLine("");
    sync();
}

void ExportLogData::showStatus(const QString &text)
{
    ui->labelUsb->setText(text);
    ui->labelUsb->show();
}
