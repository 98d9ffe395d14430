#include "tests/logs/logscreen.h"
#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"

#include <QtTest>

/// Choosing a log: the table for every kind of list, presses on available and grey entries.
class TestLogSelection : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void start();
    void lists_data();
    void lists();
    void binaryList();
    void missingList_data();
    void missingList();
    void longList();
    void longLine();
    void greyEntries();
    void presses();
    void greyClickKeepsThePath();
    void firstPressOnGrey();
    void nothingPressed();
    void itemOfNoTable();
    void beneathTheRows();
    void close_data();
    void close();
};

static const QString noFile
    = QStringLiteral("Critical: Error: Could not open file: OK: in LogsViewer");
static const QString noChoice
    = QStringLiteral("Critical: Error: No file was selected for viewing!: OK: in LogsViewer");

/// Three logs; the one in the middle is not there.
void TestLogSelection::init()
{
    Instrument::clear();
    Instrument::write(QStringLiteral("/tmp/logs/first"), "first text\n");
    Instrument::write(QStringLiteral("/tmp/logs/last"), "last text\n");
    writeList("first,/tmp/logs,First\nnone,/tmp/logs,None\nlast,/tmp/logs,Last\n");
}

void TestLogSelection::start()
{
    const LogScreen screen;
    QVERIFY(!screen.showsViewer());
    QCOMPARE(screen.heading(), selectionHeading);
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("Log Viewer"));
    QVERIFY(!screen.logs()->selectionModel()->hasSelection());
    QVERIFY(!screen.button("pbuttonViewFile")->isEnabled());
}

void TestLogSelection::lists_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<QStringList>("rows"); // name, "|", path, and "|grey" when not available
    const auto row = [](const char *name, const QByteArray &list, const QStringList &rows) {
        QTest::newRow(name) << list << rows;
    };
    const QString first = QStringLiteral("First|/tmp/logs/first");
    row("no line end", "first,/tmp/logs,First", {first});
    row("empty", "", {});
    row("empty lines", "\n\nfirst,/tmp/logs,First\n\n\nlast,/tmp/logs,Last\n\n",
        {first, QStringLiteral("Last|/tmp/logs/last")});
    row("CRLF", "first,/tmp/logs,First\r\n\r\nfirst,/tmp/logs,First\r\n", {first, first});
    row("two fields", "first,/tmp/logs\n", {QStringLiteral("|/tmp/logs/first")});
    row("two fields, missing", "a,b\n", {QStringLiteral("|b/a|grey")});
    row("one field", "first\n", {QStringLiteral("|/first|grey")});
    row("too many fields", "first,/tmp/logs,First,more,,\n", {first});
    row("commas", ",,,\n", {QStringLiteral("|/")}); // the root directory is there
    row("directory", "logs,/tmp,Logs\n", {QStringLiteral("Logs|/tmp/logs")});
    row("blanks", " first , /tmp/logs , First \n",
        {QStringLiteral(" First | /tmp/logs / first |grey")});
    row("invalid UTF-8", "first,/tmp/logs,F\xFFrst\n",
        {QString::fromUtf8("F\xEF\xBF\xBDrst|/tmp/logs/first")});
    row("NUL in the name", QByteArray("first,/tmp/logs,F\0rst\n", 22),
        {QStringLiteral("F%1rst|/tmp/logs/first").arg(QChar(0))});
    row("NUL in the path", QByteArray("first\0,/tmp/logs,First\n", 23),
        {QStringLiteral("First|/tmp/logs/first%1|grey").arg(QChar(0))});
    row("markup", "first,/tmp/logs,<b>First</b>\n",
        {QStringLiteral("<b>First</b>|/tmp/logs/first")});
}

static QString described(const QTableWidget *logs, int row)
{
    QStringList parts = {logs->item(row, 0)->text(), logs->item(row, 1)->text()};
    const Qt::ItemFlags flags = logs->item(row, 0)->flags();
    if (flags != logs->item(row, 1)->flags())
        parts += QStringLiteral("odd");
    else if (flags == Qt::NoItemFlags)
        parts += QStringLiteral("grey");
    else if (flags != QTableWidgetItem().flags())
        parts += QStringLiteral("strange");
    return parts.join(QLatin1Char('|'));
}

