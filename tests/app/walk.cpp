#include "tests/app/walk.h"

#include "tests/app/updaterun.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

#include <QtTest>

const QByteArray restoreOff = "<html><head/><body>Restore Settings<br>After Install<br><b>Not "
                              "Enabled</b></body></html>";
const QByteArray restoreOn
    = "<html><head/><body>Restore Settings<br>After Install<br><b>Enabled</b></body></html>";

const Screen checkingAgain = {
    {"usbLabel", "shown, enabled: Checking for \nUSB storage device"},
    {"USBbtn", "shown, disabled: USB"},
    {"pbuttonUtils", "shown, disabled: Support\nTools"},
    {"pbuttonVersions", "shown, disabled: Versions"},
};

const Screen noDevice = {
    {"usbLabel",
     "shown, enabled: No USB storage device found.\nCheck your USB device and \nRETRY."},
    {"update_title", "shown, enabled: Initialization:\nFAILED"},
    {"USBbtn", "shown, enabled: RETRY"},
    {"pbuttonUtils", "shown, enabled: Support\nTools"},
    {"pbuttonVersions", "shown, enabled: Versions"},
};

const Screen noDirectory = {
    {"usbLabel", "shown, enabled: 'update' directory NOT found on\nUSB storage device"},
    {"update_title", "shown, enabled: Initialization:\nFAILED"},
    {"pbuttonUtils", "shown, enabled: Support\nTools"},
    {"pbuttonVersions", "shown, enabled: Versions"},
};

const Screen deviceFound = {
    {"usbLabel", "shown, enabled: USB storage device found"},
};

const Screen directoryFound = {
    {"usbLabel", "shown, enabled: 'update' directory found on\nUSB storage device"},
    {"update_title", "shown, enabled: Initialization:\nCompleted"},
};

const Screen offered = {
    {"USBbtn", "shown, enabled: USB"},
    {"pbuttonBackupSettings", "shown, enabled: >>|<<"},
    {"lblUSBBackup", "shown, enabled: " + restoreOff},
    {"pbuttonUtils", "shown, enabled: Support\nTools"},
    {"pbuttonVersions", "shown, enabled: Versions"},
};

const Screen offeredWithoutTools = {
    {"USBbtn", "shown, enabled: USB"},
    {"pbuttonUtils", "hidden, enabled: Support\nTools"},
    {"pbuttonVersions", "hidden, enabled: Versions"},
};

const Screen updating = {
    {"progressMsg", "shown, enabled: This will take a few minutes."},
    {"progressBar", "shown, enabled: 24"},
};

const Screen usbTouched = {
    {"USBbtn", "shown, disabled: USB"},
    {"pbuttonBackupSettings", "shown, disabled: >>|<<"},
    {"pbuttonUtils", "shown, disabled: Support\nTools"},
    {"pbuttonVersions", "shown, disabled: Versions"},
    {"usbLabel", "shown, disabled: 'update' directory found on\nUSB storage device"},
    {"lblUSBBackup", "shown, disabled: " + restoreOff},
};

const Screen labelHidden = {
    {"usbLabel", "hidden, enabled: 'update' directory found on\nUSB storage device"},
};

Screen operator+(Screen screen, const Screen &changes)
{
    for (auto change = changes.begin(); change != changes.end(); ++change)
        screen[change.key()] = change.value();
    return screen;
}

Screen title(const QByteArray &text) { return {{"update_title", "shown, enabled: " + text}}; }

void walk(MainScreen &screen, const Moments &moments)
{
    int count = 0;
    for (const Moment &moment : moments) {
        ++count;
        if (moment.touched)
            touch(screen.window(), moment.touched);
        else
            tick(screen.window(), moment.ticks);
        screen.expect(moment.changes, moment.prints, moment.timer);
        if (QTest::currentTestFailed())
            QFAIL(("at moment " + QByteArray::number(count)).constData());
    }
}

void expectUpdate(MainScreen &screen, int mode)
{
    const UpdateRun run = updateRun(mode);
    const ConsoleLines lines = takenApart(screen.finishUpdate(), run);
    QCOMPARE(lines.window, run.windowPrints);
    QCOMPARE(lines.worker, run.workerPrints);
    QCOMPARE(Instrument::calls(), run.scripts);
}
