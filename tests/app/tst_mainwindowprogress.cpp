#include "tests/app/updaterun.h"
#include "tests/app/walk.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

/// How an update's progress and end come to the screen.
class TestMainWindowProgress : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void progress_data();
    void progress();
    void titles_data();
    void titles();
    void finishedWithNothingToReport();
    void rejected_data();
    void rejected();
    void withoutRecoverySystem_data();
    void withoutRecoverySystem();
    void closingTheWindowDoesNotStopTheUpdate();
};

using Model::Course;
Q_DECLARE_METATYPE(Course)

void TestMainWindowProgress::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestMainWindowProgress::progress_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bar");
    QTest::newRow("start") << 0 << QStringLiteral("Initializing Update...") << QByteArray("0");
    QTest::newRow("step") << 35 << QStringLiteral("Validating Files...") << QByteArray("35");
    QTest::newRow("end") << 100 << QStringLiteral("Update Successful, exiting")
                         << QByteArray("100");
    QTest::newRow("no text") << 50 << QString() << QByteArray("50");
    QTest::newRow("two lines") << 50 << QStringLiteral("one\ntwo") << QByteArray("50");
    QTest::newRow("letters") << 50 << QStringLiteral("Größe geändert ✓") << QByteArray("50");
    QTest::newRow("markup") << 50 << QStringLiteral("<b>100%s</b>") << QByteArray("50");
    QTest::newRow("beyond the bar's end") << 101 << QStringLiteral("text") << QByteArray("24");
    QTest::newRow("before the bar's start") << -1 << QStringLiteral("text") << QByteArray("24");
}

void TestMainWindowProgress::progress()
{
    QFETCH(int, value);
    QFETCH(QString, text);
    QFETCH(QByteArray, bar);
    MainScreen screen;
    screen.expect({}, startPrints);
    QMetaObject::invokeMethod(screen.window(), "onProgressChanged", Q_ARG(int, value),
                              Q_ARG(QString, text));
    screen.expect(
        {{"progressMsg", "shown, enabled: This will take a few minutes.\n" + text.toUtf8()},
         {"progressBar", "hidden, enabled: " + bar}},
        text.toUtf8() + '\n');
}

void TestMainWindowProgress::titles_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("one line") << QStringLiteral("Verifying Files:");
    QTest::newRow("two lines") << QStringLiteral("Overrides:\nRebooting");
    QTest::newRow("empty") << QString();
}

void TestMainWindowProgress::titles()
{
    QFETCH(QString, text);
    MainScreen screen;
    screen.expect({}, startPrints);
    screen.window()->findChild<QWidget *>(QStringLiteral("update_title"))->hide();
    QMetaObject::invokeMethod(screen.window(), "setTitle", Q_ARG(QString, text));
    screen.expect(title(text.toUtf8()), {});
}

void TestMainWindowProgress::finishedWithNothingToReport()
{
    MainScreen screen;
    screen.expect({}, startPrints);
    QMetaObject::invokeMethod(screen.window(), "onFinished");
    screen.expect({}, "FINISHED\n");
}

void TestMainWindowProgress::rejected_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<Course>("course");
    QTest::addColumn<int>("mode");
    QTest::addColumn<Screen>("outcome");
    const Screen onTheStick
        = {{"usbLabel",
            "shown, enabled: See 'update/update.log' on\nUSB storage device for\nexplanation of "
            "failure!"},
           {"pbuttonUtils", "shown, enabled: Support\nTools"},
           {"pbuttonVersions", "shown, enabled: Versions"}};
    Screen afterTouch = onTheStick;
    afterTouch["usbLabel"].replace("shown, enabled", "shown, disabled");
    const Screen withoutTools = {{"usbLabel", afterTouch["usbLabel"]},
                                 {"pbuttonUtils", "hidden, enabled: Support\nTools"},
                                 {"pbuttonVersions", "hidden, enabled: Versions"}};
    const Screen inRecovery
        = {{"usbLabel",
            "shown, enabled: See 'update/update.log' in\nRECOVERY update for\nexplanation of "
            "failure!"},
           {"pbuttonUtils", "shown, disabled: Support\nTools"},
           {"pbuttonVersions", "shown, disabled: Versions"}};
    struct
    {
        const char *option;
        int mode;
        Screen outcome;
    } const rows[] = {
        {"--usbupdate", 0, afterTouch},      {"--rebootusbupdate", 0, onTheStick},
        {"--gobackupdate", 0, withoutTools}, {"--deadusbrebuild", 0, withoutTools},
        {"--autoupdate", 3, inRecovery},
    };
    for (const auto &row : rows) {
        QTest::addRow("%s, version", row.option)
            << QString::fromLatin1(row.option) << Course::VersionRejected << row.mode
            << row.outcome;
        QTest::addRow("%s, files", row.option)
            << QString::fromLatin1(row.option) << Course::FilesRejected << row.mode << row.outcome;
    }
}