void TestLogSelection::lists()
{
    QFETCH(QByteArray, list);
    writeList(list);
    const LogScreen screen;
    QStringList rows;
    for (int row = 0; row < screen.logs()->rowCount(); ++row) {
        rows += described(screen.logs(), row);
        QCOMPARE(screen.logs()->rowHeight(row), 60);
    }
    QTEST(rows, "rows");
}

void TestLogSelection::binaryList()
{
    writeList(QByteArray("\x7F"
                         "ELF\0\xFF,\x80\n",
                         9)
                  .repeated(20)
              + "first,/tmp/logs,First\n");
    LogScreen screen;
    QCOMPARE(screen.logs()->rowCount(), 21);
    for (int row = 0; row < 20; ++row)
        QVERIFY(described(screen.logs(), row).endsWith(QLatin1String("|grey")));
    screen.view(20);
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("first text\n"));
}

void TestLogSelection::missingList_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("missing") << QByteArray("rm $L");
    QTest::newRow("directory") << QByteArray("rm $L; mkdir $L");
    QTest::newRow("no permission") << QByteArray("chmod 0 $L");
    QTest::newRow("pipe") << QByteArray("rm $L; mkfifo $L");
    QTest::newRow("endless device") << QByteArray("ln -sf /dev/zero $L");
    QTest::newRow("dangling link") << QByteArray("ln -sf nowhere $L");
}

void TestLogSelection::missingList()
{
    QFETCH(QByteArray, command);
    Instrument::shell("L=/mnt/recovery/logFiles.txt; " + command);
    LogScreen screen;
    QCOMPARE(screen.boxes.take(), QStringList(noFile));
    QCOMPARE(screen.logs()->rowCount(), 0);
    QCOMPARE(screen.logs()->columnCount(), 2);
    QVERIFY(!screen.button("pbuttonViewFile")->isEnabled());
    QTest::mouseClick(screen.logs()->viewport(), Qt::LeftButton);
    QVERIFY(!screen.button("pbuttonViewFile")->isEnabled());
    screen.touchButton("pbuttonBackToUtils");
    QVERIFY(!screen.viewer.isVisible());
}

void TestLogSelection::longList()
{
    const QByteArray line = "first,/tmp/logs,First\n";
    writeList(line.repeated((10 << 20) / line.size()) + "last,/tmp/logs,Last\n"); // 10 MB
    LogScreen screen;
    const int last = (10 << 20) / line.size();
    QCOMPARE(screen.logs()->rowCount(), last + 1);
    QCOMPARE(described(screen.logs(), 0), QStringLiteral("First|/tmp/logs/first"));
    QCOMPARE(screen.logs()->rowHeight(last), 60);
    screen.view(last);
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("last text\n"));
}

void TestLogSelection::longLine()
{
    const QByteArray megabyte(1 << 20, 'x');
    writeList("first,/tmp/logs," + megabyte + '\n' + megabyte + ",/tmp/logs,Long\n" + megabyte
              + '\n');
    LogScreen screen;
    QCOMPARE(screen.logs()->rowCount(), 3);
    QCOMPARE(screen.logs()->item(0, 0)->text(), QString::fromLatin1(megabyte));
    QCOMPARE(screen.logs()->item(1, 1)->flags(), Qt::NoItemFlags);
    QCOMPARE(screen.logs()->item(2, 1)->flags(), Qt::NoItemFlags);
    screen.view(0);
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("first text\n"));
}

void TestLogSelection::greyEntries()
{
    const LogScreen screen;
    QCOMPARE(described(screen.logs(), 0), QStringLiteral("First|/tmp/logs/first"));
    QCOMPARE(described(screen.logs(), 1), QStringLiteral("None|/tmp/logs/none|grey"));
    QCOMPARE(described(screen.logs(), 2), QStringLiteral("Last|/tmp/logs/last"));
}

