#include "tests/logs/logscreen.h"
#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"

#include <QtTest>

/// What the viewer shows of every kind of file.
class TestLogFiles : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void doneButtonStyle();
    void texts_data();
    void texts();
    void asTheToolkitShowsIt_data();
    void asTheToolkitShowsIt();
    void cannotBeOpened_data();
    void cannotBeOpened();
    void emptyDeviceAndFileOfTheKernel();
    void afterAFailureTheNextLogOpens();
    void links();
};

static const QString noFile
    = QStringLiteral("Critical: Error: Could not open file: OK: in LogsViewer");

void TestLogFiles::doneButtonStyle()
{
    writeLog("text\n");
    LogScreen screen;
    screen.view();
    QCOMPARE(screen.button("pbuttonBackToFileSelect")->styleSheet(),
             QStringLiteral("QPushButton{background-color:lightgray}"));
}

void TestLogFiles::texts_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *name, const QByteArray &log, const QString &shown) {
        QTest::newRow(name) << log << shown;
    };
    row("empty", "", {});
    row("one line", "boot\n", QStringLiteral("boot\n"));
    row("no line end", "boot", QStringLiteral("boot"));
    row("only line ends", "\n\n\n", QStringLiteral("\n\n\n"));
    row("blanks and tabs", "  a\t\tb  \n", QStringLiteral("  a\t\tb  \n"));
    row("UTF-8",
        "22 \xC2\xB0"
        "C\n",
        QStringLiteral("22 \u00B0C\n"));
    row("less-than signs", "1 < 2 && 3 > 2 &amp;\n", QStringLiteral("1 < 2 && 3 > 2 &amp;\n"));
    row("tag after the first line", "boot\n<b>done</b>\n", QStringLiteral("boot\n<b>done</b>\n"));
    row("tag in the first line", "boot <b>done</b>\nup", QStringLiteral("boot done up"));
    row("HTML", "<h1>Boot</h1><p>all &lt;well&gt;</p>", QStringLiteral("Boot\nall <well>"));
    row("HTML in a document", "<html><body>a<br>b</body></html>", QStringLiteral("a\nb"));
}

void TestLogFiles::texts()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    screen.view();
    QVERIFY(screen.showsViewer());
    QTEST(screen.text()->toPlainText(), "shown");
}

void TestLogFiles::asTheToolkitShowsIt_data()
{
    QTest::addColumn<QByteArray>("log");
    const auto row = [](const char *name, const QByteArray &log) { QTest::newRow(name) << log; };
    row("empty", "");
    row("plain", "Nov 21 02:41:11 indicator kernel: usb 1-1 <new> device\n");
    row("CRLF", "a\r\nb\r\n");
    row("lone carriage returns", "progress 1\rprogress 2\r");
    row("control characters", "\x1B[31mred\x1B[0m\a\b\f\v\n");
    row("NUL", QByteArray("before\0after\n\0\0\0", 16));
    row("NUL first", QByteArray("\0<b>bold</b>", 12));
    row("invalid UTF-8",
        "a\xFF\xC3(\x80"
        "b\n");
    row("byte order mark", "\xEF\xBB\xBFtext\n");
    row("noncharacters", "\xEF\xB7\x90 \xEF\xBF\xBF \xF0\x9F\x93\x84\n");
    row("binary",
        QByteArray("\x7F"
                   "ELF\x02\x01\x01\0\0\0\0\0\xFF\xFE\x80",
                   15));
    row("every byte", [] {
        QByteArray bytes;
        for (int i = 0; i < 256; ++i)
            bytes += char(i);
        return bytes;
    }());
    row("XML", "<?xml version=\"1.0\"?>\n<log><line>1</line></log>\n");
    row("tag", "<b>bold</b> and plain\n");
    row("unknown tag", "<4>[    0.000000] Booting Linux\n<6>[    0.000000] Memory\n");
    row("HTML page",
        "<!DOCTYPE html><html><head><title>t</title><style>p{color:red}</style></head>"
        "<body><p>red<table border=1><tr><td>1<td>2</table><ul><li>x</ul></body></html>");
    row("broken HTML", "<table><tr><td><b><i>x</table></i><p");
    row("long HTML", "<html>" + QByteArray("<p>line</p>\n").repeated(500));
    row("long", QByteArray("Nov 21 02:41:11 indicator kernel: a line\n").repeated(9000));
    row("1 MB", QByteArray("Nov 21 02:41:11 indicator kernel: a line\n").repeated(26000));
    row("line of many words", QByteArray("word ").repeated(20000));
}

