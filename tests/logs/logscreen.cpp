#include "tests/logs/logscreen.h"

#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "ui_logsviewer.h"

#include <QtTest>

const QString logListFile = QStringLiteral("/mnt/recovery/logFiles.txt");
const QString selectionHeading
    = QStringLiteral("<html><head/><body><p align=\"center\"><b>Log Viewer</b><br><i>Grey Entries "
                     "Not Available</i></p></body></html>");
const QString viewerHeading = QStringLiteral("<b>Log Viewer</b>");

static void show(QDialog *dialog)
{
    dialog->setModal(true);
    dialog->show();
    if (!QTest::qWaitForWindowExposed(dialog))
        qFatal("the log viewer does not come up");
}

QWidget *LogScreen::prepared(QWidget *menu, const QSize &size)
{
    menu->resize(size);
    return menu;
}

LogScreen::LogScreen(const QSize &size)
    : viewer(prepared(&menu, size))
{
    show(&viewer);
}

QPushButton *LogScreen::button(const char *name) const
{
    return viewer.findChild<QPushButton *>(QString::fromLatin1(name));
}

QString LogScreen::heading() const
{
    return viewer.findChild<QLabel *>(QStringLiteral("labelTitleViewer"))->text();
}

bool LogScreen::showsViewer() const
{
    const auto *pages = viewer.findChild<QStackedWidget *>();
    return pages->currentWidget()->objectName() == QLatin1String("page_3");
}

void LogScreen::touchLog(int row) { touchCell(logs(), row, 0); }

void LogScreen::touchButton(const char *name) { touch(&viewer, name); }

void LogScreen::view(int row)
{
    touchLog(row);
    touchButton("pbuttonViewFile");
}

BareViewer::BareViewer(const QString &content, const QSize &size)
{
    Ui::LogsViewer().setupUi(&dialog);
    dialog.setFixedSize(size);
    dialog.findChild<QLabel *>(QStringLiteral("labelTitleViewer"))->setText(viewerHeading);
    show(&dialog);
    text()->setText(content);
}

void writeList(const QByteArray &list) { Instrument::write(logListFile, list); }

void writeLog(const QByteArray &content)
{
    writeList("log,/tmp/logs,A log\n");
    Instrument::write(QStringLiteral("/tmp/logs/log"), content);
}
