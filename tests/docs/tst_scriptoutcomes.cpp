#include "tests/app/overrides.h"
#include "tests/app/updaterun.h"
#include "tests/docs/manual.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "update/updatethread.h"

#include <QtTest>

/// The manual's table of what each outcome of a script leads to, against what it does lead to.
class TestScriptOutcomes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void tableHasTheseRows();
    void outcome_data();
    void outcome();
};

// Ways in which a script ends, as shell lines, and those in which it does not begin.
static const QByteArrayList anythingButZero = {"exit 1", "exit 255", "kill -KILL $$"};
static const QByteArrayList cannotStart = {"missing", "not executable"};

// What follows an outcome; each fails the test where it does not.
static void updateGoesOn(const QByteArray &);
static void straightToReboot(const QByteArray &);
static void updateRejected(const QByteArray &);
static void scriptIgnored(const QByteArray &);
static void overridesRejected(const QByteArray &);
static void overridesInstalled(const QByteArray &);
static void overridesMatch(const QByteArray &);
static void overridesInvalid(const QByteArray &);
static void overridesTriedAgain(const QByteArray &);

struct Outcomes
{
    const char *script;
    const char *outcome;
    const char *follows;
    QByteArrayList ways; ///< Each of which is that outcome.
    void (*expect)(const QByteArray &way);
};

// clang-format off
static const Outcomes rows[] = {
    {"`1-AUTUPD-createRecoverySystem.sh`", "exit code 0", "the update goes on",
     {"exit 0"}, updateGoesOn},
    {"`1-AUTUPD-createRecoverySystem.sh`", "anything else, or killed, or cannot be started", "straight to the reboot script",
     anythingButZero + cannotStart, straightToReboot},
    {"the two checks (`99-USB-uboot…`, `2-USB-checkupdatefiles.sh`)", "`/tmp/verifyFailed` exists when the script has ended", "the update is rejected",
     {"touch /tmp/verifyFailed", "touch /tmp/verifyFailed; exit 1"}, updateRejected},
    {"`00-USB-installoverrides.sh`", "`/tmp/verifyFailed` exists", "rejected; the screen refers to `update/update_override.log`",
     {"touch /tmp/verifyFailed", "touch /tmp/verifyFailed; exit 1"}, overridesRejected},
    {"`00-USB-installoverrides.sh`", "0", "installed; the script itself has started the reboot",
     {"exit 0"}, overridesInstalled},
    {"`00-USB-installoverrides.sh`", "1", "the override matches the setting there is; normal update offered",
     {"exit 1"}, overridesMatch},
    {"`00-USB-installoverrides.sh`", "2", "invalid combination of overrides; normal update offered",
     {"exit 2"}, overridesInvalid},
    {"`00-USB-installoverrides.sh`", "any other code, killed, cannot be started", "the script is started again every second",
     QByteArrayList {"exit 3", "exit 97", "exit 255", "kill -KILL $$"} + cannotStart, overridesTriedAgain},
    {"every other script", "exit code, signal, missing, not executable", "ignored: the next script runs",
     anythingButZero + cannotStart, scriptIgnored},
};
// clang-format on

static QString text(const char *latin) { return QString::fromUtf8(latin); }

static void freshInstrument()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestScriptOutcomes::init() { freshInstrument(); }

void TestScriptOutcomes::tableHasTheseRows()
{
    const QVector<QStringList> table
        = Manual::table(QStringLiteral("What the program makes of the outcome"), 0).mid(1);
    QCOMPARE(table.size(), int(std::size(rows)));
    for (int index = 0; index < table.size(); ++index) {
        const Outcomes &row = rows[index];
        QCOMPARE(table.at(index),
                 (QStringList {text(row.script), text(row.outcome), text(row.follows)}));
    }
}

void TestScriptOutcomes::outcome_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("way");
    for (int index = 0; index < int(std::size(rows)); ++index) {
        for (const QByteArray &way : rows[index].ways)
            QTest::addRow("%s: %s", rows[index].script, way.constData()) << index << way;
    }
}

