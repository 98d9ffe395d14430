#include "logs/loglist.h"

#include <QtTest>

/// How the list of logs is cut, without a screen.
class TestLogList : public QObject
{
    Q_OBJECT

private slots:
    void lines_data();
    void lines();
    void fields_data();
    void fields();
    void longLine();
    void longList();
};

void TestLogList::lines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char *name, const QString &text, const QStringList &lines) {
        QTest::newRow(name) << text << lines;
    };
    const QString a = QStringLiteral("a,b,c");
    const QString d = QStringLiteral("d,e,f");
    row("nothing", {}, {});
    row("one", a, {a});
    row("line end", a + QStringLiteral("\n"), {a});
    row("two", a + QStringLiteral("\n") + d, {a, d});
    row("empty lines", QStringLiteral("\n\n%1\n\n\n%2\n\n").arg(a, d), {a, d});
    row("only empty lines", QStringLiteral("\n\n\n"), {});
    row("blank line", a + QStringLiteral("\n \n"), {a, QStringLiteral(" ")});
    row("the same twice", QStringLiteral("%1\n%1").arg(a), {a, a});
    // What the file's reader has left of CRLF or lone carriage returns is text.
    row("carriage return", QStringLiteral("%1\r\n\r\n%2\r").arg(a, d),
        {a + QStringLiteral("\r"), QStringLiteral("\r"), d + QStringLiteral("\r")});
    row("NUL", a + QChar(0) + QStringLiteral("\n") + QChar(0), {a + QChar(0), QString(QChar(0))});
    row("other line breaks", QStringLiteral("a\vb\fc\u2028d\u2029e"),
        {QStringLiteral("a\vb\fc\u2028d\u2029e")});
}

void TestLogList::lines()
{
    QFETCH(QString, text);
    QTEST(logListLines(text), "lines");
}

void TestLogList::fields_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QString>("path");
    const auto row = [](const char *line, const char *displayName, const char *path) {
        QTest::newRow(line) << QString::fromUtf8(line) << QString::fromUtf8(displayName)
                            << QString::fromUtf8(path);
    };
    row("messages,/var/log,System Log", "System Log", "/var/log/messages");
    row("a,b", "", "b/a");
    row("a", "", "/a");
    row("a,", "", "/a");
    row(",,", "", "/");
    row(",,c", "c", "/");
    row(",b,", "", "b/");
    row("a,,c", "c", "/a");
    row("a,b,c,d", "c", "b/a");
    row("a,b,c,d,e,,,", "c", "b/a");
    row(" a , b , c ", " c ", " b / a ");
    row("a,b/,c", "c", "b//a");
    row("a,../..,c", "c", "../../a");
    row("a,b,c\r", "c\r", "b/a");
    row("a,b\r", "", "b\r/a");
    row("\"a,b\",c,d", "c", "b\"/\"a");
    row("a;b;c", "", "/a;b;c");
    row("a\t,b,c\t", "c\t", "b/a\t");
    row("\xC3\xA9,/\xC3\xBC,\xE2\x82\xAC", "\xE2\x82\xAC", "/\xC3\xBC/\xC3\xA9");
    row("\xF0\x9F\x93\x84,b,\xF0\x9F\x93\x84", "\xF0\x9F\x93\x84", "b/\xF0\x9F\x93\x84");
}

void TestLogList::fields()
{
    QFETCH(QString, line);
    const LogEntry entry = parseLogLine(line);
    QTEST(entry.displayName, "displayName");
    QTEST(entry.path, "path");
}

void TestLogList::longLine()
{
    const QString megabyte(1 << 20, QLatin1Char('x'));
    const LogEntry name = parseLogLine(QStringLiteral("a,b,") + megabyte);
    QCOMPARE(name.displayName, megabyte);
    const LogEntry file = parseLogLine(megabyte + QStringLiteral(",b,c"));
    QCOMPARE(file.path, QStringLiteral("b/") + megabyte);
    QCOMPARE(parseLogLine(QString(1 << 20, QLatin1Char(','))).path, QStringLiteral("/"));
}

void TestLogList::longList()
{
    const QString line = QStringLiteral("messages,/var/log,System Log");
    const QString text = (line + QStringLiteral("\n")).repeated(350000); // 10 MB
    const QStringList lines = logListLines(text);
    QCOMPARE(lines.size(), 350000);
    QCOMPARE(lines.constFirst(), line);
    QCOMPARE(lines.constLast(), line);
}

QTEST_GUILESS_MAIN(TestLogList)
#include "tst_loglist.moc"
