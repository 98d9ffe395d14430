#include "tests/logs/logscreen.h"
#include "tests/support/instrument.h"

#include <QtTest>

/// Logs that the toolkit's own text view cannot stand: each is shown, and the screen stays alive.
class TestLogDocument : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void plainAsTheToolkitShowsIt_data();
    void plainAsTheToolkitShowsIt();
    void ordinaryHtml_data();
    void ordinaryHtml();
    void hostileHtml_data();
    void hostileHtml();
    void otherFilesAreNotRead();
    void longWord();
    void tallLog_data();
    void tallLog();
    void tallLogLaidOutByTheEventLoop();
    void shortLogAfterATallOne();
};

static const QByteArray line = "Nov 21 02:41:11 indicator kernel: a line of the log\n"; // 52 bytes

/// Shows the log and its end.
static void readToTheEnd(LogScreen &screen)
{
    screen.view();
    QVERIFY(screen.showsViewer());
    screen.text()->grab();
    screen.touchButton("pbuttonLogViewerBottom");
    screen.text()->grab();
    QCoreApplication::processEvents();
    screen.touchButton("pbuttonLogViewerPageUp");
    screen.text()->grab();
}

static void leave(LogScreen &screen)
{
    screen.touchButton("pbuttonBackToFileSelect");
    QCOMPARE(screen.text()->toPlainText(), QString());
    screen.touchButton("pbuttonBackToUtils");
    QVERIFY(!screen.viewer.isVisible());
}

void TestLogDocument::plainAsTheToolkitShowsIt_data()
{
    QTest::addColumn<int>("megabytes");
    for (int megabytes : {1, 4, 10})
        QTest::addRow("%d MB", megabytes) << megabytes;
}

void TestLogDocument::plainAsTheToolkitShowsIt()
{
    QFETCH(int, megabytes);
    const QByteArray log = line.repeated((megabytes << 20) / line.size());
    writeLog(log);
    LogScreen screen;
    screen.view();
    const BareViewer bare(QString::fromUtf8(log));
    QVERIFY(screen.text()->toPlainText() == QString::fromUtf8(log));
    // The toolkit lays out what is far below only when asked.
    for (const QTextEdit *text : {screen.text(), bare.text()})
        QVERIFY(text->document()->pageCount() > 0);
    QVERIFY(bare.text()->document()->size().height() > 300000.0 * megabytes);
    QCOMPARE(screen.text()->document()->size(), bare.text()->document()->size());
    QCOMPARE(screen.text()->document()->blockCount(), bare.text()->document()->blockCount());
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
    leave(screen);
}

void TestLogDocument::ordinaryHtml_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("many tables") << "<h1>Report</h1>"
            + QByteArray("<table><tr><td>channel<td>value</table>").repeated(100);
    QTest::newRow("tables in tables")
        << QByteArray("<table><tr><td>").repeated(5) + "x" + QByteArray("</table>").repeated(5);
    QTest::newRow("many tags") << "<p>" + QByteArray("<b>a</b> ").repeated(2000);
    QTest::newRow("many paragraphs") << QByteArray("<p>line of a log</p>\n").repeated(3000);
    QTest::newRow("long address") << "<p>before <a href=\"" + QByteArray(40000, 'x')
            + "\">the log</a> " + line.repeated(20);
    QTest::newRow("long paragraphs")
        << "<h1>x</h1>" + ("<p>" + QByteArray("word ").repeated(500)).repeated(50);
}

void TestLogDocument::ordinaryHtml()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    screen.view();
    const BareViewer bare(QString::fromUtf8(log));
    QVERIFY(!screen.text()->toPlainText().contains(QLatin1Char('<')));
    QCOMPARE(screen.text()->toPlainText(), bare.text()->toPlainText());
    QCOMPARE(screen.text()->toHtml(), bare.text()->toHtml());
    QCOMPARE(screen.bar()->maximum(), bare.text()->verticalScrollBar()->maximum());
}

