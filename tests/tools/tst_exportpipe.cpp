#include "tests/support/instrument.h"
#include "tests/support/screen.h"
#include "tests/tools/exportscreen.h"

#include <QtTest>

#include <cstdio>

/// How the export screen asks for the mount point's listing, and what it makes of odd answers.
class TestExportPipe : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void answer_data();
    void answer();
    void noAnswerAtThePress();
};

static const char *answerText = nullptr; ///< Null for a pipe that does not open.

// These take the place of the C library's own functions.

extern "C" FILE *popen(const char *command, const char *mode)
{
    Events::note(QByteArray("[popen ") + mode + ' ' + command + ']');
    if (!answerText)
        return nullptr;
    FILE *file = std::tmpfile();
    std::fputs(answerText, file);
    std::rewind(file);
    return file;
}

extern "C" int pclose(FILE *pipe)
{
    if (!pipe)
        return -1;
    Events::note("[pclose]");
    return std::fclose(pipe);
}

static const QByteArray asked = "In verify if USB is mounted\n"
                                "[popen r /bin/ls -l /media/usb0/ | /bin/grep -c -v \"total 0\" ]\n"
                                "[sync]\n";
static const QByteArray failed = asked + "Failed to run 'ls' or 'grep' command.\n\n[sync]\n";

static QByteArray counted(const QByteArray &count)
{
    return asked + "[pclose]\n[sync]\nUSB mountCount = " + count + '\n'; // not flushed
}

void TestExportPipe::answer_data()
{
    QTest::addColumn<QByteArray>("text"); // null for no pipe
    QTest::addColumn<QByteArray>("prints");
    QTest::addColumn<bool>("mounted");
    const auto row = [](const char *name, const QByteArray &text, const QByteArray &prints,
                        bool mounted) { QTest::newRow(name) << text << prints << mounted; };
    row("no pipe", QByteArray(), failed, false);
    row("silence", QByteArray(""), counted("0"), false);
    row("nothing", "0\n", counted("0"), false);
    row("one line", "1\n", counted("1"), true);
    row("many lines", "  4711\n", counted("4711"), true);
    row("less than nothing", "-2\n", counted("-2"), true);
    row("words behind", "12 files", counted("12"), true);
    row("words", "grep: out of memory\n", counted("0"), false);
}

static void warmUp(ExportScreen &screen)
{
    QDir().mkpath(QStringLiteral("/sys/class/block/sda"));
    screen.expect(opened, looking);
    screen.quietTicks(opened, 1, 4);
}

void TestExportPipe::answer()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, prints);
    QFETCH(bool, mounted);
    answerText = text.isNull() ? nullptr : text.constData();
    ExportScreen screen;
    warmUp(screen);
    screen.quietTicks(opened, 5, 1, looking + prints);
    tick(screen.dialog());
    if (mounted)
        screen.expect(found, tickLine(6, true));
    else
        screen.expect(opened, tickLine(6) + looking + prints);
}

void TestExportPipe::noAnswerAtThePress()
{
    answerText = "3\n";
    ExportScreen screen;
    warmUp(screen);
    screen.quietTicks(opened, 5, 1, looking + counted("3"));
    tick(screen.dialog());
    screen.expect(found, tickLine(6, true));
    answerText = nullptr;
    screen.press();
    screen.expect(gone, "[sync]\n" + failed + "usb button - update dir does not exist\n");
}

QTEST_MAIN(TestExportPipe)
#include "tst_exportpipe.moc"
