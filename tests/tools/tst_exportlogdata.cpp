#include "tests/support/instrument.h"
#include "tests/support/screen.h"
#include "tests/tools/exportscreen.h"

#include <QtTest>

/// The export screen tick by tick and touch by touch.
class TestExportLogData : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void nothing();
    void deviceAppears_data();
    void deviceAppears();
    void whatCountsAsMounted_data();
    void whatCountsAsMounted();
    void pressDuringWarmUp_data();
    void pressDuringWarmUp();
    void pressDuringChecks_data();
    void pressDuringChecks();
    void retry();
    void otherTimersDoNotCount();
};

static const QString script = QStringLiteral("/etc/update/utility_scripts/ExportFiles.sh");

void TestExportLogData::init()
{
    Instrument::clear();
    Instrument::writeScript(script);
}

void TestExportLogData::nothing()
{
    ExportScreen screen;
    findNothing(screen);
}

void TestExportLogData::deviceAppears_data()
{
    QTest::addColumn<int>("appears"); // before this tick
    for (int appears = 1; appears <= 14; ++appears)
        QTest::addRow("before tick %d", appears) << appears;
}

void TestExportLogData::deviceAppears()
{
    QFETCH(int, appears);
    ExportScreen screen;
    screen.expect(opened, looking);
    const int seen = qMax(appears, 5);
    for (int now = 1; now <= 13; ++now) {
        if (now == appears)
            Instrument::plugStorageDevice();
        if (now == seen + 1) {
            tick(screen.dialog());
            screen.expect(found, tickLine(now, true));
            return;
        }
        QByteArray check;
        if (now >= 5 && now <= 12)
            check = now == seen ? looking + verified : looking;
        screen.quietTicks(now == 13 ? notFound : opened, now, 1, now == 13 ? lost : check);
        if (QTest::currentTestFailed())
            return;
    }
    QVERIFY(appears >= 13); // the thirteenth tick looks for nothing any more
}

void TestExportLogData::whatCountsAsMounted_data()
{
    QTest::addColumn<QByteArray>("made"); // by the shell
    QTest::addColumn<bool>("looksAtMount");
    QTest::addColumn<bool>("mounted");
    const auto row = [](const char *name, const char *made, bool looksAtMount, bool mounted) {
        QTest::newRow(name) << QByteArray(made) << looksAtMount << mounted;
    };
    row("nothing", "", false, false);
    row("mount without device", "mkdir /media/usb0/update", false, false);
    row("empty device", "mkdir /sys/class/block/sda", true, false);
    row("no mount point", "mkdir /sys/class/block/sda; rmdir /media/usb0", true, false);
    row("a file", "mkdir /sys/class/block/sda; echo log >/media/usb0/log.txt", true, true);
    row("a directory", "mkdir -p /sys/class/block/sda /media/usb0/update", true, true);
    row("several", "mkdir /sys/class/block/sda; touch /media/usb0/a /media/usb0/b", true, true);
    row("hidden file only", "mkdir /sys/class/block/sda; touch /media/usb0/.hidden", true, false);
    row("a name like the empty total", "mkdir /sys/class/block/sda; touch '/media/usb0/subtotal 0'",
        true, false);
    row("mount point is a file", "mkdir /sys/class/block/sda; rmdir /media/usb0; touch /media/usb0",
        true, false);
    row("not readable", "mkdir /sys/class/block/sda; touch /media/usb0/a; chmod 0 /media/usb0",
        true, false);
    row("device is a file", "touch /sys/class/block/sda /media/usb0/a", false, false);
    row("device as the kernel shows it",
        "mkdir /tmp/sda; ln -s /tmp/sda /sys/class/block/sda; touch /media/usb0/a", true, true);
    row("device link to nowhere", "ln -s /tmp/sda /sys/class/block/sda; touch /media/usb0/a", false,
        false);
    row("another device", "mkdir /sys/class/block/sda1 /sys/class/block/sdb; touch /media/usb0/a",
        false, false);
}

