#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"

#include <QtTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

/// An instrument with a broken "/dev": the update runs its scripts and hears their results all the
/// same. Runs where "/dev" is an empty directory.
class TestNullDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void scriptsRunAndAreHeard_data();
    void scriptsRunAndAreHeard();
    void scriptIsMissing();
    void printedTextIsThrownAway();
    void processLeftBehindKeepsNobodyWaiting();
    void comesAndGoes();
    void wholeUpdate();
};

static const char nullDevice[] = "/dev/null";
// What may be in the null device's place, as the shell makes it.
static const char *const insteadOfTheDevice[][2] = {
    {"nothing", ""},
    {"a directory", "mkdir /dev/null"},
    {"a file nobody may write", "umask 777; : >/dev/null"},
    {"an ordinary file", ": >/dev/null"},
    {"a pipe", "mkfifo /dev/null"},
    {"a link that leads nowhere", "ln -s /dev/gone /dev/null"},
};

// The script whose result decides the path, and what an update prints and runs when it ends so.
static const QString recoveryScript = QString::fromLatin1(Model::recoveryScript);

static QByteArrayList endedWith(int code) { return Model::update(0, Model::Course::Aborted, code); }

void TestNullDevice::initTestCase()
{
    QVERIFY2(!QFile::exists(QString::fromLatin1(nullDevice)), "run this with an empty /dev");
}

void TestNullDevice::init()
{
    Instrument::shell("rm -rf /dev/null");
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestNullDevice::scriptsRunAndAreHeard_data()
{
    QTest::addColumn<QByteArray>("made");
    for (const auto &[name, made] : insteadOfTheDevice)
        QTest::newRow(name) << QByteArray(made);
}

void TestNullDevice::scriptsRunAndAreHeard()
{
    QFETCH(QByteArray, made);
    Instrument::writeScript(recoveryScript, "echo text; echo more >&2; exit 3");
    if (!made.isEmpty())
        Instrument::shell(made);
    QCOMPARE(runUpdate(0).lines, endedWith(3));

    struct stat status
    {
    };
    if (made.isEmpty())
        QVERIFY2(lstat(nullDevice, &status) != 0, "an ordinary file was made instead of it");
    else if (lstat(nullDevice, &status) == 0 && S_ISREG(status.st_mode))
        QCOMPARE(status.st_size, 0);
}

/// What cannot be started is no success.
void TestNullDevice::scriptIsMissing()
{
    QVERIFY(QFile::remove(recoveryScript));
    QByteArrayList lines = endedWith(255);
    lines.removeOne(Model::recoveryScript);
    QCOMPARE(runUpdate(0).lines, lines);
}

void TestNullDevice::printedTextIsThrownAway()
{
    Instrument::writeScript(recoveryScript,
                            "head -c 500M /dev/shm/text; head -c 500M /dev/shm/text >&2; exit 4");
    Instrument::shell("mkdir -p /dev/shm; truncate -s 500M /dev/shm/text");
    rusage before {};
    getrusage(RUSAGE_SELF, &before);
    QCOMPARE(runUpdate(0).lines, endedWith(4));
    rusage after {};
    getrusage(RUSAGE_SELF, &after);
    const long growth = after.ru_maxrss - before.ru_maxrss;
    QVERIFY2(growth < 32 * 1024, QByteArray::number(qlonglong(growth)) + " kB");
}

void TestNullDevice::processLeftBehindKeepsNobodyWaiting()
{
    Instrument::writeScript(
        recoveryScript, "setsid --fork sh -c 'echo $$ >/run/left-behind; exec sleep 60'; exit 5");
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(runUpdate(0).lines, endedWith(5));
    QVERIFY(clock.elapsed() < 50000);
    QTRY_VERIFY(QFileInfo(QStringLiteral("/run/left-behind")).size() > 0);
    Instrument::shell("kill \"$(cat /run/left-behind)\"");
}

/// Each script finds the device as it is when it starts.
void TestNullDevice::comesAndGoes()
{
    Instrument::writeScript(QStringLiteral("/etc/update/0-checkpartitions.sh"), "mkdir /dev/null");
    Instrument::writeScript(recoveryScript, "rmdir /dev/null; exit 6");
    QCOMPARE(runUpdate(0).lines, endedWith(6));
}

/// What goes well still does.
void TestNullDevice::wholeUpdate() { QCOMPARE(runUpdate(4).lines, Model::update(4)); }

QTEST_GUILESS_MAIN(TestNullDevice)
#include "tst_nulldevice.moc"
