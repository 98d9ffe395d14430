#include "logs/linecounter.h"
#include "tests/logs/twinviews.h"

#include <QTextBlock>
#include <QtTest>

#include <random>

/// Lines that are counted are those that the toolkit lays out.
class TestLineCounter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void lettersOfTheFont_data();
    void lettersOfTheFont();
    void others_data();
    void others();
    void overhangingLetter();
    void tabs();
    void blanksAcrossItems_data();
    void blanksAcrossItems();

private:
    LineStyle styleOf(const QTextEdit *view) const;
    void compare(const QString &text);

    TwinViews views {{800, 480}};
    QString letters; ///< Beyond ASCII that can be counted.
};

LineStyle TestLineCounter::styleOf(const QTextEdit *view) const
{
    const QTextDocument *document = view->document();
    LineStyle style;
    style.font = QFont(document->defaultFont(), view->viewport());
    style.option = document->defaultTextOption();
    style.device = view->viewport();
    style.width
        = static_cast<int>((document->pageSize().width() - 2 * document->documentMargin()) * 64);
    return style;
}

/// All of @p text is counted, and each of its paragraphs is as the toolkit has it.
void TestLineCounter::compare(const QString &text)
{
    QTextEdit *view = views.toolkits();
    view->setPlainText(text);
    QVERIFY(view->document()->pageCount() > 0);
    QCoreApplication::processEvents(); // without or with a scroll bar
    LineCounter counter;
    counter.setText(LogText(view->document()->toRawText()));
    counter.setStyle(styleOf(view));
    for (QTextBlock block = view->document()->begin(); block.isValid(); block = block.next()) {
        const QTextLayout *layout = block.layout();
        LinePlace place {block.position(), block.position()};
        LineStretch stretch;
        qint64 height = 0;
        int lines = 0;
        do {
            QVERIFY2(counter.count(place, stretch), qPrintable(block.text()));
            height += stretch.height;
            lines += stretch.lines;
            place.line = stretch.end;
            const int next = place.line - block.position();
            if (!stretch.endsParagraph && lines < layout->lineCount())
                QCOMPARE(next, layout->lineAt(lines).textStart());
        } while (!stretch.endsParagraph);
        QVERIFY2(lines == layout->lineCount(), qPrintable(block.text()));
        QCOMPARE(height, static_cast<qint64>(layout->boundingRect().height() * 64));
    }
}

void TestLineCounter::initTestCase()
{
    views.toolkits()->setPlainText(QString(100, QLatin1Char('\n')));
    LineFont font;
    font.measure(styleOf(views.toolkits()));
    QVERIFY(font.canCount());
    for (ushort character = 128; character < 0xFFFF; ++character) {
        if (font.canCountLetter(character))
            letters += QChar(character);
    }
}

void TestLineCounter::lettersOfTheFont_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("behind");
    for (const char *neighbours :
         {"a", "7", "(", ")", "\"", "!", "/", ".", "$", "%", "-", "|", "{", "\t", "\x01"}) {
        const QString neighbour = QString::fromLatin1(neighbours);
        QTest::newRow(qPrintable(QStringLiteral("before ") + neighbour)) << QString() << neighbour;
        QTest::newRow(qPrintable(QStringLiteral("behind ") + neighbour)) << neighbour << QString();
    }
    for (const int letter : {0xB0, 0xA0, 0xE4, 0x416, 0x2014, 0x2026, 0x201C, 0x20AC, 0x2500}) {
        QTest::newRow(qPrintable(QStringLiteral("before U+%1").arg(letter, 4, 16)))
            << QString() << QString(QChar(letter));
    }
}

// Each where a line may end beside it, or not.
void TestLineCounter::lettersOfTheFont()
{
    QFETCH(QString, before);
    QFETCH(QString, behind);
    for (const int letter : {0xB0, 0xB5, 0xE4, 0xDF, 0xE9, 0x142, 0x3A9, 0x436, 0x2192, 0x2500})
        QVERIFY(letters.contains(QChar(letter)));
    QString text;
    for (const QChar letter : qAsConst(letters)) {
        for (int length = 71; length < 75; ++length)
            text += QStringLiteral("word ").repeated(13) + QString(length - 65, QLatin1Char('x'))
                + before + letter + behind + QStringLiteral("3yyyy\n");
    }
    compare(text);
}

