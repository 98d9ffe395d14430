#include "tests/app/overrides.h"
#include "tests/app/updaterun.h"
#include "tests/support/instrument.h"
#include "tests/support/program.h"

#include <QtTest>

/// Whole runs of the unmodified program, told by its console.
class TestProcess : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void network_data();
    void network();
    void stick_data();
    void stick();
    void overrides_data();
    void overrides();
    void noStick();
    void blankBoardWithoutStick();
};

using Model::Course;

struct Row
{
    const char *name;
    const char *option;
    bool blank;
    const char *faulty; ///< The script that rejects or fails, or null.
    const char *fault;
    int mode;
    Course course;
    const char *before; ///< Printed before the update begins.
};
Q_DECLARE_METATYPE(Row)

template <std::size_t size> static void addRows(const Row (&rows)[size])
{
    QTest::addColumn<Row>("row");
    for (const Row &row : rows)
        QTest::newRow(row.name) << row;
}

static const QByteArray version = "\nCurrent bootloader version = V4.05.00\n\n";
static constexpr char rejects[] = "printf 'one\\ntwo\\n' >/tmp/verifyFailed";

// clang-format off
static constexpr char network[] = "[ls]\nBOARD Previously Flashed AU - Partition 2 already exists\nstarting - Network Update\n";
static constexpr char afterReboot[] = "[ls]\nBOARD Previously Flashed RB - Partition 2 already exists\n";
static constexpr char blank[] = "BLANK BOARD - Partition 2 does not exist\n";


static const Row networkRows[] = {
    {"network", "--autoupdate", false, nullptr, nullptr, 3, Course::Whole, network},
    {"version rejected", "--autoupdate", false, Model::versionScript, rejects, 3, Course::VersionRejected, network},
    {"files rejected", "--autoupdate", false, Model::filesScript, rejects, 3, Course::FilesRejected, network},
    {"no recovery system", "--autoupdate", false, Model::recoveryScript, "exit 1", 3, Course::Aborted, network},
    {"blank", "--autoupdate", true, nullptr, nullptr, 2, Course::Whole, blank},
    {"blank, no recovery system", "--autoupdate", true, Model::recoveryScript, "exit 1", 2, Course::Aborted, blank},
};

static const Row stickRows[] = {
    {"after reboot", "--rebootusbupdate", false, nullptr, nullptr, 0, Course::Whole, afterReboot},
    {"version rejected", "--rebootusbupdate", false, Model::versionScript, rejects, 0, Course::VersionRejected, afterReboot},
    {"blank", "--usbupdate", true, nullptr, nullptr, 2, Course::Whole, blank},
};
// clang-format on

/// What "ls" says of the second partition in this place.
static QByteArray withListing(QByteArray text)
{
    QProcess list;
    list.start(QStringLiteral("ls"), {QStringLiteral("-al"), QStringLiteral("/dev/mmcblk0p2")});
    list.waitForFinished();
    return text.replace("[ls]\n", list.readAllStandardOutput());
}

static void expectRun(const Row &row)
{
    Instrument::setBlank(row.blank);
    Instrument::plugStorageDevice();
    if (row.faulty)
        Instrument::writeScript(QString::fromLatin1(row.faulty), row.fault);

    Program program({QString::fromLatin1(row.option)});
    QVERIFY(program.prints("FINISHED\n"));
    const UpdateRun run = updateRun(row.mode, row.course, row.course == Course::Aborted ? 1 : 0);
    const ConsoleLines lines = takenApart(program.console(), run);
    QCOMPARE(lines.window,
             version + withListing(row.before) + "\nUpdate in progress\n" + run.windowPrints);
    QCOMPARE(lines.worker, run.workerPrints);
    QCOMPARE(Instrument::calls(), run.scripts);
    QCOMPARE(Instrument::read(QStringLiteral("/tmp/runningbootloaderversion")),
             QByteArray("V4.05.00"));
    QVERIFY(program.runs());
}

void TestProcess::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestProcess::network_data() { addRows(networkRows); }
void TestProcess::stick_data() { addRows(stickRows); }

void TestProcess::network()
{
    QFETCH(Row, row);
    expectRun(row);
}

void TestProcess::stick()
{
    QFETCH(Row, row);
    expectRun(row);
}

void TestProcess::overrides_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("prints");
    QTest::newRow("installed") << QByteArray("echo resizing") << installed("0") + "FINISHED\n";
    QTest::newRow("tried again") << QByteArray(
        "test -e /tmp/tried || { touch /tmp/tried; exit 3; }; exit 2")
                                 << installed("3") + installed("2") + offeredPrint;
}

void TestProcess::overrides()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, prints);
    plugOverride(script);
    if (script.startsWith("echo"))
        prints.replace("Status set", "resizing\nStatus set");
    Program program({});
    QVERIFY(program.prints(prints));
    QCOMPARE(program.console(), version + overrideValid + prints);
    QVERIFY(program.runs());
}

void TestProcess::noStick()
{
    Program program({});
    QVERIFY(program.prints("FAIL"));
    QVERIFY(program.prints("exist\n"));
    QCOMPARE(program.console(), version + "FAIL - USB storage device does not exist\n");
    QVERIFY(program.runs());
}

void TestProcess::blankBoardWithoutStick()
{
    Instrument::setBlank(true);
    Program program({QStringLiteral("--autoupdate")});
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.console(),
             version
                 + "BLANK BOARD - Partition 2 does not exist\n"
                   "FAIL - Update directory does not exist\n");
    QCOMPARE(Instrument::read(QStringLiteral("/tmp/runningbootloaderversion")),
             QByteArray("V4.05.00"));
    QCOMPARE(Instrument::calls(), QStringList());
}

QTEST_GUILESS_MAIN(TestProcess)
#include "tst_process.moc"
