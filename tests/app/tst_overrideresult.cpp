#include "tests/app/overrides.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

/// What each result of the override script leads to.
class TestOverrideResult : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void result_data();
    void result();
    void scriptThatCannotStart_data();
    void scriptThatCannotStart();
    void repeatedUntilInstalled();
    void scriptSpeaks();
    void updateAfterOverride();
    void detectionAgainAfterOverride();
};

void TestOverrideResult::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestOverrideResult::result_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<Screen>("changes");
    QTest::addColumn<QByteArray>("prints");
    QTest::addColumn<StartupTimer>("timer");
    const auto row = [](const char *script, const Screen &changes, const QByteArray &prints,
                        StartupTimer timer) {
        QTest::newRow(script) << QByteArray(script) << changes << prints << timer;
    };
    const Screen working = title("Overrides:");

    row("exit 0", title("Overrides:\nRebooting"), installed("0") + "FINISHED\n", stopped);
    row("exit 1", working + overrideMatches + offered, installed("1") + "FINISHED\n" + offeredPrint,
        stopped);
    row("exit 2", working + overrideInvalid + offered, installed("2") + offeredPrint, stopped);
    row("exit 3", working, installed("3"), runs);
    row("exit 97", working, installed("97"), runs);
    row("exit 98", working, installed("98") + "FINISHED\n", stopped);
    row("exit 99", working, installed("99"), runs);
    row("exit 255", working, installed("255"), runs);
    row("kill -KILL $$", working, installed("-1"), runs);
    for (const char *script : {"touch /tmp/verifyFailed; exit 0", "touch /tmp/verifyFailed; exit 1",
                               "touch /tmp/verifyFailed; exit 2", "mkdir /tmp/verifyFailed; exit 3",
                               "touch /tmp/verifyFailed; kill -TERM $$"})
        row(script, overrideRejected, rejectedPrint, stopped);
    row("touch /tmp/overrideFailed; exit 1", working + overrideMatches + offered,
        installed("1") + "FINISHED\n" + offeredPrint, stopped);
}

void TestOverrideResult::result()
{
    QFETCH(QByteArray, script);
    QFETCH(Screen, changes);
    QFETCH(QByteArray, prints);
    QFETCH(StartupTimer, timer);
    plugOverride(script);
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen,
         {ticks(4), ticks(1, directoryFound, overrideValid), ticks(1, changes, prints, timer)});
    // once a second for as long as it takes, which may be longer than a stick is looked for
    if (timer == runs)
        walk(screen, {ticks(1, {}, prints), ticks(13, {}, prints.repeated(13))});
    QCOMPARE(Instrument::calls().size(), timer == runs ? 15 : 1);
}

void TestOverrideResult::scriptThatCannotStart_data()
{
    QTest::addColumn<QByteArray>("done"); // by the shell, in the directory of the script
    for (const char *done : {"rm 00-USB-installoverrides.sh", "chmod -x 00-USB-installoverrides.sh",
                             "echo '#!/nowhere' >00-USB-installoverrides.sh",
                             "rm 00-USB-installoverrides.sh; mkdir 00-USB-installoverrides.sh"})
        QTest::newRow(done) << QByteArray(done);
}

void TestOverrideResult::scriptThatCannotStart()
{
    QFETCH(QByteArray, done);
    plugOverride({});
    Instrument::shell("cd /etc/update; " + done);
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen,
         {ticks(4), ticks(1, directoryFound, overrideValid),
          ticks(1, title("Overrides:"), installed("-2")), ticks(1, {}, installed("-2"))});
    Instrument::write(QStringLiteral("/tmp/verifyFailed"), {});
    walk(screen, {ticks(1, overrideRejected, rejectedPrint, stopped)});
}

void TestOverrideResult::repeatedUntilInstalled()
{
    plugOverride("echo >>/tmp/tries; case $(wc -l </tmp/tries) in 1) exit 4 ;; 2) exit 3 ;; esac");
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen,
         {ticks(4), ticks(1, directoryFound, overrideValid),
          ticks(1, title("Overrides:"), installed("4")), ticks(1, {}, installed("3")),
          ticks(1, title("Overrides:\nRebooting"), installed("0") + "FINISHED\n", stopped)});
}

void TestOverrideResult::scriptSpeaks()
{
    plugOverride("echo Removing the old size; echo to the technician >&2; printf done; exit 2");
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, {ticks(4), ticks(1, directoryFound, overrideValid)});
    tick(screen.window());
    screen.expectPrints("OVERRIDE directory found!\nImplementing overrides...\n"
                        "Removing the old size\ndoneStatus set...\nostat = 2\n"
                        + offeredPrint);
}

static Moments offeredAfterInvalid()
{
    return {
        ticks(4),
        ticks(1, directoryFound, overrideValid),
        ticks(1, title("Overrides:") + overrideInvalid + offered, installed("2") + offeredPrint,
              stopped),
    };
}

// The update takes the message away, and its own rejection is not taken for that of the overrides.
void TestOverrideResult::updateAfterOverride()
{
    plugOverride("exit 2");
    Instrument::writeScript(
        QStringLiteral("/etc/update/99-USB-ubootDtbVersionCompatibilityCheck.sh"),
        "echo too old >/tmp/verifyFailed");
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offeredAfterInvalid());
    const QByteArray message = overrideInvalid["messages"];
    const Screen messageHidden = {{"messageFrm", "hidden, enabled"},
                                  {"messages", "hidden" + message.mid(message.indexOf(','))}};
    walk(screen,
         {touched("USBbtn", updating + usbTouched + messageHidden, "\nUpdate in progress\n",
                  stopped)});
    screen.finishUpdate();
    screen.expect(
        title("Version Checking:\nFAILED")
            + Screen {{"usbLabel",
                       "shown, disabled: See 'update/update.log' on\nUSB storage device for\n"
                       "explanation of failure!"},
                      {"progressMsg",
                       "shown, enabled: This will take a few minutes.\nVersion Checking..."},
                      {"progressBar", "shown, enabled: 30"},
                      {"pbuttonUtils", "shown, enabled: Support\nTools"},
                      {"pbuttonVersions", "shown, enabled: Versions"}},
        {}, stopped);
}

// Without the device's own entry a touch begins anew, and so do the overrides; the message stays.
void TestOverrideResult::detectionAgainAfterOverride()
{
    plugOverride("exit 2");
    QDir().rmdir(QStringLiteral("/sys/class/block/sda"));
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, offeredAfterInvalid());
    walk(screen,
         {touched("USBbtn",
                  checkingAgain + title("Initializing:")
                      + Screen {{"pbuttonBackupSettings", "shown, disabled: >>|<<"}},
                  "usb button - usb device NOT found\n[sync]\n", runs)});
    walk(screen, offeredAfterInvalid());
}

int main(int argc, char **argv) { return CommandLine::run<TestOverrideResult>(argc, argv); }
#include "tst_overrideresult.moc"
