#include "logs/logsviewer.h"

#include "common/common.h"
#include "common/devicefile.h"
#include "logs/logdocument.h"
#include "logs/loglist.h"
#include "ui_logsviewer.h"

#include <QFile>
#include <QMessageBox>
#include <QScrollBar>
#include <QTextStream>

namespace {

constexpr int selectionPage = 0;
constexpr int viewerPage = 1;

constexpr int nameColumn = 0;
constexpr int pathColumn = 1;
constexpr int rowHeight = 60;

// clang-format off
const auto selectionHeading = QStringLiteral("<html><head/><body><p align=\"center\"><b>Log Viewer</b><br><i>Grey Entries Not Available</i></p></body></html>");
const auto viewerHeading = QStringLiteral("<b>Log Viewer</b>");
const auto doneStyle = QStringLiteral("QPushButton{background-color:lightgray}");
const auto updateLogFile = QStringLiteral("/mnt/recovery/update_files/update/update.log");
// clang-format on

} // namespace

LogsViewer::LogsViewer(QWidget *parent)
    : ui(new Ui::LogsViewer)
{
    ui->setupUi(this);
    log = new LogDocument(ui->textEditLogViewer);
    setFixedSize(parent->width(), parent->height());

    ui->stackedWidget->setCurrentIndex(selectionPage);
    ui->tableLogFiles->clearSelection();
    ui->textEditLogViewer->setText(QStringLiteral("Log Viewer"));
    ui->pbuttonBackToUtils->setStyleSheet(doneStyle);
    readLogList();
    fillLogTable();
}

LogsViewer::~LogsViewer() { delete ui; }

void LogsViewer::readLogList()
{
    QFile file(QString::fromLatin1(logListFile));
    if (!openForReading(file, QIODevice::ReadOnly | QIODevice::Text)) {
        showError(QStringLiteral("Could not open file"));
        return;
    }
    logFileLines = logListLines(QTextStream(&file).readAll());
}

void LogsViewer::fillLogTable()
{
    QTableWidget *table = ui->tableLogFiles;
    table->setColumnCount(2);
    // Once for all rows: one by one would take minutes for a list of some hundred thousand lines.
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->setRowCount(logFileLines.size());
    table->hideColumn(pathColumn);
    table->setHorizontalHeaderLabels({QStringLiteral("Log File"), QStringLiteral("Log Path")});
    table->horizontalHeader()->setStretchLastSection(false);
    table->verticalHeader()->hide();
    ui->pbuttonViewFile->setEnabled(false);

    for (int row = 0; row < logFileLines.size(); ++row) {
        const LogEntry entry = parseLogLine(logFileLines.at(row));
        auto *name = new QTableWidgetItem(entry.displayName);
        auto *path = new QTableWidgetItem(entry.path);
        if (!QFile::exists(entry.path)) {
            name->setFlags(Qt::NoItemFlags);
            path->setFlags(Qt::NoItemFlags);
        }
        table->setItem(row, nameColumn, name);
        table->setItem(row, pathColumn, path);
    }
}

bool LogsViewer::loadSelectedFile()
{
    if (selectedLogPath.isEmpty()) {
        showError(QStringLiteral("No file was selected for viewing!"));
        return false;
    }
    return loadFile(selectedLogPath);
}

void LogsViewer::showUpdateLog() { loadFile(updateLogFile); }

bool LogsViewer::loadFile(const QString &path)
{
    QFile file(path);
    if (!openForReading(file) || !log->setLog(file.readAll())) {
        showError(QStringLiteral("Could not open file"));
        return false;
    }
    ui->pbuttonBackToFileSelect->setStyleSheet(doneStyle);
    pageStep = ui->textEditLogViewer->verticalScrollBar()->pageStep();
    return true;
}

void LogsViewer::showError(const QString &text)
{
    QMessageBox::critical(this, QStringLiteral("Error"), text);
}

/// Scrolls by @p step, which holds for this one action.
void LogsViewer::scroll(int step, QAbstractSlider::SliderAction action)
{
    QScrollBar *bar = ui->textEditLogViewer->verticalScrollBar();
    bar->setPageStep(step);
    bar->triggerAction(action);
    bar->setPageStep(pageStep);
}

void LogsViewer::on_pbuttonBackToUtils_clicked() { close(); }

void LogsViewer::on_pbuttonBackToFileSelect_clicked()
{
    ui->labelTitleViewer->setText(selectionHeading);
    ui->stackedWidget->setCurrentIndex(selectionPage);
    log->clearLog();
}

void LogsViewer::on_pbuttonLogViewerTop_clicked()
{
    ui->textEditLogViewer->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMinimum);
}

void LogsViewer::on_pbuttonLogViewerPageUp_clicked()
{
    scroll(pageStep, QAbstractSlider::SliderPageStepSub);
}

void LogsViewer::on_pbuttonLogViewerPageUpHalf_clicked()
{
    scroll(pageStep / 2, QAbstractSlider::SliderPageStepSub);
}

void LogsViewer::on_pbuttonLogViewerPageDownHalf_clicked()
{
    scroll(pageStep / 2, QAbstractSlider::SliderPageStepAdd);
}

void LogsViewer::on_pbuttonLogViewerPageDown_clicked()
{
    scroll(pageStep, QAbstractSlider::SliderPageStepAdd);
}

void LogsViewer::on_pbuttonLogViewerBottom_clicked()
{
    ui->textEditLogViewer->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMaximum);
}

void LogsViewer::on_pbuttonViewFile_clicked()
{
    ui->stackedWidget->setCurrentIndex(viewerPage);
    ui->labelTitleViewer->setText(viewerHeading);
    if (!loadSelectedFile())
        ui->stackedWidget->setCurrentIndex(
            selectionPage); // under the viewer's heading: it is meant to stay
}

void LogsViewer::on_tableLogFiles_itemPressed(QTableWidgetItem *item)
{
    const QTableWidgetItem *path = ui->tableLogFiles->item(item->row(), pathColumn);
    selectedLogPath = path ? path->text() : QString();
    ui->pbuttonViewFile->setEnabled(true);
}

void LogsViewer::on_tableLogFiles_clicked(const QModelIndex &index)
{
    if (!index.flags().testFlag(Qt::ItemIsEnabled))
        ui->pbuttonViewFile->setEnabled(false);
}