void TestLogSelection::presses()
{
    LogScreen screen;
    const QPushButton *view = screen.button("pbuttonViewFile");
    screen.touchLog(0);
    QVERIFY(view->isEnabled());
    QVERIFY(screen.logs()->item(0, 0)->isSelected());
    screen.touchLog(1);
    QVERIFY(!view->isEnabled());
    QVERIFY(!screen.logs()->item(1, 0)->isSelected());
    screen.touchLog(2);
    QVERIFY(view->isEnabled());
    QVERIFY(screen.logs()->item(2, 0)->isSelected());
    QVERIFY(!screen.logs()->item(0, 0)->isSelected());
    screen.touchButton("pbuttonViewFile");
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("last text\n"));
}

// The button is the only guard: the path of the earlier press is still there.
void TestLogSelection::greyClickKeepsThePath()
{
    LogScreen screen;
    screen.touchLog(0);
    screen.touchLog(1);
    QMetaObject::invokeMethod(&screen.viewer, "on_pbuttonViewFile_clicked");
    QVERIFY(screen.showsViewer());
    QCOMPARE(screen.text()->toPlainText(), QStringLiteral("first text\n"));
}

void TestLogSelection::firstPressOnGrey()
{
    LogScreen screen;
    screen.touchLog(1);
    QVERIFY(!screen.button("pbuttonViewFile")->isEnabled());
    QVERIFY(!screen.logs()->selectionModel()->hasSelection());
}

// A touch cannot reach the button then; its slot says so itself.
void TestLogSelection::nothingPressed()
{
    LogScreen screen;
    QTest::mouseClick(screen.button("pbuttonViewFile"), Qt::LeftButton);
    QCOMPARE(screen.boxes.take(), QStringList());
    QCOMPARE(screen.heading(), selectionHeading);
    QMetaObject::invokeMethod(&screen.viewer, "on_pbuttonViewFile_clicked");
    QCOMPARE(screen.boxes.take(), QStringList(noChoice));
    QVERIFY(!screen.showsViewer());
    QCOMPARE(screen.heading(), viewerHeading); // it is left as it is
}

void TestLogSelection::itemOfNoTable()
{
    LogScreen screen;
    screen.touchLog(0);
    QTableWidgetItem loose;
    QMetaObject::invokeMethod(&screen.viewer, "on_tableLogFiles_itemPressed",
                              Q_ARG(QTableWidgetItem *, &loose));
    screen.touchButton("pbuttonViewFile");
    QCOMPARE(screen.boxes.take(), QStringList(noChoice));
}

void TestLogSelection::beneathTheRows()
{
    LogScreen screen;
    QWidget *area = screen.logs()->viewport();
    const QPoint free(5, area->height() - 2);
    QVERIFY(!screen.logs()->indexAt(free).isValid());
    QTest::mouseClick(area, Qt::LeftButton, Qt::NoModifier, free);
    QVERIFY(!screen.button("pbuttonViewFile")->isEnabled());
    screen.touchLog(0);
    QTest::mouseClick(area, Qt::LeftButton, Qt::NoModifier, free);
    QVERIFY(screen.button("pbuttonViewFile")->isEnabled());
}

void TestLogSelection::close_data()
{
    QTest::addColumn<bool>("reading");
    QTest::addColumn<int>("way");
    for (bool reading : {false, true}) {
        const char *page = reading ? "reading" : "choosing";
        if (!reading)
            QTest::addRow("%s, Done", page) << reading << 0;
        QTest::addRow("%s, Escape", page) << reading << 1;
        QTest::addRow("%s, window manager", page) << reading << 2;
    }
}

void TestLogSelection::close()
{
    QFETCH(bool, reading);
    QFETCH(int, way);
    LogScreen screen;
    if (reading)
        screen.view();
    if (way == 0)
        screen.touchButton("pbuttonBackToUtils");
    else if (way == 1)
        QTest::keyClick(&screen.viewer, Qt::Key_Escape);
    else
        closeByWindowManager(&screen.viewer);
    QVERIFY(!screen.viewer.isVisible());
    QCOMPARE(screen.viewer.result(), int(QDialog::Rejected));
}

QTEST_MAIN(TestLogSelection)
#include "tst_logselection.moc"