void TestScriptOutcomes::outcome()
{
    QFETCH(int, index);
    QFETCH(QByteArray, way);
    rows[index].expect(way);
}

/// Has a script end in that way.
static void spoil(const QString &script, const QByteArray &way)
{
    Instrument::writeScript(script, way);
    if (way == "missing")
        QFile::remove(script);
    else if (way == "not executable")
        QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner);
}

/// The scripts that an update from a stick runs.
static QStringList updated(int *status = nullptr)
{
    UpdateThread thread;
    thread.start();
    thread.wait();
    if (status)
        *status = thread.status;
    return Instrument::calls();
}

static const QString recovery = QString::fromLatin1(Model::recoveryScript);
static const QString restart = QStringLiteral("/etc/update/11-Reboot.sh");

static void updateGoesOn(const QByteArray &way)
{
    spoil(recovery, way);
    QCOMPARE(updated(), updateRun(0).scripts);
}

static void straightToReboot(const QByteArray &way)
{
    spoil(recovery, way);
    QStringList scripts = updated();
    scripts.removeOne(recovery); // which may not have been there to be called
    QCOMPARE(scripts, (QStringList {QStringLiteral("/etc/update/0-checkpartitions.sh"), restart}));
}

static void updateRejected(const QByteArray &way)
{
    for (const char *check : {Model::versionScript, Model::filesScript}) {
        freshInstrument();
        spoil(QString::fromLatin1(check), way);
        int status = 0;
        QCOMPARE(updated(&status).last(), QString::fromLatin1(check));
        QCOMPARE(status, 1);
    }
}

static void scriptIgnored(const QByteArray &way)
{
    QStringList called;
    for (const QString &script : updateRun(0).scripts) {
        if (script == recovery)
            called += script;
        else
            spoil(script, way);
    }
    QCOMPARE(updated(), cannotStart.contains(way) ? called : updateRun(0).scripts);
}

/// Plugs a stick with overrides whose script ends in that way, and lets it run once.
static void install(MainScreen &screen, const QByteArray &way, const Screen &changes,
                    const QByteArray &prints, StartupTimer timer)
{
    screen.expect({}, startPrints);
    plugOverride({});
    spoil(QString::fromLatin1(overrideScript), way);
    walk(screen,
         {ticks(4), ticks(1, directoryFound, overrideValid), ticks(1, changes, prints, timer)});
}

static void overridesRejected(const QByteArray &way)
{
    MainScreen screen;
    install(screen, way, overrideRejected, rejectedPrint, stopped);
    QVERIFY(overrideRejected[QByteArray("usbLabel")].contains("'update/update_override.log'"));
}

static void overridesInstalled(const QByteArray &way)
{
    MainScreen screen;
    install(screen, way, title("Overrides:\nRebooting"), installed("0") + "FINISHED\n", stopped);
    QCOMPARE(Instrument::calls(), QStringList(QString::fromLatin1(overrideScript)));
}

static void overridesMatch(const QByteArray &way)
{
    MainScreen screen;
    install(screen, way, title("Overrides:") + overrideMatches + offered,
            installed("1") + "FINISHED\n" + offeredPrint, stopped);
}

static void overridesInvalid(const QByteArray &way)
{
    MainScreen screen;
    install(screen, way, title("Overrides:") + overrideInvalid + offered,
            installed("2") + offeredPrint, stopped);
}

static void overridesTriedAgain(const QByteArray &way)
{
    const QByteArray code = way.startsWith("exit ") ? way.mid(5)
        : cannotStart.contains(way)                 ? QByteArray("-2")
                                                    : QByteArray("-1");
    MainScreen screen;
    install(screen, way, title("Overrides:"), installed(code), runs);
    walk(screen, {ticks(1, {}, installed(code)), ticks(3, {}, installed(code).repeated(3))});
}

int main(int argc, char **argv) { return CommandLine::run<TestScriptOutcomes>(argc, argv); }
#include "tst_scriptoutcomes.moc"