void TestLineCounter::others_data()
{
    QTest::addColumn<int>("character");
    QTest::newRow("not in the font") << 0x65E5;
    QTest::newRow("combining") << 0x301;
    QTest::newRow("from the right") << 0x5E9;
    QTest::newRow("soft hyphen") << 0xAD;
    QTest::newRow("zero width") << 0x200B;
    QTest::newRow("direction") << 0x202E;
    QTest::newRow("byte order") << 0xFEFF;
    QTest::newRow("object") << 0xFFFC;
    QTest::newRow("line separator") << 0x2028;
    QTest::newRow("half of a pair") << 0xD83D;
    QTest::newRow("next line") << 0x85;
}

void TestLineCounter::others()
{
    QFETCH(int, character);
    const QChar other(static_cast<ushort>(character));
    QVERIFY(!letters.contains(other));
    LineCounter counter;
    counter.setText(LogText(QStringLiteral("word ") + other));
    counter.setStyle(styleOf(views.toolkits()));
    LineStretch stretch;
    QVERIFY(!counter.count({}, stretch));
}

// In a line that is just as wide as its columns.
void TestLineCounter::overhangingLetter()
{
    LineFont font;
    LineStyle style = styleOf(views.toolkits());
    font.measure(style);
    style.width = static_cast<int>(70 * font.column);
    QVERIFY(!font.overhangs('%'));
    font.measure(style);
    QVERIFY(font.overhangs('%'));
    QVERIFY(!font.overhangs('x'));
    for (const QString &text :
         {QString(69, QLatin1Char('x')) + QLatin1Char('%'), QString(70, QLatin1Char('x'))}) {
        QTextLayout layout(text + QStringLiteral(" word"), style.font, style.device);
        layout.setTextOption(style.option);
        layout.beginLayout();
        QTextLine line = layout.createLine();
        line.setLineWidth(style.width / 64.0);
        layout.endLayout();
        LineCounter counter;
        counter.setText(LogText(layout.text()));
        counter.setStyle(style);
        LineStretch stretch;
        QCOMPARE(counter.count({}, stretch), !text.contains(QLatin1Char('%')));
    }
}

void TestLineCounter::tabs()
{
    std::mt19937 dice(1);
    const auto below = [&](unsigned limit) { return static_cast<int>(dice() % limit); };
    QString text;
    for (int line = 0; line < 3000; ++line) {
        const int pieces = 1 + below(60);
        for (int piece = 0; piece < pieces; ++piece) {
            const int kind = below(8);
            if (kind < 2)
                text += QString(1 + below(3), QLatin1Char('\t'));
            else if (kind < 4)
                text += QString(below(10) == 0 ? below(90) : 1, QLatin1Char(' '));
            else
                text += QStringLiteral("value=3.14%(read/write)12-34__%%%%%")
                            .mid(below(20), 1 + below(15));
        }
        text += QLatin1Char('\n');
    }
    compare(text.replace(QRegularExpression(QStringLiteral("\n +")), QStringLiteral("\n")));
}

void TestLineCounter::blanksAcrossItems_data()
{
    QTest::addColumn<int>("before");
    for (int before : {0, 1, 3000, 4000, 4019, 4022, 4023, 4095, 4096, 4097})
        QTest::addRow("%d", before) << before;
}

void TestLineCounter::blanksAcrossItems()
{
    QFETCH(int, before);
    QString text;
    for (int blanks : {72, 75, 77, 100, 150, 5000, 9000})
        text += QString(before, QLatin1Char('x')) + QString(blanks, QLatin1Char(' '))
            + QStringLiteral("behind them\n");
    compare(text);
}

// Not QTEST_MAIN: with that the toolkit takes every screen for one of 96 dots per inch.
int main(int count, char **arguments)
{
    QApplication application(count, arguments);
    TestLineCounter test;
    return QTest::qExec(&test, count, arguments);
}
#include "tst_linecounter.moc"
