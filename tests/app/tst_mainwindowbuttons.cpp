#include "tests/app/updaterun.h"
#include "tests/app/walk.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

#include <QAbstractButton>

/// What a touch of each button does.
class TestMainWindowButtons : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void usb_data();
    void usb();
    void usbWithTheDirectoryGone_data();
    void usbWithTheDirectoryGone();
    void usbWithoutDevice();
    void restoreSettings();
    void retryForgetsToRestoreSettings_data();
    void retryForgetsToRestoreSettings();
    void touchesBeforeTheirTime();
    void ethernet();
    void startTakesOldMessagesAway();
    void messagesTwiceAfterASecondStart();
};

void TestMainWindowButtons::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

static Moment touchedOn()
{
    return touched("pbuttonBackupSettings",
                   {{"toggle", "down, QPushButton{background-color:gray}"},
                    {"lblUSBBackup", "shown, enabled: " + restoreOn}},
                   {}, stopped);
}

static Moment touchedOff()
{
    return touched("pbuttonBackupSettings",
                   {{"toggle", "up, QPushButton{background-color:QPalette::Button}"},
                    {"lblUSBBackup", "shown, enabled: " + restoreOff}},
                   {}, stopped);
}

/// From the start to the buttons.
static Moments offer(const Screen &offeredNow = offered)
{
    return {ticks(4), ticks(1, directoryFound),
            ticks(1, offeredNow,
                  "[ls]\nBOARD Previously Flashed - Partition 2 already exists\n[sync]\n",
                  stopped)};
}

void TestMainWindowButtons::usb_data()
{
    QTest::addColumn<int>("touchesOfRestore");
    QTest::addColumn<int>("mode");
    QTest::newRow("untouched") << 0 << 0;
    QTest::newRow("on") << 1 << 4;
    QTest::newRow("on and off") << 2 << 0;
    QTest::newRow("on, off and on") << 3 << 4;
}

void TestMainWindowButtons::usb()
{
    QFETCH(int, touchesOfRestore);
    QFETCH(int, mode);
    Instrument::plugStorageDevice();
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offer());
    for (int i = 0; i < touchesOfRestore; ++i)
        walk(screen, {i % 2 == 0 ? touchedOn() : touchedOff()});

    Screen begun = updating + usbTouched;
    begun["lblUSBBackup"] = "shown, disabled: " + (mode == 4 ? restoreOn : restoreOff);
    walk(screen, {touched("USBbtn", begun, "\nUpdate in progress\n", stopped)});
    expectUpdate(screen, mode);
    screen.expect(title("USB Update\nin progress...")
                      + Screen {{"progressMsg",
                                 "shown, enabled: This will take a few minutes.\nUpdate "
                                 "Successful, rebooting"},
                                {"progressBar", "shown, enabled: 100"}},
                  {}, stopped);
}

void TestMainWindowButtons::usbWithTheDirectoryGone_data()
{
    QTest::addColumn<bool>("restore");
    QTest::newRow("untouched") << false;
    QTest::newRow("settings to be restored") << true;
}

void TestMainWindowButtons::usbWithTheDirectoryGone()
{
    QFETCH(bool, restore);
    Instrument::plugStorageDevice();
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offer());
    if (restore)
        walk(screen, {touchedOn()});
    Instrument::unplugStorageDevice();
    walk(screen,
         {touched("USBbtn",
                  title("Initialization:\nFAILED")
                      + Screen {{"usbLabel",
                                 "shown, enabled: USB storage device or \n'update' directory "
                                 "\nnot found"},
                                {"USBbtn", "shown, disabled: USB"},
                                {"pbuttonBackupSettings", "shown, disabled: >>|<<"}},
                  "usb button - update dir does not exist\n", stopped)});
    QCOMPARE(Instrument::calls(), QStringList());
}

static Moment touchedWithoutDevice()
{
    return touched("USBbtn",
                   checkingAgain + title("Initializing:")
                       + Screen {{"pbuttonBackupSettings", "shown, disabled: >>|<<"},
                                 {"lblUSBBackup", "shown, enabled: " + restoreOff}},
                   "usb button - usb device NOT found\n[sync]\n", runs);
}

// A stick that shows its files and not itself is detected, and is still none to update from.
void TestMainWindowButtons::usbWithoutDevice()
{
    QDir().mkpath(QStringLiteral("/media/usb0/update"));
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offer());
    walk(screen, {touchedWithoutDevice()});
    walk(screen, offer());
    Instrument::plugStorageDevice();
    walk(screen, {touchedWithoutDevice()}); // it was not there when it was looked for
    walk(screen, offer());
    walk(screen, {touched("USBbtn", updating + usbTouched, "\nUpdate in progress\n", stopped)});
    expectUpdate(screen, 0);
}

