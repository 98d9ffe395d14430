#include "logs/htmllimits.h"
#include "tests/logs/logscreen.h"
#include "tests/support/instrument.h"

#include <QTextBlock>
#include <QtTest>

#include <ctime>

/// Logs that the toolkit's own text view cannot stand, or hardly: each is shown whole, and the
/// screen stays alive.
class TestLogDocument : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void plainAsTheToolkitShowsIt_data();
    void plainAsTheToolkitShowsIt();
    void soonerThanTheToolkit_data();
    void soonerThanTheToolkit();
    void longWordsAmongLines_data();
    void longWordsAmongLines();
    void ordinaryHtml_data();
    void ordinaryHtml();
    void pictures_data();
    void pictures();
    void hostileHtml_data();
    void hostileHtml();
    void htmlLimits_data();
    void htmlLimits();
    void otherFilesAreNotRead();
    void wholeLog_data();
    void wholeLog() { showWhole(); }
    void wholeLogdense_data() { wholeLog_data(); }
    void wholeLogdense() { showWhole(); }
    void moreLinesThanBlocks();
    void heightLimittall_data();
    void heightLimittall();
    void clearedWhileItComesIn();
    void memoryIsGivenBack();
    void formatOfTheLogBefore();
    void shortLogAfterATallOne();

private:
    static void showWhole();
};

static const QByteArray line = "Nov 21 02:41:11 indicator kernel: a line of the log\n"; // 52 bytes

static QString withNuls(const QByteArray &log)
{
    return QString::fromUtf8(log.constData(), log.size());
}

static QImage pageOf(QTextEdit *view) { return view->viewport()->grab().toImage(); }

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
    QTRY_VERIFY_WITH_TIMEOUT(screen.text()->toPlainText() == QString::fromUtf8(log), 60000);
    // The toolkit lays out what is far below only when asked.
    for (const QTextEdit *text : {screen.text(), bare.text()})
        QVERIFY(text->document()->pageCount() > 0);
    QVERIFY(bare.text()->document()->size().height() > 300000.0 * megabytes);
    QCOMPARE(screen.text()->document()->size(), bare.text()->document()->size());
    QCOMPARE(screen.text()->document()->blockCount(), bare.text()->document()->blockCount());
    QVERIFY(!screen.text()->document()->isModified());
    QVERIFY(screen.text()->document()->isUndoRedoEnabled());
    QCoreApplication::processEvents();
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
    screen.touchButton("pbuttonLogViewerBottom");
    bare.text()->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
    leave(screen);
}

void TestLogDocument::soonerThanTheToolkit_data()
{
    QTest::addColumn<QByteArray>("part");
    QTest::newRow("ASCII") << line;
    QTest::newRow("UTF-8") << QByteArray("Sep 19 08:15:00 Ger\xC3\xA4t: 22 \xC2\xB0"
                                         "C, Zustand ge\xC3\xA4ndert, \xD0\xB6\n");
}

