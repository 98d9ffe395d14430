#include "tests/tools/exportscreen.h"

#include "tests/support/instrument.h"
#include "tests/support/screen.h"

#include <QDir>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QtTest>

const char exportText[] = "Export Data\nTo\nUSB Storage Device";
const char exportDescription[]
    = "<html><head/><body><p><span style=\" font-size:12pt;\">This will export the diagnostic "
      "&amp; log data .tgz file to<br>the root directory of an attached USB storage "
      "device.</span></p></body></html>";
static const char lostDescription[] = "USB storage device not found";
static const char foundText[] = "USB storage device found";
static const char compressing[] = "Compressing export data and\nwriting to USB storage device.";

// clang-format off
const ExportLook opened = {"", exportText, true, true, exportDescription};
const ExportLook checking = {"Checking for USB storage device", exportText, false, true, exportDescription};
const ExportLook found = {foundText, exportText, true, false, exportDescription};
const ExportLook available = {"USB storage device now available.\nClick BUTTON to continue.", exportText, true, false, exportDescription};
const ExportLook notFound = {"No USB storage device found.\nCheck your USB device and \nRETRY.", "RETRY", true, false, exportDescription};
const ExportLook exported = {compressing, exportText, false, false, exportDescription};
const ExportLook exportedAfterLoss = {compressing, exportText, false, false, lostDescription};
const ExportLook gone = {foundText, exportText, true, false, lostDescription};
// clang-format on

const QByteArray looking = "[sync]\n";
// The count is the one line that is not flushed: it comes out with the next one.
static const QByteArray asked = "In verify if USB is mounted\n[sync]\n[sync]\n";
static const QByteArray counted = "USB mountCount = [count]\n";
const QByteArray verified = asked + counted;
const QByteArray lost = "FAIL - USB storage device does not exist\n";
const QByteArray pressedInVain = "[sync]\nsaveData button - usb storage device NOT found\n";

QByteArray exporting(const QByteArray &code, bool called)
{
    return "[sync]\n" + asked + "[sync]\n" + counted
        + "USB STORAGE DEVICE FOUND - SAVE EXPORT DATA\n"
        + (called ? "/etc/update/utility_scripts/ExportFiles.sh\n" : "")
        + "Export file code = " + code + "\n\n[sync]\n";
}

QByteArray tickLine(int number, bool there)
{
    return "checkState time = " + QByteArray::number(number)
        + (there ? " - 1 - 1\n" : " - 0 - 0\n");
}

/// How many lines of the mount point's listing are not its empty total.
static int listedLines()
{
    QProcess list;
    list.start(QStringLiteral("/bin/ls"), {QStringLiteral("-l"), QStringLiteral("/media/usb0/")});
    list.waitForFinished();
    int count = 0;
    for (const QByteArray &line : list.readAllStandardOutput().split('\n'))
        count += line.isEmpty() || line.contains("total 0") ? 0 : 1;
    return count;
}

static QWidget *sized(QWidget *widget)
{
    widget->resize(1024, 600);
    return widget;
}

ExportScreen::ExportScreen()
    : screen(sized(&opener))
{
    screen.setModal(true);
    screen.show();
}

void findDevice(ExportScreen &screen)
{
    Instrument::plugStorageDevice();
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
    screen.quietTicks(opened, 5, 1, looking + verified);
    tick(screen.dialog());
    screen.expect(found, tickLine(6, true));
}

void findNothing(ExportScreen &screen)
{
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
    screen.quietTicks(opened, 5, 8, looking);
    screen.quietTicks(notFound, 13, 1, lost);
}

void ExportScreen::press() { touch(&screen, "pbuttonExportData"); }

void ExportScreen::expect(const ExportLook &look, QByteArray happened)
{
    const auto *status = screen.findChild<QLabel *>(QStringLiteral("labelUsb"));
    const auto *description = screen.findChild<QLabel *>(QStringLiteral("labelExportDataDesc"));
    const auto *button = screen.findChild<QPushButton *>(QStringLiteral("pbuttonExportData"));
    QCOMPARE(status->text(), QString::fromLatin1(look.status));
    QCOMPARE(description->text(), QString::fromLatin1(look.description));
    QCOMPARE(button->text(), QString::fromLatin1(look.button));
    QCOMPARE(button->isEnabled(), look.enabled);
    QCOMPARE(timerInterval(&screen), look.polling ? 1000 : -1);
    if (screen.isVisible()) {
        for (const QWidget *widget : screen.findChildren<QWidget *>())
            QVERIFY2(widget->isVisible(), qPrintable(widget->objectName()));
    }
    QCOMPARE(events.take(), happened.replace("[count]", QByteArray::number(listedLines())));
}

void ExportScreen::quietTicks(const ExportLook &look, int first, int count, const QByteArray &check)
{
    for (int number = first; number < first + count; ++number) {
        tick(&screen);
        expect(look, tickLine(number) + check);
        if (QTest::currentTestFailed())
            return;
    }
}