void TestLogFiles::asTheToolkitShowsIt()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    screen.view();
    const BareViewer bare(QString::fromUtf8(log.constData(), log.size()));
    // The toolkit lays out what is far below only when asked, and tells its view of it later.
    for (const QTextEdit *view : {screen.text(), bare.text()})
        QVERIFY(view->document()->pageCount() > 0);
    QCoreApplication::processEvents();
    QVERIFY(screen.text()->toPlainText() == bare.text()->toPlainText());
    if (log.size() <= 400000) // more takes a minute to write as HTML
        QCOMPARE(screen.text()->toHtml(), bare.text()->toHtml());
    QCOMPARE(screen.text()->viewport()->size(), bare.text()->viewport()->size());
    QCOMPARE(screen.bar()->maximum(), bare.text()->verticalScrollBar()->maximum());
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
}

void TestLogFiles::cannotBeOpened_data()
{
    QTest::addColumn<QByteArray>("command");
    // It was there when the list was built.
    QTest::newRow("vanished") << QByteArray("rm $L");
    QTest::newRow("directory vanished") << QByteArray("rm -r /tmp/logs");
    QTest::newRow("no permission") << QByteArray("chmod 0 $L");
    QTest::newRow("no permission for the directory") << QByteArray("chmod 0 /tmp/logs");
    QTest::newRow("directory") << QByteArray("rm $L; mkdir $L");
    QTest::newRow("pipe") << QByteArray("rm $L; mkfifo $L");
    QTest::newRow("file of the kernel's without an end")
        << QByteArray("ln -sf /proc/self/pagemap $L");
    QTest::newRow("larger than a text can be")
        << QByteArray("truncate -s $(((1 << 30) - (1 << 20))) $L");
    QTest::newRow("endless device") << QByteArray("ln -sf /dev/zero $L");
    QTest::newRow("link to itself") << QByteArray("ln -sf log $L");
}

void TestLogFiles::cannotBeOpened()
{
    QFETCH(QByteArray, command);
    writeLog("text\n");
    LogScreen screen;
    screen.touchLog(0);
    Instrument::shell("L=/tmp/logs/log; " + command);
    screen.touchButton("pbuttonViewFile");
    QCOMPARE(screen.boxes.take(), QStringList(noFile));
    QVERIFY(!screen.showsViewer());
    QCOMPARE(screen.heading(), viewerHeading); // it is left as it is
    QVERIFY(screen.button("pbuttonViewFile")->isEnabled());
    Instrument::shell("chmod -f 700 /tmp/logs || :");
}

// Both are ordinary to open, and to read to the end.
void TestLogFiles::emptyDeviceAndFileOfTheKernel()
{
    writeLog("text\n");
    LogScreen screen;
    screen.touchLog(0);
    Instrument::shell("ln -sf /dev/null /tmp/logs/log");
    screen.touchButton("pbuttonViewFile");
    QVERIFY(screen.showsViewer());
    QCOMPARE(screen.text()->toPlainText(), QString());
    screen.touchButton("pbuttonBackToFileSelect");
    Instrument::shell("ln -sf /proc/version /tmp/logs/log");
    screen.touchButton("pbuttonViewFile");
    QVERIFY(screen.text()->toPlainText().startsWith(QLatin1String("Linux")));
    QCOMPARE(screen.boxes.take(), QStringList());
}

void TestLogFiles::afterAFailureTheNextLogOpens()
{
    writeList("gone,/tmp/logs,Gone\nlast,/tmp/logs,Last\n");
    Instrument::write(QStringLiteral("/tmp/logs/gone"), {});
    Instrument::write(QStringLiteral("/tmp/logs/last"), "last text\n");
    LogScreen screen;
    QFile::remove(QStringLiteral("/tmp/logs/gone"));
    screen.view(0);
    QCOMPARE(screen.boxes.take(), QStringList(noFile));
    screen.view(1);
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("last text\n"));
    screen.touchButton("pbuttonBackToFileSelect");
    QCOMPARE(screen.heading(), selectionHeading);
}

void TestLogFiles::links()
{
    writeLog({});
    Instrument::shell("cd /tmp/logs; echo there >real; ln -sf real log");
    LogScreen screen;
    screen.view();
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("there\n"));
}

QTEST_MAIN(TestLogFiles)
#include "tst_logfiles.moc"
