#include "tests/support/instrument.h"
#include "tests/support/program.h"

#include <QtTest>

/// What a script prints must not stay in the program: an instrument has no memory to spare.
class TestProgramMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void memoryStaysFlat_data();
    void memoryStaysFlat();

private:
    long silent = 0;
};

/// Runs a network update whose backup script ends with @p lines; the program's greatest memory in
/// KiB, as its reboot script sees it.
static long peakMemory(const QByteArray &lines)
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
    Instrument::writeScript(QStringLiteral("/etc/update/3-AUTUPD-backupUserFiles.sh"), lines);
    Instrument::writeScript(QStringLiteral("/etc/update/11-Reboot.sh"),
                            "grep VmHWM /proc/$PPID/status | tr -dc 0-9 >/tmp/peak");
    Program program({QStringLiteral("--autoupdate")});
    if (!program.prints("FINISHED\n"))
        qFatal("the update does not end");
    return Instrument::read(QStringLiteral("/tmp/peak")).toLong();
}

void TestProgramMemory::initTestCase()
{
    silent = peakMemory({});
    QVERIFY(silent > 0);
}

void TestProgramMemory::memoryStaysFlat_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("output") << QByteArray("head -c 1G /dev/zero && touch /tmp/done");
    QTest::newRow("errors") << QByteArray("head -c 1G /dev/zero >&2 && touch /tmp/done");
    QTest::newRow("lines") << QByteArray("yes | head -n 100000000 && touch /tmp/done");
}

void TestProgramMemory::memoryStaysFlat()
{
    QFETCH(QByteArray, script);
    const long loud = peakMemory(script);
    QVERIFY(QFile::exists(QStringLiteral("/tmp/done"))); // it could print it all
    QVERIFY2(loud <= silent + 2048,
             qPrintable(QStringLiteral("%1 KiB after %2").arg(loud).arg(silent)));
}

QTEST_GUILESS_MAIN(TestProgramMemory)
#include "tst_programmemory.moc"
