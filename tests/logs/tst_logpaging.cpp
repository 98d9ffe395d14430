#include "tests/logs/logscreen.h"
#include "tests/support/instrument.h"

#include <QtTest>

/// The paging buttons, to the pixel.
class TestLogPaging : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void pageStepIsTheVisibleHeight_data();
    void pageStepIsTheVisibleHeight();
    void pages_data();
    void pages();
    void clamping();
    void topAndBottom();
    void shortLog();
    void everyLogHasItsPageStep();
    void backAndForth();
};

static const char down[] = "pbuttonLogViewerPageDown";
static const char downHalf[] = "pbuttonLogViewerPageDownHalf";
static const char up[] = "pbuttonLogViewerPageUp";
static const char upHalf[] = "pbuttonLogViewerPageUpHalf";
static const char top[] = "pbuttonLogViewerTop";
static const char bottom[] = "pbuttonLogViewerBottom";
static const char done[] = "pbuttonBackToFileSelect";

static constexpr int stray = 17; ///< A page step that nobody recorded.

void TestLogPaging::init()
{
    Instrument::clear();
    writeLog(QByteArray("A line of the log.\n").repeated(2000));
}

void TestLogPaging::pageStepIsTheVisibleHeight_data()
{
    QTest::addColumn<QSize>("size");
    for (const QSize &size : {QSize(800, 480), QSize(1024, 600), QSize(1280, 800)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestLogPaging::pageStepIsTheVisibleHeight()
{
    QFETCH(QSize, size);
    LogScreen screen(size);
    screen.view();
    const int atThatMoment = screen.bar()->pageStep();
    QCOMPARE(atThatMoment, screen.text()->viewport()->height());
    screen.bar()->setPageStep(stray);
    screen.touchButton(down);
    QCOMPARE(screen.bar()->value(), atThatMoment);
    QCOMPARE(screen.bar()->pageStep(), atThatMoment);
}

void TestLogPaging::pages_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("half");
    QTest::newRow("301") << 301 << 150; // rounded down
    QTest::newRow("300") << 300 << 150;
    QTest::newRow("399") << 399 << 199;
}

/// A screen whose viewer has that visible height.
static QSize screenFor(int pageStep)
{
    LogScreen screen;
    screen.view();
    return {800, 480 + pageStep - screen.bar()->pageStep()};
}

void TestLogPaging::pages()
{
    QFETCH(int, step);
    QFETCH(int, half);
    LogScreen screen(screenFor(step));
    screen.view();
    QCOMPARE(screen.bar()->pageStep(), step);
    struct Touch
    {
        const char *button;
        int move;
    };
    const Touch touches[] = {{down, step}, {downHalf, half}, {down, step},    {upHalf, -half},
                             {up, -step},  {downHalf, half}, {upHalf, -half}, {down, step}};
    int expected = 0;
    for (const Touch &touch : touches) {
        screen.bar()->setPageStep(stray); // what it says by now does not count
        screen.touchButton(touch.button);
        expected += touch.move;
        QCOMPARE(screen.bar()->value(), expected);
        QCOMPARE(screen.bar()->pageStep(), step);
    }
}

void TestLogPaging::clamping()
{
    LogScreen screen;
    screen.view();
    const int maximum = screen.bar()->maximum();
    QVERIFY(maximum > 1000);
    for (const char *button : {up, upHalf}) {
        for (int value : {0, 1, 5}) {
            screen.bar()->setValue(value);
            screen.touchButton(button);
            QCOMPARE(screen.bar()->value(), 0);
        }
    }
    for (const char *button : {down, downHalf}) {
        for (int value : {maximum, maximum - 1, maximum - 5}) {
            screen.bar()->setValue(value);
            screen.touchButton(button);
            QCOMPARE(screen.bar()->value(), maximum);
        }
    }
}

void TestLogPaging::topAndBottom()
{
    LogScreen screen;
    screen.view();
    const int maximum = screen.bar()->maximum();
    for (int value : {0, 333, maximum}) {
        screen.bar()->setPageStep(stray);
        screen.bar()->setValue(value);
        screen.touchButton(bottom);
        QCOMPARE(screen.bar()->value(), maximum);
        screen.bar()->setValue(value);
        screen.touchButton(top);
        QCOMPARE(screen.bar()->value(), 0);
        QCOMPARE(screen.bar()->pageStep(), stray); // they have nothing to do with it
    }
}

void TestLogPaging::shortLog()
{
    writeLog("one line\n");
    LogScreen screen;
    screen.view();
    QCOMPARE(screen.bar()->maximum(), 0);
    for (const char *button : {down, downHalf, up, upHalf, top, bottom}) {
        screen.touchButton(button);
        QCOMPARE(screen.bar()->value(), 0);
    }
}

void TestLogPaging::everyLogHasItsPageStep()
{
    LogScreen screen;
    screen.view();
    const int step = screen.bar()->pageStep();
    screen.touchButton(done);
    screen.bar()->setPageStep(stray);
    screen.view();
    QCOMPARE(screen.bar()->pageStep(), step); // the toolkit has put it right
    screen.touchButton(down);
    QCOMPARE(screen.bar()->value(), step);
}

void TestLogPaging::backAndForth()
{
    LogScreen screen;
    for (int i = 0; i < 3; ++i) {
        screen.view();
        QVERIFY(screen.showsViewer());
        QCOMPARE(screen.heading(), viewerHeading);
        QCOMPARE(screen.bar()->value(), 0); // from the beginning each time
        QCOMPARE(screen.text()->toPlainText().size(), 2000 * 19);
        screen.touchButton(bottom);
        screen.touchButton(done);
        QVERIFY(!screen.showsViewer());
        QCOMPARE(screen.heading(), selectionHeading);
        QCOMPARE(screen.text()->toPlainText(), QString());
        QVERIFY(screen.button("pbuttonViewFile")->isEnabled());
    }
}

QTEST_MAIN(TestLogPaging)
#include "tst_logpaging.moc"
