#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/tools/exportscreen.h"

#include <QFile>
#include <QtTest>

/// What the export's button does once there is a device, and what comes of closing the screen.
class TestExportButton : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void pressBeforeTheAnnouncement();
    void exportCodes_data();
    void exportCodes();
    void goneAndBack();
    void closing_data();
    void closing();
};

static const QString script = QStringLiteral("/etc/update/utility_scripts/ExportFiles.sh");

void TestExportButton::init()
{
    Instrument::clear();
    Instrument::writeScript(script);
}

// A press between the successful look and its announcement exports at once; the announcement then
// comes over the status line and gives the button back.
void TestExportButton::pressBeforeTheAnnouncement()
{
    Instrument::plugStorageDevice();
    ExportScreen screen;
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
    screen.quietTicks(opened, 5, 1, looking + verified);
    screen.press();
    ExportLook early = exported;
    early.polling = true;
    screen.expect(early, exporting("0"));
    tick(screen.dialog());
    screen.expect(available, tickLine(6, true));
}

void TestExportButton::exportCodes_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("code");
    QTest::newRow("succeeds") << QByteArray() << QByteArray("0");
    QTest::newRow("fails") << QByteArray("exit 3") << QByteArray("3");
    QTest::newRow("is killed") << QByteArray("kill -9 $$") << QByteArray("9");
    QTest::newRow("is missing") << QByteArray("missing") << QByteArray("255");
    QTest::newRow("takes its time") << QByteArray("sleep 0.3; exit 2") << QByteArray("2");
    QTest::newRow("talks") << QByteArray(
        "head -c 50000000 /dev/zero; head -c 50000000 /dev/zero >&2; echo over")
                           << QByteArray("0");
}

void TestExportButton::exportCodes()
{
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, code);
    Instrument::writeScript(script, body);
    if (body == "missing")
        QFile::remove(script);
    ExportScreen screen;
    findDevice(screen);
    screen.press();
    screen.expect(exported, exporting(code, body != "missing"));
    QVERIFY(screen.dialog()->isVisible());
}

void TestExportButton::goneAndBack()
{
    ExportScreen screen;
    findDevice(screen);
    const QByteArray goneAgain = "[sync]\n" + verified + "usb button - update dir does not exist\n";
    Instrument::shell("rm -r /media/usb0/update"); // the device itself is not looked for
    screen.press();
    screen.expect(gone, goneAgain);
    Instrument::unplugStorageDevice();
    screen.press();
    screen.expect(gone, goneAgain);
    Instrument::shell("touch /media/usb0/back");
    screen.press();
    screen.expect(exportedAfterLoss, exporting("0"));
}

using Close = void (*)(QDialog *dialog);
Q_DECLARE_METATYPE(Close)

void TestExportButton::closing_data()
{
    QTest::addColumn<Close>("close");
    QTest::addColumn<bool>("stopsPolling"); // only "Done" does
    const auto row = [](const char *name, Close close, bool stopsPolling) {
        QTest::newRow(name) << close << stopsPolling;
    };
    row(
        "Done", [](QDialog *dialog) { touch(dialog, "pbuttonBackToUtils"); }, true);
    row(
        "Escape", [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); }, false);
    row(
        "window manager", [](QDialog *dialog) { closeByWindowManager(dialog); }, false);
}

static void warmingUp(ExportScreen &screen) { screen.expect(opened, looking); }

static void waitingAfterPress(ExportScreen &screen)
{
    warmingUp(screen);
    screen.press();
    screen.expect(checking, pressedInVain);
}

static void exportingDone(ExportScreen &screen)
{
    findDevice(screen);
    screen.press();
    screen.expect(exported, exporting("0"));
}

void TestExportButton::closing()
{
    QFETCH(Close, close);
    QFETCH(bool, stopsPolling);
    struct State
    {
        void (*reach)(ExportScreen &screen);
        ExportLook look;
    };
    const State states[] = {{warmingUp, opened},
                            {waitingAfterPress, checking},
                            {findNothing, notFound},
                            {findDevice, found},
                            {exportingDone, exported}};
    for (State state : states) {
        init();
        ExportScreen screen;
        state.reach(screen);
        close(screen.dialog());
        QVERIFY(!screen.dialog()->isVisible());
        state.look.polling = state.look.polling && !stopsPolling;
        screen.expect(state.look, {});
        if (state.look.polling)
            screen.quietTicks(state.look, 1, 1);
        if (QTest::currentTestFailed())
            return;
    }
}

QTEST_MAIN(TestExportButton)
#include "tst_exportbutton.moc"