/// Goes to where an update has started, by itself or by a touch.
static void startUpdate(MainScreen &screen)
{
    for (int i = 0; i < 6 && timerInterval(screen.window()) > 0; ++i)
        tick(screen.window());
    if (!screen.takePrints().contains("Update in progress\n")) {
        touch(screen.window(), "USBbtn");
        screen.expectPrints("\nUpdate in progress\n");
    }
}

void TestMainWindowProgress::rejected()
{
    QFETCH(QString, option);
    QFETCH(Course, course);
    QFETCH(int, mode);
    QFETCH(Screen, outcome);
    Instrument::plugStorageDevice();
    Instrument::writeScript(QString::fromLatin1(course == Course::FilesRejected
                                                    ? Model::filesScript
                                                    : Model::versionScript),
                            "echo wrong >/tmp/verifyFailed");
    MainScreen screen({option});
    startUpdate(screen);

    const UpdateRun run = updateRun(mode, course);
    const ConsoleLines lines = takenApart(screen.finishUpdate(), run);
    QCOMPARE(lines.window, run.windowPrints);
    QCOMPARE(lines.worker, run.workerPrints);
    QCOMPARE(Instrument::calls(), run.scripts);

    outcome = outcome + title(run.title) + Screen {{"USBbtn", "shown, disabled: USB"}};
    const Screen seen = screenOf(screen.window());
    for (auto row = outcome.begin(); row != outcome.end(); ++row)
        QCOMPARE(seen[row.key()], row.value());
    QCOMPARE(timerInterval(screen.window()), -1);
}

void TestMainWindowProgress::withoutRecoverySystem_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("made"); // by the shell, in the place of the script
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("mode");
    const auto row = [](const char *name, const char *option, const char *made, int code,
                        int mode) {
        QTest::newRow(name) << QString::fromLatin1(option) << QByteArray(made) << code << mode;
    };
    row("USB", "--usbupdate", "echo 'exit 1' >>\"$1\"", 1, 0);
    row("after reboot", "--rebootusbupdate", "echo 'exit 2' >>\"$1\"", 2, 0);
    row("network", "--autoupdate", "echo 'exit 255' >>\"$1\"", 255, 3);
    row("no script", "--autoupdate", "rm \"$1\"", 255, 3);
    row("not executable", "--usbupdate", "chmod -x \"$1\"", 255, 0);
    row("killed", "--usbupdate", "echo 'kill -KILL $$' >>\"$1\"", 9, 0);
}

// Nothing is said on the screen but the message before the reboot.
void TestMainWindowProgress::withoutRecoverySystem()
{
    QFETCH(QString, option);
    QFETCH(QByteArray, made);
    QFETCH(int, code);
    QFETCH(int, mode);
    Instrument::plugStorageDevice();
    Instrument::shell(QByteArray("set -- ") + Model::recoveryScript + "; " + made);
    MainScreen screen({option});
    startUpdate(screen);
    const QByteArray before = screenOf(screen.window())["usbLabel"];

    const UpdateRun run = updateRun(mode, Course::Aborted, code);
    const ConsoleLines lines = takenApart(screen.finishUpdate(), run);
    QCOMPARE(lines.window, run.windowPrints);
    QCOMPARE(lines.worker, run.workerPrints);
    QStringList called = run.scripts;
    if (code == 255 && !made.startsWith("echo"))
        called.removeAll(QString::fromLatin1(Model::recoveryScript));
    QCOMPARE(Instrument::calls(), called);
    const Screen seen = screenOf(screen.window());
    QCOMPARE(seen["usbLabel"], before);
    QCOMPARE(seen["pbuttonUtils"], QByteArray("shown, disabled: Support\nTools"));
    QCOMPARE(seen["progressBar"], QByteArray("shown, enabled: 100"));
}

void TestMainWindowProgress::closingTheWindowDoesNotStopTheUpdate()
{
    MainScreen screen({QStringLiteral("--autoupdate")});
    startUpdate(screen);
    screen.window()->close();
    expectUpdate(screen, 3);
}

int main(int argc, char **argv) { return CommandLine::run<TestMainWindowProgress>(argc, argv); }
#include "tst_mainwindowprogress.moc"
