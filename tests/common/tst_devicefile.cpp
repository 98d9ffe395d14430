#include "common/devicefile.h"
#include "tests/support/instrument.h"

#include <QDir>
#include <QFile>
#include <QtTest>

/// What of an instrument's files can be opened: whatever has an end, and comes to it without a
/// wait.
class TestDeviceFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void opens_data();
    void opens();
    void isReadAsText();
    void leavesNothingOpen();
};

void TestDeviceFile::opens_data()
{
    QTest::addColumn<bool>("opens");
    const auto row = [](const char *made, bool opens) { QTest::newRow(made) << opens; };
    row("echo one >f", true);
    row(": >f", true);
    row("true", false);
    row("mkdir f", false);
    row("echo one >f; chmod 000 f", false);
    row(": >f; chmod 000 f", false);
    row("echo one >g; ln -s g f", true);
    row("ln -s nowhere f", false);
    row("ln -s f f", false);
    row("mkfifo f", false);

    row("ln -s /dev/null f", true);
    row("ln -s /dev/zero f", false); // of the same make as the null device
    row("ln -s /dev/full f", false);
    row("ln -s /dev/tty f", false); // of another

    row("truncate -s 1072693247 f", true);
    row("truncate -s 1072693248 f", false);
    row("truncate -s 100G f", false);

    row("ln -s /proc/self/status f", true); // says that it is empty
    row("ln -s /proc/self/pagemap f", false); // the same, and goes on for terabytes
}

void TestDeviceFile::opens()
{
    QFETCH(bool, opens);
    Instrument::shell(QByteArray("cd /tmp; ") + QTest::currentDataTag());
    QFile file(QStringLiteral("/tmp/f"));
    QCOMPARE(openForReading(file), opens);
    QCOMPARE(file.isOpen(), opens);
}

void TestDeviceFile::isReadAsText()
{
    Instrument::write(QStringLiteral("/tmp/f"), "one\r\ntwo");
    QFile bytes(QStringLiteral("/tmp/f"));
    QVERIFY(openForReading(bytes));
    QCOMPARE(bytes.readAll(), QByteArray("one\r\ntwo"));
    QFile text(QStringLiteral("/tmp/f"));
    QVERIFY(openForReading(text, QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(text.readAll(), QByteArray("one\ntwo"));
    QVERIFY(!text.isWritable());
}

/// The descriptors of this process, that of the listing included.
static uint openDescriptors() { return QDir(QStringLiteral("/proc/self/fd")).count(); }

void TestDeviceFile::leavesNothingOpen()
{
    const uint before = openDescriptors();
    for (const char *path : {"/proc/self/status", "/proc/self/pagemap", "/dev/null", "/tmp"}) {
        QFile file(QString::fromLatin1(path));
        openForReading(file);
    }
    QCOMPARE(openDescriptors(), before);
}

QTEST_GUILESS_MAIN(TestDeviceFile)
#include "tst_devicefile.moc"
