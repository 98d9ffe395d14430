#include "bench/measures.h"

#include "common/common.h"
#include "common/scriptrunner.h"
#include "logs/logsviewer.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

// A large log in the log viewer, from the touch of "View File", beside the same text that a bare
// text view of the same font and size is given.

namespace {

struct LogSize
{
    const char *name;
    int bytes;
    int rounds;
    int bareRounds; ///< None where the toolkit's view would never be ready.
    QByteArray (*make)(int bytes);
};

QByteArray makeLines(int bytes)
{
    QByteArray log;
    for (int line = 1; log.size() < bytes; ++line)
        log += "Sep 19 08:15:00 indicator kernel: [" + QByteArray::number(line)
            + "] usb 1-1: device state changed to configured\n";
    return log;
}

QByteArray makeForeignLines(int bytes)
{
    QByteArray log;
    for (int line = 1; log.size() < bytes; ++line)
        log += "Sep 19 08:15:00 Ger\xC3\xA4t kernel: [" + QByteArray::number(line)
            + "] usb 1-1: 22 \xC2\xB0"
              "C, Zustand ge\xC3\xA4ndert\n";
    return log;
}

QByteArray makeOneLine(int bytes) { return makeLines(bytes).replace('\n', ' '); }

QByteArray makeCarriageReturns(int bytes) { return QByteArray("\r12%").repeated(bytes / 4); }

constexpr LogSize sizes[] = {
    {"1 MB", 1000000, 15, 15, makeLines},
    {"10 MB", 10000000, 5, 5, makeLines},
    {"50 MB", 50000000, 3, 1, makeLines},
    {"100 MB", 100000000, 3, 0, makeLines},
    {"250 MB", 250000000, 3, 0, makeLines},
    {"2.3 MB of CR", 2300000, 5, 0, makeCarriageReturns},
    {"10 MB, one line", 10000000, 3, 1, makeOneLine},
    {"10 MB, UTF-8", 10000000, 3, 1, makeForeignLines},
};

struct Times
{
    double firstPage = 0; ///< Until the first picture of the text.
    double longestGap = 0; ///< Within which no touch is answered, until the first page is there.
    double bottom = 0; ///< From the touch of "Bottom" to the picture of the true last line.
};

/// Scrolls to the end, again as long as the end turns out to be further down.
void showBottom(QTextEdit *viewer)
{
    QScrollBar *bar = viewer->verticalScrollBar();
    int shown = -1;
    while (viewer->document()->pageCount() > 0 && shown != bar->maximum()) {
        shown = bar->maximum();
        bar->triggerAction(QAbstractSlider::SliderToMaximum);
        viewer->viewport()->repaint();
        QCoreApplication::processEvents();
    }
}

/// Does @p act, goes on until @p viewer has shown the text, and then shows its end.
template <typename Act> Times watch(QTextEdit *viewer, Act act)
{
    Times times;
    const FirstPaint paint(viewer->viewport());
    QElapsedTimer clock;
    const auto now = [&] { return static_cast<double>(clock.nsecsElapsed()) / 1e6; };
    double lastBeat = 0;
    QTimer heart;
    QObject::connect(&heart, &QTimer::timeout, [&] {
        times.longestGap = std::max(times.longestGap, now() - lastBeat);
        lastBeat = now();
    });
    heart.start(0);

    clock.start();
    act();
    while (!paint.seen)
        QCoreApplication::processEvents();
    times.firstPage = now();
    while (lastBeat < times.firstPage) // the gap that has just ended
        QCoreApplication::processEvents();
    heart.stop();
    const double before = now();
    showBottom(viewer);
    times.bottom = now() - before;
    return times;
}

void openLogPage(LogsViewer *screen)
{
    screen->show();
    auto *table = screen->findChild<QTableWidget *>();
    emit table->itemPressed(table->item(0, 0));
}

Times inLogViewer(QWidget *opener)
{
    LogsViewer screen(opener);
    openLogPage(&screen);
    QCoreApplication::processEvents();
    auto *view = screen.findChild<QPushButton *>(QStringLiteral("pbuttonViewFile"));
    return watch(screen.findChild<QTextEdit *>(), [&] { view->click(); });
}

/// The geometry of the log viewer's text.
QSize viewerSize(QWidget *opener)
{
    LogsViewer screen(opener);
    openLogPage(&screen);
    screen.findChild<QPushButton *>(QStringLiteral("pbuttonViewFile"))->click();
    QCoreApplication::processEvents();
    return screen.findChild<QTextEdit *>()->size();
}

Times inBareView(const QSize &size, const QString &text)
{
    QTextEdit viewer;
    viewer.setFont(QFont(QStringLiteral("Liberation Mono"), 11));
    viewer.setFixedSize(size);
    viewer.show();
    QCoreApplication::processEvents();
    return watch(&viewer, [&] { viewer.setText(text); });
}

struct Figure
{
    const char *name;
    double Times::*value;
};

constexpr Figure figures[] = {
    {"first page", &Times::firstPage},
    {"longest gap", &Times::longestGap},
    {"bottom", &Times::bottom},
};

QVector<double> column(const QVector<Times> &rounds, double Times::*value)
{
    QVector<double> values;
    for (const Times &times : rounds)
        values += times.*value;
    return values;
}

void writeLog(const QByteArray &log)
{
    QFile file(QStringLiteral("/tmp/messages1"));
    if (!file.open(QIODevice::WriteOnly) || file.write(log) != log.size())
        qFatal("the log cannot be written");
}

void measureLog(QWidget *opener, const LogSize &size)
{
    const QByteArray log = size.make(size.bytes);
    writeLog(log);
    const QSize viewer = viewerSize(opener);
    const QString text = QString::fromUtf8(log);
    QVector<Times> screens;
    QVector<Times> bares;
    for (int round = 0; round < size.rounds; ++round) {
        if (round % 2 == 0)
            screens += inLogViewer(opener);
        if (round < size.bareRounds)
            bares += inBareView(viewer, text);
        if (round % 2 != 0)
            screens += inLogViewer(opener);
    }
    for (const Figure &figure : figures) {
        const QVector<double> screen = column(screens, figure.value);
        const QVector<double> bare = column(bares, figure.value);
        printRow(QString::fromLatin1(size.name) + QStringLiteral(", ")
                     + QString::fromLatin1(figure.name),
                 {QString(), spread(screen), bare.isEmpty() ? QString() : spread(bare),
                  bare.isEmpty() ? QString() : ratio(screen.mid(0, bare.size()), bare)});
    }
}

/// How long each of some scripts takes from its start to its end.
QVector<double> scriptTimes()
{
    QVector<double> times;
    const std::unique_ptr<QProcess> process(newScriptProcess(nullptr));
    for (int i = 0; i < 40; ++i) {
        QElapsedTimer clock;
        clock.start();
        if (runScript(process.get(), QStringLiteral("/bin/true")) != 0)
            qFatal("no script runs");
        times += static_cast<double>(clock.nsecsElapsed()) / 1e6;
    }
    return times;
}

/// A log shown to its end and left again, and a script each time before, meanwhile and afterwards.
void measureScripts(QWidget *opener, int megabytes)
{
    writeLog(makeLines(megabytes * 1000000));
    const QVector<double> before = scriptTimes();
    QVector<double> meanwhile;
    {
        LogsViewer screen(opener);
        openLogPage(&screen);
        screen.findChild<QPushButton *>(QStringLiteral("pbuttonViewFile"))->click();
        const auto *text = screen.findChild<QTextEdit *>();
        screen.findChild<QPushButton *>(QStringLiteral("pbuttonLogViewerBottom"))->click();
        while (text->document()->characterCount() < megabytes * 1000000)
            QCoreApplication::processEvents();
        meanwhile = scriptTimes();
        screen.findChild<QPushButton *>(QStringLiteral("pbuttonBackToFileSelect"))->click();
    }
    const QVector<double> after = scriptTimes();
    printRow(QStringLiteral("%1 MB").arg(megabytes),
             {spread(before), spread(meanwhile), spread(after), ratio(after, before)});
}

} // namespace

void measureLargeLogs()
{
    QWidget opener;
    opener.setFixedSize(800, 480);
    printRow(QStringLiteral("\nlog"),
             {QString(), QStringLiteral("log viewer, ms"), QStringLiteral("bare, ms"),
              QStringLiteral("viewer / bare")});
    for (const LogSize &size : sizes)
        measureLog(&opener, size);

    printRow(QStringLiteral("\na script and a log of"),
             {QStringLiteral("before, ms"), QStringLiteral("log shown, ms"),
              QStringLiteral("after \"Done\", ms"), QStringLiteral("after / before")});
    for (int megabytes : {50, 100})
        measureScripts(&opener, megabytes);
}
