#include "bench/measures.h"

#include "common/common.h"
#include "logs/logsviewer.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QFile>
#include <QPushButton>
#include <QTableWidget>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>
#include <QTimer>
#include <QVBoxLayout>

// A large log in the log viewer, from the touch of "View File", beside the same text that a bare
// text view of the same font and size is given.

namespace {

struct LogSize
{
    const char *name;
    int bytes;
    int rounds;
};

constexpr LogSize sizes[] = {{"1 MB", 1000000, 15}, {"10 MB", 10000000, 5}};

struct Times
{
    double firstPage = 0; ///< Until the first picture of the text.
    double whole = 0; ///< Until all of it is laid out.
    double longestGap = 0; ///< Within which no touch is answered.
};

/// Does @p act, and goes on until @p viewer has shown the text and has laid out its last line.
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
        if (paint.seen && times.firstPage == 0)
            times.firstPage = now();
    });
    heart.start(0);

    clock.start();
    act();
    while (times.firstPage == 0 || viewer->document()->lastBlock().layout()->lineCount() == 0)
        QCoreApplication::processEvents();
    times.whole = now();
    while (lastBeat < times.whole) // the gap that has just ended
        QCoreApplication::processEvents();
    return times;
}

QByteArray makeLog(int bytes)
{
    QByteArray log;
    for (int line = 1; log.size() < bytes; ++line)
        log += "Sep 19 08:15:00 indicator kernel: [" + QByteArray::number(line)
            + "] usb 1-1: device state changed to configured\n";
    return log;
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
    {"all laid out", &Times::whole},
};

QVector<double> column(const QVector<Times> &rounds, double Times::*value)
{
    QVector<double> values;
    for (const Times &times : rounds)
        values += times.*value;
    return values;
}

void measureLog(QWidget *opener, const LogSize &size)
{
    const QByteArray log = makeLog(size.bytes);
    QFile file(QStringLiteral("/tmp/messages1"));
    if (!file.open(QIODevice::WriteOnly) || file.write(log) != log.size())
        qFatal("the log cannot be written");
    file.close();

    const QSize viewer = viewerSize(opener);
    const QString text = QString::fromUtf8(log);
    QVector<Times> screens;
    QVector<Times> bares;
    for (int round = 0; round < size.rounds; ++round) {
        if (round % 2 == 0)
            screens += inLogViewer(opener);
        bares += inBareView(viewer, text);
        if (round % 2 != 0)
            screens += inLogViewer(opener);
    }
    for (const Figure &figure : figures) {
        const QVector<double> screen = column(screens, figure.value);
        const QVector<double> bare = column(bares, figure.value);
        printRow(QString::fromLatin1(size.name) + QStringLiteral(", ")
                     + QString::fromLatin1(figure.name),
                 {QString(), spread(screen), spread(bare), ratio(screen, bare)});
    }
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
}