void TestExportLogData::whatCountsAsMounted()
{
    QFETCH(QByteArray, made);
    QFETCH(bool, looksAtMount);
    QFETCH(bool, mounted);
    Instrument::shell(made);
    ExportScreen screen;
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
    const QByteArray check = looksAtMount ? looking + verified : looking;
    screen.quietTicks(opened, 5, 1, check);
    if (mounted) {
        tick(screen.dialog());
        screen.expect(found, tickLine(6, true));
    } else {
        screen.quietTicks(opened, 6, 7, check);
        screen.quietTicks(notFound, 13, 1, lost);
    }
}

void TestExportLogData::pressDuringWarmUp_data()
{
    QTest::addColumn<int>("after"); // this tick
    QTest::addColumn<bool>("device");
    for (int after = 0; after <= 4; ++after) {
        QTest::addRow("after tick %d, nothing", after) << after << false;
        QTest::addRow("after tick %d, device", after) << after << true;
    }
}

// The poll goes on, and the fourth tick is as much warm-up as the first: nothing was looked for
// yet.
void TestExportLogData::pressDuringWarmUp()
{
    QFETCH(int, after);
    QFETCH(bool, device);
    if (device)
        Instrument::plugStorageDevice();
    ExportScreen screen;
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, after);
    screen.press();
    screen.expect(checking, pressedInVain);
    screen.quietTicks(checking, after + 1, 4 - after);
    if (device) {
        screen.quietTicks(checking, 5, 1, looking + verified);
        tick(screen.dialog());
        screen.expect(available, tickLine(6, true));
    } else {
        screen.quietTicks(checking, 5, 8, looking);
        screen.quietTicks(notFound, 13, 1, lost);
    }
    QCOMPARE(Instrument::calls().filter(script), QStringList());
}

void TestExportLogData::pressDuringChecks_data()
{
    QTest::addColumn<int>("after"); // this tick
    for (int after = 5; after <= 12; ++after)
        QTest::addRow("after tick %d", after) << after;
}

// Polling begins anew, and the counter with it.
void TestExportLogData::pressDuringChecks()
{
    QFETCH(int, after);
    ExportScreen screen;
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
    screen.quietTicks(opened, 5, after - 4, looking);
    screen.press();
    screen.expect(checking, pressedInVain + "[sync]\n");
    screen.quietTicks(checking, 1, 4);
    Instrument::plugStorageDevice();
    screen.quietTicks(checking, 5, 1, looking + verified);
    tick(screen.dialog());
    screen.expect(available, tickLine(6, true));
    screen.press();
    screen.expect(exported, exporting("0"));
}

void TestExportLogData::retry()
{
    ExportScreen screen;
    findNothing(screen);
    for (int round = 0; round < 2; ++round) {
        screen.press();
        screen.expect(checking, pressedInVain + "[sync]\n");
        screen.quietTicks(checking, 1, 4);
        screen.quietTicks(checking, 5, 8, looking);
        screen.quietTicks(notFound, 13, 1, lost);
    }
    Instrument::plugStorageDevice(); // is looked for only by the next round
    screen.press();
    screen.expect(checking, pressedInVain + "[sync]\n");
    screen.quietTicks(checking, 1, 4);
    screen.quietTicks(checking, 5, 1, looking + verified);
    tick(screen.dialog());
    screen.expect(available, tickLine(6, true));
}

void TestExportLogData::otherTimersDoNotCount()
{
    ExportScreen screen;
    screen.expect(opened, looking);
    for (int i = 0; i < 20; ++i) {
        QTimerEvent event(screen.dialog()->startTimer(1000000));
        screen.dialog()->killTimer(event.timerId());
        QCoreApplication::sendEvent(screen.dialog(), &event);
    }
    screen.expect(opened, {});
    screen.quietTicks(opened, 1, 4);
}

QTEST_MAIN(TestExportLogData)
#include "tst_exportlogdata.moc"