/// Shows what comes of @p act and then the end. Returns the seconds of processor time that it took.
template <typename Act> static double secondsToTheEnd(QTextEdit *view, Act act)
{
    const std::clock_t start = std::clock();
    act();
    pageOf(view);
    if (view->document()->pageCount() > 0)
        QCoreApplication::processEvents();
    view->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    pageOf(view);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Not a measure, which is in bench/: a tenth is usual.
void TestLogDocument::soonerThanTheToolkit()
{
    QFETCH(QByteArray, part);
    const QByteArray log = part.repeated((10 << 20) / part.size());
    writeLog(log);
    LogScreen screen;
    screen.touchLog(0);
    const double own
        = secondsToTheEnd(screen.text(), [&] { screen.touchButton("pbuttonViewFile"); });
    BareViewer bare({});
    const QString text = QString::fromUtf8(log);
    const double toolkits = secondsToTheEnd(bare.text(), [&] { bare.text()->setText(text); });
    QCOMPARE(pageOf(screen.text()), pageOf(bare.text()));
    QVERIFY2(own < toolkits / 2, qPrintable(QStringLiteral("%1 of %2 s").arg(own).arg(toolkits)));
}

void TestLogDocument::longWordsAmongLines_data()
{
    QTest::addColumn<QByteArray>("word");
    const QByteArray nulBlock(31000, '\0');
    const QByteArray digits = QByteArray("TWFuIGlzIGRpc3Rpbmd1aXNoZWQsIG5vdCBvbmx5").repeated(800);
    QTest::newRow("NUL block") << nulBlock;
    QTest::newRow("base64") << digits;
    QTest::newRow("JSON") << "{"
            + QByteArray("\"device\":\"/dev/sda\",\"state\":12,").repeated(1000) + "}";
}

// They change nothing of the lines around them.
void TestLogDocument::longWordsAmongLines()
{
    QFETCH(QByteArray, word);
    const QByteArray lines = "usb 1-1: the state of the device has changed, and that after such a "
                             "long time, to configured, at last\n";
    writeLog(lines.repeated(30) + word + '\n' + lines.repeated(30));
    LogScreen screen;
    screen.view();
    const BareViewer bare(withNuls(lines.repeated(30) + word + '\n' + lines.repeated(30)));
    QVERIFY(bare.text()->document()->pageCount() > 0);
    QCoreApplication::processEvents();
    QCOMPARE(screen.bar()->maximum(), bare.text()->verticalScrollBar()->maximum());
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
    screen.touchButton("pbuttonLogViewerBottom");
    bare.text()->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
}

void TestLogDocument::ordinaryHtml_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("many tables") << "<h1>Report</h1>"
            + QByteArray("<table><tr><td>channel<td>value</table>").repeated(100);
    QTest::newRow("tables in tables")
        << QByteArray("<table><tr><td>").repeated(5) + "x" + QByteArray("</table>").repeated(5);
    QTest::newRow("10001 paragraphs") << QByteArray("<p>line of a log</p>\n").repeated(10001);
    QTest::newRow("2500 rows of a table") << "<table>"
            + QByteArray("<tr><td>channel</td><td>value</td><td>unit</td></tr>\n").repeated(2500)
            + "</table>";
    QTest::newRow("tables in tables, 15 deep")
        << QByteArray("<table><tr><td>").repeated(15) + "x" + QByteArray("</table>").repeated(15);
    QTest::newRow("less-than signs") << "<html>" + QByteArray(20001, '<');
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

void TestLogDocument::pictures_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::newRow("directory") << QByteArray("/tmp/logs");
    QTest::newRow("directory, as an address") << QByteArray("file:///tmp/logs");
    QTest::newRow("another machine") << QByteArray("http://192.168.1.1/tmp/logs");
    QTest::newRow("nothing") << QByteArray("/tmp/logs/none");
    QTest::newRow("no picture") << QByteArray("/tmp/logs/log");
}

