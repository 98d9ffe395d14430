#include "tests/audit/instrumenttree.h"

#include <QProcess>
#include <QtTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// The command as a build server starts it: what it takes, its exit status, and how long it may
// take.

namespace {

struct Result
{
    int status;
    QByteArray output;
    QByteArray errors;
};

Result run(const QStringList &arguments, const QString &outputFile = {})
{
    QProcess process;
    if (!outputFile.isEmpty())
        process.setStandardOutputFile(outputFile);
    process.start(QStringLiteral("/opt/build/teskupdater-audit"), arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, "did not end"};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

constexpr qint64 tenGigabytes = 10LL * 1000 * 1000 * 1000;
/// Seconds of the processor, which a busy machine does not stretch. What only waits for something
/// is told by run().
constexpr double allowedSeconds = 10;

/// What the processes that have ended have taken so far.
double processorSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

class TestAuditProgram : public QObject
{
    Q_OBJECT

private slots:
    void exitStatus()
    {
        InstrumentTree tree;
        QCOMPARE(run({tree.top()}).status, 0);
        tree.remove(QStringLiteral("/sbin/reboot"));
        QCOMPARE(run({tree.top()}).status, 1);
        QCOMPARE(run({tree.real(QStringLiteral("/nothing"))}).status, 2);
        QCOMPARE(run({tree.real(QStringLiteral("/var/log/messages"))}).status, 2);
        tree.setMode(QStringLiteral("/mnt"), 0);
        QCOMPARE(run({tree.top()}).status, 2);
        tree.setMode(QStringLiteral("/mnt"), 0755);
    }

    void whatWasFoundIsReportedBesides()
    {
        InstrumentTree tree;
        tree.remove(QStringLiteral("/sbin/reboot"));
        const Result result
            = run({QStringLiteral("--stick"), QStringLiteral("/nothing"), tree.top()});
        QCOMPARE(result.status, 2);
        QVERIFY(result.output.startsWith("/sbin/reboot: does not exist: "));
        QVERIFY(result.output.endsWith("could not look at /nothing: No such file or directory\n"
                                       "1 fault, 1 place not looked at\n"));
    }

    void wrongUse_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("two trees") << QStringList({QStringLiteral("/a"), QStringLiteral("/b")});
        QTest::newRow("unknown option")
            << QStringList({QStringLiteral("--all"), QStringLiteral("/")});
        QTest::newRow("stick without value") << QStringList({QStringLiteral("--stick")});
    }

    void wrongUse()
    {
        QFETCH(QStringList, arguments);
        const Result result = run(arguments);
        QCOMPARE(result.status, 2);
        QVERIFY(result.errors.startsWith("teskupdater-audit: "));
        QVERIFY(result.output.isEmpty());
    }

    void helpAndVersion()
    {
        const Result help = run({QStringLiteral("--help")});
        QCOMPARE(help.status, 0);
        for (const char *option : {"--stick <DIR>", "--modes", "--json", "--strict", "--version"})
            QVERIFY2(help.output.contains(option), option);
        const Result version = run({QStringLiteral("--version")});
        QCOMPARE(version.output, QByteArray("teskupdater-audit V4.05.00\n"));
    }

    void manualNamesEveryOption()
    {
        QFile manual(QStringLiteral("/opt/source/docs/man/teskupdater-audit.1"));
        QVERIFY(manual.open(QIODevice::ReadOnly));
        const QByteArray text = manual.readAll().replace("\\-", "-");
        for (const char *option :
             {"--stick", "--modes", "--json", "--strict", "--version", "--help"})
            QVERIFY2(text.contains(option), option);
    }

    void stickAndInstrument()
    {
        InstrumentTree tree;
        tree.makeDirectory(QStringLiteral("/stick/Update"));
        const QString stick = tree.real(QStringLiteral("/stick"));
        const Result both = run({QStringLiteral("--stick"), stick, tree.top()});
        QCOMPARE(both.status, 1);
        QCOMPARE(
            both.output,
            QByteArray("update: does not exist (there is Update): \"'update' directory NOT found "
                       "on / USB storage device\"\n1 fault\n"));
        const Result alone = run({QStringLiteral("--stick"), stick, QStringLiteral("--json")});
        QCOMPARE(alone.status, 1);
        QVERIFY(alone.output.contains("\"root\": null"));
        QVERIFY(!alone.output.contains("\"modes\""));
    }

    void modes()
    {
        const InstrumentTree tree;
        const Result result = run({QStringLiteral("--modes"), tree.top()});
        QCOMPARE(result.status, 0);
        QVERIFY(result.output.startsWith("USB update, ends with "));
        QVERIFY(result.output.endsWith("\nno faults\n"));
    }

    void reportThatCannotBeWritten()
    {
        const InstrumentTree tree;
        QCOMPARE(run({tree.top()}, QStringLiteral("/dev/full")).status, 2);
    }

    void nothingIsRun()
    {
        InstrumentTree tree;
        for (const QString &script : allScripts())
            tree.writeExecutable(script, "#!/bin/sh\ntouch /tmp/has-been-run\n");
        QCOMPARE(run({tree.top()}).status, 0);
        QVERIFY(!QFile::exists(QStringLiteral("/tmp/has-been-run")));
    }

    void nothingIsWritten()
    {
        InstrumentTree tree;
        // Nowhere may anything be made or removed; what is in the files is compared.
        const QByteArray shot = snapshot(tree);
        QCOMPARE(run({QStringLiteral("--modes"), tree.top()}).status, 0);
        QCOMPARE(snapshot(tree), shot);
    }

    void pipesInPlaceOfEverything()
    {
        InstrumentTree tree;
        QStringList paths = allScripts();
        for (const char *path :
             {"/mnt/recovery/logFiles.txt", "/mnt/recovery/update_files/1manifest.txt",
              "/mnt/recovery/update_files/7manifest.txt",
              "/mnt/recovery/update_files/8manifest.txt", "/mnt/recovery/download/partition_c",
              "/usr/share/fonts/liberation/Sans.ttf"})
            paths << QString::fromLatin1(path);
        for (const QString &path : qAsConst(paths)) {
            tree.remove(path);
            tree.makePipe(path);
        }
        tree.makePipe(QStringLiteral("/etc/environment"));
        tree.makePipe(QStringLiteral("/tmp/verifyFailed"));
        endsInTime({tree.top()}, 1);
    }

    void tenGigabytesInPlaceOfEverything()
    {
        InstrumentTree tree;
        for (const QString &script : allScripts())
            tree.stretch(script, tenGigabytes);
        for (const char *path :
             {"/mnt/recovery/logFiles.txt", "/mnt/recovery/update_files/1manifest.txt",
              "/mnt/recovery/download/partition_c", "/usr/share/fonts/liberation/Sans.ttf",
              "/var/log/messages"})
            tree.stretch(QString::fromLatin1(path), tenGigabytes);
        endsInTime({tree.top()}, 1);
    }

    void loopsOfDirectories()
    {
        InstrumentTree tree;
        tree.remove(QStringLiteral("/usr/share/fonts/liberation/Sans.ttf"));
        for (const char *loop : {"/usr/share/fonts/a", "/usr/share/fonts/b", "/usr/share/fonts/c"})
            tree.makeLink(QString::fromLatin1(loop), "/");
        tree.makeLink(QStringLiteral("/etc/update/loop"), "..");
        endsInTime({tree.top()}, 1);
    }

    void manyFiles()
    {
        InstrumentTree tree;
        tree.remove(QStringLiteral("/usr/share/fonts/liberation/Sans.ttf"));
        for (const char *directory :
             {"/etc/update", "/usr/share/fonts", "/tmp", "/stick/update/OVERRIDE"})
            fill(tree, QString::fromLatin1(directory), 50000);
        endsInTime({tree.top()}, 1);
        endsInTime({QStringLiteral("--stick"), tree.real(QStringLiteral("/stick"))}, 1);
    }

    void worstTexts()
    {
        InstrumentTree tree;
        constexpr int limit = 1024 * 1024;
        tree.write(QStringLiteral("/mnt/recovery/logFiles.txt"),
                   QByteArray("a,/b,c\n").repeated(limit / 7));
        for (const char *partition : {"1", "7", "8"})
            tree.write(QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
                           .arg(QString::fromLatin1(partition)),
                       QByteArray("a=\nb=\n").repeated(limit / 6));
        endsInTime({tree.top()}, 1);
    }

private:
    static void endsInTime(const QStringList &arguments, int status)
    {
        const double before = processorSeconds();
        const Result result = run(arguments);
        QVERIFY2(result.status == status, result.errors.constData());
        const double taken = processorSeconds() - before;
        QVERIFY2(taken < allowedSeconds, QByteArray::number(taken).constData());
    }

    static void fill(InstrumentTree &tree, const QString &directory, int count)
    {
        tree.makeDirectory(directory);
        for (int i = 0; i < count; ++i) {
            const QByteArray path
                = QFile::encodeName(tree.real(directory)) + "/8-" + QByteArray::number(i) + ".sh";
            QCOMPARE(symlink("/nowhere", path.constData()), 0);
        }
    }

    static QByteArray snapshot(const InstrumentTree &tree)
    {
        QProcess find;
        find.start(
            QStringLiteral("/usr/bin/find"),
            {tree.top(), QStringLiteral("-printf"), QStringLiteral("%p %m %s %T@ %C@ %l\\n")});
        find.waitForFinished(-1);
        return find.readAllStandardOutput();
    }
};

QTEST_GUILESS_MAIN(TestAuditProgram)
#include "tst_auditprogram.moc"