void TestLogDocument::hostileHtml_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("tables in tables") << QByteArray("<table><tr><td>").repeated(200) + "x";
    QTest::newRow("tables in tables, capitals")
        << QByteArray("<TABLE><TR><TD>").repeated(200) + "x";
    QTest::newRow("tables in tables, closed in comments")
        << QByteArray("<table><tr><td><!--</table>-->").repeated(200) + "x";
    QTest::newRow("open tags") << "<p>" + QByteArray("<b>").repeated(100000);
    QTest::newRow("20 MB") << "<html>" + ("<p>" + line).repeated((20 << 20) / line.size());
}

// As it was written, since the toolkit would be at it for minutes or for ever.
void TestLogDocument::hostileHtml()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    readToTheEnd(screen);
    QVERIFY(QString::fromUtf8(log).endsWith(screen.text()->toPlainText().right(1000)));
    leave(screen);
}

// Opening the pipe would wait for ever.
void TestLogDocument::otherFilesAreNotRead()
{
    writeLog("<h1>a</h1><img src=\"/tmp/logs/pipe\"><img src=\"file:///tmp/logs/pipe\">"
             "<img src=\"pipe\"><p>b<link rel=\"stylesheet\" href=\"/tmp/logs/pipe\">");
    Instrument::shell("mkfifo /tmp/logs/pipe");
    LogScreen screen;
    readToTheEnd(screen);
    const QString shown = screen.text()->toPlainText();
    QVERIFY(shown.startsWith(QLatin1Char('a')));
    QVERIFY(shown.endsWith(QLatin1Char('b')));
    QCOMPARE(shown.count(QChar::ObjectReplacementCharacter), 3);
    leave(screen);
}

void TestLogDocument::longWord()
{
    const QByteArray megabyte(1 << 20, 'x');
    writeLog("before\n" + megabyte + "\nafter\n");
    LogScreen screen;
    readToTheEnd(screen);
    QVERIFY(screen.text()->toPlainText() == QString::fromUtf8("before\n" + megabyte + "\nafter\n"));
    leave(screen);
}

void TestLogDocument::tallLog_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("20 MB of lines") << line.repeated((20 << 20) / line.size());
    QTest::newRow("short lines") << QByteArray("line\n").repeated(1 << 20) + "last\n";
    QTest::newRow("line ends") << QByteArray(1 << 20, '\n') + "last\n";
}

// What happened last is what counts in a log that is taller than the toolkit can paint.
void TestLogDocument::tallLog()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    readToTheEnd(screen);
    QVERIFY(QString::fromUtf8(log).endsWith(screen.text()->toPlainText().right(1000)));
    leave(screen);
}

// Nothing asks for the end: the view lays the text out piece by piece while nothing else is to do.
void TestLogDocument::tallLogLaidOutByTheEventLoop()
{
    QByteArray log;
    for (int number = 100000; number < 400000; ++number)
        log += QByteArray::number(number) + ' ' + QByteArray("wrapped ").repeated(9) + '\n';
    writeLog(log);
    LogScreen screen;
    screen.view();
    QTRY_VERIFY_WITH_TIMEOUT(screen.bar()->maximum() > 5000000, 120000);

    const QString shown = screen.text()->toPlainText();
    const QString notice = QStringLiteral("(This log is too long: here is its end.)\n");
    QVERIFY(shown.startsWith(notice));
    QVERIFY(QString::fromUtf8(log).endsWith(QLatin1Char('\n') + shown.mid(notice.size())));
    leave(screen);
}

void TestLogDocument::shortLogAfterATallOne()
{
    writeList("tall,/tmp/logs,Tall\nlog,/tmp/logs,Short\n");
    Instrument::write(QStringLiteral("/tmp/logs/tall"), line.repeated((4 << 20) / line.size()));
    Instrument::write(QStringLiteral("/tmp/logs/log"),
                      "<p>a</p>" + QByteArray("<p>b</p>").repeated(99));
    LogScreen screen;
    screen.view(0);
    screen.touchButton("pbuttonBackToFileSelect");
    screen.view(1);
    const BareViewer bare(QString::fromUtf8(Instrument::read(QStringLiteral("/tmp/logs/log"))));
    QCOMPARE(screen.text()->toHtml(), bare.text()->toHtml());
    QCOMPARE(screen.text()->document()->size(), bare.text()->document()->size());
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
}

QTEST_MAIN(TestLogDocument)
#include "tst_logdocument.moc"