// The toolkit's own, for a picture that cannot be shown.
void TestLogDocument::pictures()
{
    QFETCH(QByteArray, source);
    const QByteArray log = "<h1>a</h1><img src=\"" + source + "\"><p>b";
    writeLog(log);
    LogScreen screen;
    screen.view();
    const BareViewer bare(QString::fromUtf8(log));
    const BareViewer without(QStringLiteral("<h1>a</h1><p></p><p>b"));
    QCOMPARE(screen.text()->grab().toImage(), bare.text()->grab().toImage());
    QVERIFY(bare.text()->grab().toImage() != without.text()->grab().toImage());
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
    QTest::newRow("closed by tags that are not open")
        << "<p>" + QByteArray("<b></i>").repeated(100000);
    QTest::newRow("list") << "<ul>" + QByteArray("<li>item\n").repeated(100000);
    QTest::newRow("word") << "<p>" + QByteArray(1 << 20, 'x');
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

void TestLogDocument::htmlLimits_data()
{
    QTest::addColumn<QByteArray>("within");
    QTest::addColumn<QByteArray>("beyond");
    const auto row = [](const char *name, const QByteArray &part, int limit,
                        const QByteArray &before) {
        QTest::newRow(name) << before + part.repeated(limit) << before + part.repeated(limit + 1);
    };
    row("elements inside each other", "<i>", 25000, "");
    row("blocks inside each other", "<div>", 15000, "");
    row("headings inside each other", "<h1>", 15000, "");
    row("preformatted elements inside each other", "<pre>", 12000, "");
    row("elements and blocks inside each other", "<b></p><div>", 9375, "");
    row("tables inside each other", "<table><tr><td>", 18, "");
    row("pictures at a side", "<p><img src=x align=left>", 2700, "");
    row("pictures at a side by their style", "<p><img src=x style=\"float: left\">", 2700, "");
    row("tables at a side", "<table align=right></table>", 2700, "");
    row("tables at a side by a style sheet", "<table></table>", 2700,
        "<style>table { float: left }</style>");
    row("tables in the middle and at a side",
        "<table align=center></table><table align=left></table>", 2700, "");
    row("items of a list", "<li>item", 10500, "<ul>");
    row("pictures of a paragraph", "<img src=x> ", 8500, "<p>");
    row("characters of a word", "x", 205000, "<p>");
    row("height", "<p>x", 279620, ""); // 18 pixels of text and 12 above, and 2^23 altogether
}

void TestLogDocument::htmlLimits()
{
    QFETCH(QByteArray, within);
    QFETCH(QByteArray, beyond);
    const QFont font(QStringLiteral("Liberation Mono"), 11);
    QVERIFY(canShowHtml(QString::fromUtf8(within), font));
    QVERIFY(!canShowHtml(QString::fromUtf8(beyond), font));
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

void TestLogDocument::wholeLog_data()
{
    QTest::addColumn<QByteArray>("log");
    QByteArray numbered;
    for (int number = 100000; number < 400000; ++number)
        numbered += QByteArray::number(number) + ' ' + QByteArray("wrapped ").repeated(9) + '\n';
    QTest::newRow("lines of two") << numbered;
    QTest::newRow("short lines") << QByteArray("line\n").repeated(1 << 20) + "last\n";
    QTest::newRow("short lines, 3.9 MB") << QByteArray("a line\n").repeated(560000) + "last\n";
    QTest::newRow("line ends") << QByteArray(1 << 20, '\n') + "last\n";
    QTest::newRow("60 columns") << (QByteArray(59, 'x') + '\n').repeated(250000) + "last\n";
    QTest::newRow("carriage returns") << QByteArray("\r12%").repeated(600000) + "\nlast\n";
    QTest::newRow("CRLF") << QByteArray("a line\r\n").repeated(700000) + "last\r\n";
    QTest::newRow("U+2029") << QByteArray("12%\xE2\x80\xA9").repeated(500000) + "\nlast\n";
    QTest::newRow("U+FDD0") << QByteArray("12%\xEF\xB7\x90").repeated(500000) + "\nlast\n";
    QTest::newRow("U+FDD1") << QByteArray("12%\xEF\xB7\x91").repeated(500000) + "\nlast\n";
    QTest::newRow("one line") << "first " + QByteArray(24000000, 'x') + '\n';
    QTest::newRow("NUL block") << line.repeated(10) + QByteArray(5000000, '\0') + line.repeated(50);
    QTest::newRow("words of one line")
        << QByteArray("some words of a line ").repeated(500000) + "\n";
    QTest::newRow("UTF-8") << QByteArray("22 \xC2\xB0"
                                         "C\n")
                                  .repeated(600000)
            + "last\n";
}

/// The lines that a page of the log's end holds, and more.
static QByteArray endOf(const QByteArray &log)
{
    const int from = qMax(0, log.size() - 20000);
    const int lineStart = log.indexOf('\n', from) + 1;
    return lineStart > 0 && lineStart < log.size() - 2000 ? log.mid(lineStart) : log;
}

// The toolkit shows none of these whole; what it shows of a beginning and an end that are small is
// what there is to see.
void TestLogDocument::showWhole()
{
    QFETCH(QByteArray, log);
    writeLog(log);
    LogScreen screen;
    screen.view();
    const BareViewer beginning(withNuls(log.left(20000)));
    if (!QByteArray(QTest::currentDataTag()).startsWith("U"))
        QCOMPARE(pageOf(screen.text()), pageOf(beginning.text()));

    screen.touchButton("pbuttonLogViewerBottom");
    QCOMPARE(screen.bar()->value(), screen.bar()->maximum());
    const int bottom = screen.bar()->value();
    const QByteArray lastLines = endOf(log);
    if (lastLines.size() < log.size()) {
        const BareViewer end(withNuls(lastLines));
        QVERIFY(end.text()->document()->pageCount() > 0);
        QCoreApplication::processEvents();
        end.text()->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
        QCOMPARE(pageOf(screen.text()), pageOf(end.text()));
    }
    QVERIFY(screen.text()->document()->pageCount() > 0); // all of it is laid out by now
    QCoreApplication::processEvents();
    QCOMPARE(screen.bar()->maximum(), bottom);
    const QImage lastPage = pageOf(screen.text());
    screen.touchButton("pbuttonLogViewerPageUp");
    QCOMPARE(screen.bar()->value(), bottom - screen.bar()->pageStep());
    QString whole = withNuls(log);
    whole.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    for (const uint end : {0x0DU, 0x2029U, 0xFDD0U, 0xFDD1U})
        whole.replace(QChar(end), QLatin1Char('\n'));
    QTRY_COMPARE_WITH_TIMEOUT(screen.text()->document()->characterCount(), whole.size() + 1, 60000);
    QVERIFY(screen.text()->toPlainText() == whole);
    QCOMPARE(screen.bar()->value(), bottom - screen.bar()->pageStep());
    screen.touchButton("pbuttonLogViewerPageDown");
    QCOMPARE(pageOf(screen.text()), lastPage); // it is all there, and nothing has moved
    leave(screen);
}

// In the middle of such a log the lines share blocks. Nothing else may tell.
void TestLogDocument::moreLinesThanBlocks()
{
    const QByteArray log = QByteArray("a line\n").repeated(700000) + "last";
    writeLog(log);
    LogScreen screen;
    screen.view();
    QTRY_VERIFY_WITH_TIMEOUT(screen.text()->toPlainText() == QString::fromUtf8(log), 60000);
    const QTextDocument *document = screen.text()->document();
    QVERIFY(document->blockCount() < 100000);
    QCOMPARE(document->firstBlock().text(), QStringLiteral("a line"));
    QCOMPARE(document->lastBlock().text(), QStringLiteral("last"));
    QCOMPARE(document->pageCount(), 1); // measures all of it
    QCOMPARE(document->size().height(), 8 + 700001 * 18.0);
}

void TestLogDocument::heightLimittall_data()
{
    QTest::addColumn<int>("pixels");
    QTest::addColumn<bool>("isShown");
    QTest::newRow("within") << INT_MAX - 10000 << true;
    QTest::newRow("beyond") << INT_MAX - 3000 << false;
    QTest::newRow("far beyond") << INT_MAX << false;
}

// A scroll bar counts pixels, in an int. Large letters need fewer of the lines for that.
void TestLogDocument::heightLimittall()
{
    QFETCH(int, pixels);
    QFETCH(bool, isShown);
    writeLog("a line");
    LogScreen screen;
    screen.view();
    const int lineHeight = screen.text()->fontMetrics().height();
    QVERIFY(lineHeight > 60);
    screen.touchButton("pbuttonBackToFileSelect");

    writeLog(QByteArray(pixels / lineHeight + (isShown ? 0 : 1), '\n') + "last");
    screen.view();
    const QString refusal
        = QStringLiteral("Critical: Error: Could not open file: OK: in LogsViewer");
    QCOMPARE(screen.boxes.take(), isShown ? QStringList() : QStringList(refusal));
    QCOMPARE(screen.showsViewer(), isShown);
    if (!isShown)
        return;
    screen.touchButton("pbuttonLogViewerBottom");
    QVERIFY(screen.bar()->maximum() > INT_MAX - 20000);
    QCOMPARE(screen.bar()->value(), screen.bar()->maximum());
    const BareViewer end(QString(100, QLatin1Char('\n')) + QStringLiteral("last"));
    end.text()->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
    QCOMPARE(pageOf(screen.text()), pageOf(end.text()));
}

void TestLogDocument::clearedWhileItComesIn()
{
    writeLog(line.repeated((30 << 20) / line.size()));
    LogScreen screen;
    screen.view();
    QVERIFY(screen.text()->document()->characterCount() < 30 << 20);
    screen.touchButton("pbuttonBackToFileSelect");
    QTest::qWait(200); // the event loop would go on with it
    QCOMPARE(screen.text()->toPlainText(), QString());
    QCOMPARE(screen.bar()->maximum(), 0);
}

/// Of this process, in kB.
static int residentMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray all = status.readAll();
    const QByteArray name = "VmRSS:";
    const QByteArray value = all.mid(all.indexOf(name) + name.size(), 20).trimmed();
    return value.left(value.indexOf(' ')).toInt();
}

// A program with a large heap starts its scripts much more slowly.
void TestLogDocument::memoryIsGivenBack()
{
    writeLog(line.repeated((30 << 20) / line.size()));
    LogScreen screen;
    const int before = residentMemory();
    QVERIFY(before > 0);
    screen.view();
    screen.touchButton("pbuttonLogViewerBottom");
    QTRY_VERIFY_WITH_TIMEOUT(screen.text()->toPlainText().size() > 30 << 19, 60000);
    QVERIFY(residentMemory() > before + 60000);
    screen.touchButton("pbuttonBackToFileSelect");
    QVERIFY(residentMemory() < before + 15000);
}

// The toolkit goes on with the letters of the text that it showed last; so it does here.
void TestLogDocument::formatOfTheLogBefore()
{
    writeList("html,/tmp/logs,HTML\nlog,/tmp/logs,Log\n");
    const QByteArray html = "<b>bold</b>";
    Instrument::write(QStringLiteral("/tmp/logs/html"), html);
    Instrument::write(QStringLiteral("/tmp/logs/log"), line.repeated(100));
    LogScreen screen;
    screen.view(0);
    screen.touchButton("pbuttonBackToFileSelect");
    screen.view(1);
    const BareViewer bare(QString::fromUtf8(html));
    bare.text()->clear();
    bare.text()->setText(QString::fromUtf8(line.repeated(100)));
    QVERIFY(bare.text()->document()->pageCount() > 0);
    QCoreApplication::processEvents();
    QCOMPARE(screen.text()->document()->size(), bare.text()->document()->size());
    QCOMPARE(pageOf(screen.text()), pageOf(bare.text()));
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

// The dots per inch are the screen's: a process has one kind.
int main(int count, char **arguments)
{
    for (int i = 1; i < count; ++i) {
        if (QByteArray(arguments[i]).endsWith("dense"))
            qputenv("QT_FONT_DPI", "133");
        if (QByteArray(arguments[i]).endsWith("tall"))
            qputenv("QT_FONT_DPI", "400");
    }
    QApplication application(count, arguments);
    TestLogDocument test;
    return QTest::qExec(&test, count, arguments);
}
#include "tst_logdocument.moc"
