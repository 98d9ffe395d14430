#include "bench/measures.h"

#include "common/areyousurewarning.h"
#include "common/common.h"
#include "logs/logsviewer.h"
#include "tools/exportlogdata.h"
#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"
#include "tools/utilities.h"
#include "versions/changeversionpartition.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGridLayout>
#include <QLabel>

#include <memory>

// Opening each maintenance screen, from its construction to its first picture, beside a dialog of
// the same size with as many widgets, all of them labels in a grid. Then the large logs.

// Not carried out: it takes as long as what others have written.
extern "C" void sync() noexcept { }

namespace {

constexpr int rounds = 40;

struct Subject
{
    const char *name;
    QWidget *(*make)(QWidget *opener);
};

template <typename Screen> QWidget *make(QWidget *opener) { return new Screen(opener); }

QWidget *makeVersions(QWidget *opener)
{
    opener->setWindowTitle(QStringLiteral("MainWindow"));
    QWidget *screen = new ChangeVersionPartition(opener);
    opener->setWindowTitle(QString());
    return screen;
}

QWidget *makeWarning(QWidget *opener)
{
    return new AreYouSureWarning(
        opener,
        {QStringLiteral("Reset Display Detection"),
         QStringLiteral("<H1>Warning</H1>Continuing with this operation will remove the<br>"
                        "<b><i>CURRENT SELECTED VERSION's</i></b> detected display files.<br><br>"
                        "<br><span style=\"font-size:18pt;\"><b>This operation cannot be reversed."
                        "</b></span><br><br><br>Click the ACCEPT button below to proceed.\n")});
}

constexpr Subject subjects[] = {
    {"support tools menu", make<Utilities>},
    {"confirmation", makeWarning},
    {"reset local/remote", make<ResetLocalRemote>},
    {"reset touch calibration", make<ResetTouchCalibration>},
    {"reset display detection", make<ResetDisplayDetection>},
    {"reset system settings", make<ResetSystemSettings>},
    {"export", make<ExportLogData>},
    {"log viewer, 20 logs", make<LogsViewer>},
    {"versions", makeVersions},
    {"change version", make<ChangeVersionPartition>},
};

QWidget *makeBare(QWidget *opener, int widgets)
{
    auto *dialog = new QDialog;
    auto *grid = new QGridLayout(dialog);
    for (int i = 0; i < widgets; ++i)
        grid->addWidget(new QLabel(QStringLiteral("A label")), i / 5, i % 5);
    dialog->setFixedSize(opener->size());
    return dialog;
}

/// Milliseconds from construction to the first picture.
template <typename Make> double opening(Make makeScreen)
{
    QElapsedTimer time;
    time.start();
    const std::unique_ptr<QWidget> screen(makeScreen());
    const FirstPaint paint(screen.get());
    screen->setWindowModality(Qt::ApplicationModal);
    screen->show();
    while (!paint.seen)
        QCoreApplication::processEvents();
    return static_cast<double>(time.nsecsElapsed()) / 1e6;
}

void measureOpening(QWidget *opener, const Subject &subject)
{
    const int widgets
        = std::unique_ptr<QWidget>(subject.make(opener))->findChildren<QWidget *>().size();
    const auto screen = [&] { return subject.make(opener); };
    const auto bare = [&] { return makeBare(opener, widgets); };
    QVector<double> screens;
    QVector<double> bares;
    for (int round = 0; round <= rounds; ++round) { // the first one warms up
        const bool screenFirst = round % 2 == 0;
        const double first = screenFirst ? opening(screen) : opening(bare);
        const double second = screenFirst ? opening(bare) : opening(screen);
        if (round == 0)
            continue;
        screens += screenFirst ? first : second;
        bares += screenFirst ? second : first;
    }
    printRow(QString::fromLatin1(subject.name),
             {QString::number(widgets), spread(screens), spread(bares), ratio(screens, bares)});
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(path));
}

void fillInstrument()
{
    QByteArray list;
    for (int log = 1; log <= 20; ++log)
        list += "messages" + QByteArray::number(log % 2) + ",/tmp,Log " + QByteArray::number(log)
            + '\n';
    write(QString::fromLatin1(logListFile), list);
    write(QStringLiteral("/tmp/messages1"), {});
    for (const char *partition : {"1", "7", "8"})
        write(QString::fromLatin1(updateFilesDirectory + partition + "manifest.txt"),
              "core_version=4.05\ncore_build=118\ninstall_date_time=20230512 09:30:00\n"
              "core_build_date=20230404\nimage_bootloader_version=V4.05.00\n");
    write(QStringLiteral("/mnt/recovery/download/partition_c"), "7\n");
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    fillInstrument();
    QWidget opener;
    opener.setFixedSize(800, 480);
    printRow(QStringLiteral("opening"),
             {QStringLiteral("widgets"), QStringLiteral("screen, ms"), QStringLiteral("bare, ms"),
              QStringLiteral("screen / bare")});
    for (const Subject &subject : subjects)
        measureOpening(&opener, subject);
    measureLargeLogs();
}
