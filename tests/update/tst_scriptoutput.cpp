#include "common/common.h"
#include "tests/support/instrument.h"
#include "tests/update/model.h"
#include "tests/update/runupdate.h"
#include "tests/update/steps.h"

#include <QtTest>

#include <thread>

#include <sys/resource.h>

static long peakMemoryInKilobytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

static const char notesItsStreams[]
    = "note() { echo \"$1\" >>/run/calls; }\n"
      "note \"$# arguments\"\n"
      "note \"standard output is $(readlink /proc/$$/fd/1)\"\n"
      "note \"standard error is $(readlink /proc/$$/fd/2)\"\n"
      "echo text && note 'standard output takes text'\n"
      "echo text >&2 && note 'standard error takes text'\n"
      "[ -p /dev/stdin ] && note 'standard input is a pipe'\n"
      "LC_ALL=C dd iflag=nonblock of=/dev/null 2>&1 | grep -q 'temporarily "
      "unavailable' && note 'standard input waits'";

class TestScriptOutput : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Instrument::clear();
        Instrument::writeUpdateScripts();
    }

    void staysOffTheConsole_data()
    {
        QTest::addColumn<int>("mode");
        for (int mode : {0, 2, 3, 4})
            QTest::addRow("mode %d", mode) << mode;
    }

    void staysOffTheConsole()
    {
        QFETCH(int, mode);
        for (const QByteArray &script : Model::scripts(Model::update(mode)))
            Instrument::writeScript(QString::fromLatin1(script), "echo code = 1; echo broken >&2");
        Console standardError(STDERR_FILENO);
        QCOMPARE(runUpdate(mode).lines, Model::update(mode));
        QCOMPARE(standardError.take(), QByteArray());
    }

    /// Scripts may rely on three open streams: writing never fails, and standard input is a pipe on
    /// which nothing comes, not one that has ended.
    void scriptsFindTheirStreamsOpen()
    {
        Instrument::writeScript(QString::fromLatin1(Model::filesScript), notesItsStreams);
        Steps thread;
        const Transcript transcript(&thread);
        thread.validateFiles();
        QCOMPARE(Transcript::lines(),
                 (Model::step("validateFiles")
                  + QByteArrayList {"0 arguments", "standard output is /dev/null",
                                    "standard error is /dev/null", "standard output takes text",
                                    "standard error takes text", "standard input is a pipe",
                                    "standard input waits"}));
    }

    void gigabyte_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QByteArray>("stream");
        for (const char *script : {Model::recoveryScript, Model::filesScript,
                                   "/etc/update/7-USB-rootfs.sh", "/etc/update/11-Reboot.sh"}) {
            QTest::addRow("%s, standard output", script)
                << 0 << QByteArray(script) << QByteArray("1");
            QTest::addRow("%s, standard error", script)
                << 0 << QByteArray(script) << QByteArray("2");
        }
        QTest::newRow("network clean-up")
            << 3 << QByteArray(Model::cleanupScript) << QByteArray("1");
        QTest::newRow("rebuild's reboot")
            << 2 << QByteArray("/etc/update/11-DCA-Reboot.sh") << QByteArray("2");
    }

    /// The instrument has 256 MB: what a script prints must not stay in the program.
    void gigabyte()
    {
        QFETCH(int, mode);
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, stream);
        Instrument::writeScript(QString::fromLatin1(script),
                                "head -c 1G /dev/zero >&" + stream
                                    + " && echo all written >>/run/calls");
        Model::Course course = Model::Course::Whole;
        if (script == Model::cleanupScript) {
            course = Model::Course::VersionRejected;
            Instrument::write(QStringLiteral("/tmp/verifyFailed"), "rejected\n");
        }
        QByteArrayList expected = Model::update(mode, course);
        expected.insert(expected.indexOf(script) + 1, "all written");

        const long before = peakMemoryInKilobytes();
        QCOMPARE(runUpdate(mode).lines, expected);
        const long growth = peakMemoryInKilobytes() - before;
        QVERIFY2(growth < 32 * 1024, QByteArray::number(qlonglong(growth)) + " kB");
    }

    void gigabyteOfOverrides()
    {
        Instrument::writeScript(QStringLiteral("/etc/update/00-USB-installoverrides.sh"),
                                "head -c 1G /dev/zero && echo all written >>/run/calls");
        UpdateThread thread;
        const Console console(STDOUT_FILENO, "/dev/null");
        const long before = peakMemoryInKilobytes();
        QCOMPARE(thread.installOverrides(), 0);
        QVERIFY(peakMemoryInKilobytes() - before < 32 * 1024);
        QCOMPARE(Instrument::calls().last(), QStringLiteral("all written"));
    }

    /// The window and the worker print at the same time.
    void linesOfTwoThreadsNeverMix()
    {
        constexpr int count = 20000;
        const auto line = [](char letter, int i) { return QByteArray(1 + i % 6000, letter); };
        const auto printAll = [&](char letter) {
            for (int i = 0; i < count; ++i)
                printLine(line(letter, i));
        };
        Console console;
        std::thread worker(printAll, 'w');
        printAll('g');
        worker.join();

        int seen[2] = {0, 0};
        QByteArrayList lines = console.take().split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        for (const QByteArray &printed : qAsConst(lines)) {
            QVERIFY(!printed.isEmpty());
            const char letter = printed.at(0);
            QVERIFY2(letter == 'w' || letter == 'g', printed.constData());
            QVERIFY(printed
                    == line(letter, seen[letter == 'w']++)); // whole, and in its thread's order
        }
        QCOMPARE(seen[0], count);
        QCOMPARE(seen[1], count);
    }
};

QTEST_GUILESS_MAIN(TestScriptOutput)
#include "tst_scriptoutput.moc"