void TestMainWindowButtons::restoreSettings()
{
    Instrument::plugStorageDevice();
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offer());
    walk(screen, {touchedOn(), touchedOff(), touchedOn(), touchedOff()});
    QCOMPARE(Instrument::calls(), QStringList());
}

void TestMainWindowButtons::retryForgetsToRestoreSettings_data()
{
    QTest::addColumn<int>("touchesAfterwards");
    QTest::addColumn<int>("mode");
    QTest::newRow("untouched") << 0 << 0;
    QTest::newRow("released") << 1 << 0;
    QTest::newRow("chosen again") << 2 << 4;
}

// The button stays down when detection begins anew, while the choice is taken back: the next touch
// releases it, and only the one after that chooses again.
void TestMainWindowButtons::retryForgetsToRestoreSettings()
{
    QFETCH(int, touchesAfterwards);
    QFETCH(int, mode);
    QDir().mkpath(QStringLiteral("/media/usb0/update"));
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offer());
    walk(screen, {touchedOn()});
    Instrument::plugStorageDevice();
    walk(screen, {touchedWithoutDevice()});
    walk(screen, offer());
    walk(screen, Moments {touchedOff(), touchedOn()}.mid(0, touchesAfterwards));
    Screen begun = updating + usbTouched;
    begun["lblUSBBackup"] = "shown, disabled: " + (mode == 4 ? restoreOn : restoreOff);
    walk(screen, {touched("USBbtn", begun, "\nUpdate in progress\n", stopped)});
    expectUpdate(screen, mode);
}

void TestMainWindowButtons::touchesBeforeTheirTime()
{
    Instrument::plugStorageDevice();
    MainScreen screen;
    screen.expect({}, startPrints);
    for (int now = 1; now <= 5; ++now) {
        for (auto *button : screen.window()->findChildren<QAbstractButton *>())
            QTest::mouseClick(button, Qt::LeftButton);
        walk(screen, {ticks(1, now == 5 ? directoryFound : Screen())});
    }
    for (auto *button : screen.window()->findChildren<QAbstractButton *>())
        QTest::mouseClick(button, Qt::LeftButton);
    walk(screen, Moments {offer().last()});
}

/// What the button that nothing shows brings after a start-up without a stick.
static Screen startedByEthernet()
{
    return updating
        + Screen {{"USBbtn", "shown, disabled: RETRY"},
                  {"pbuttonUtils", "shown, disabled: Support\nTools"},
                  {"pbuttonVersions", "shown, disabled: Versions"}};
}

static void startByEthernet(MainScreen &screen, int times)
{
    screen.expect({}, startPrints);
    walk(screen,
         {ticks(12), ticks(1, noDevice, "FAIL - USB storage device does not exist\n", stopped)});
    for (int i = 0; i < times; ++i)
        QMetaObject::invokeMethod(screen.window(), "on_ETHbtn_clicked");
    screen.expect(startedByEthernet(), QByteArray("\nUpdate in progress\n").repeated(times),
                  stopped);
}

void TestMainWindowButtons::ethernet()
{
    MainScreen screen;
    startByEthernet(screen, 1);
    expectUpdate(screen, 1);
}

void TestMainWindowButtons::startTakesOldMessagesAway()
{
    MainScreen screen;
    tick(screen.window(), 13);
    QMetaObject::invokeMethod(screen.window(), "onProgressChanged", Q_ARG(int, 24),
                              Q_ARG(QString, QStringLiteral("left over")));
    screen.takePrints();
    QMetaObject::invokeMethod(screen.window(), "on_ETHbtn_clicked");
    screen.expect(noDevice + startedByEthernet(), "\nUpdate in progress\n", stopped);
}

// Each start connects the thread once more, and the running one goes on.
void TestMainWindowButtons::messagesTwiceAfterASecondStart()
{
    MainScreen screen;
    startByEthernet(screen, 2);
    const UpdateRun run = updateRun(1);
    const ConsoleLines lines = takenApart(screen.finishUpdate(2), run);
    QByteArray twice;
    for (const QByteArray &line : run.windowPrints.split('\n')) {
        if (!line.isEmpty())
            twice += line + '\n' + line + '\n';
    }
    QCOMPARE(lines.window, twice);
    QCOMPARE(lines.worker, run.workerPrints);
    QCOMPARE(Instrument::calls(), run.scripts);
}

int main(int argc, char **argv) { return CommandLine::run<TestMainWindowButtons>(argc, argv); }
#include "tst_mainwindowbuttons.moc"
