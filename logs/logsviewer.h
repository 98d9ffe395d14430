#pragma once

#include <QAbstractSlider>
#include <QDialog>

class LogDocument;
class QModelIndex;
class QTableWidgetItem;

namespace Ui {
class LogsViewer;
}

/// The screen that shows the instrument's log files: a page to choose one, and a page to read it
/// with paging buttons, since there is no keyboard. The list of logs is read once, by the
/// constructor, which shows a message box and an empty table if there is none.
class LogsViewer : public QDialog
{
    Q_OBJECT

public:
    /// @p parent gives the size and nothing else.
    explicit LogsViewer(QWidget *parent);
    ~LogsViewer() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    void on_pbuttonBackToFileSelect_clicked();
    void on_pbuttonLogViewerTop_clicked();
    void on_pbuttonLogViewerPageUp_clicked();
    void on_pbuttonLogViewerPageUpHalf_clicked();
    void on_pbuttonLogViewerPageDownHalf_clicked();
    void on_pbuttonLogViewerPageDown_clicked();
    void on_pbuttonLogViewerBottom_clicked();
    void on_pbuttonViewFile_clicked();
    void on_tableLogFiles_itemPressed(QTableWidgetItem *item);
    void on_tableLogFiles_clicked(const QModelIndex &index);

private:
    void readLogList();
    void fillLogTable();
    bool loadSelectedFile(); ///< Returns false, after a message box, if there is nothing to show.
    void showUpdateLog(); ///< Reached by no button.

    bool loadFile(const QString &path);
    void scroll(int step, QAbstractSlider::SliderAction action);
    void showError(const QString &text);

    Ui::LogsViewer *ui; ///< Owned.
    LogDocument *log; ///< Owned by the text view.
    QStringList logFileLines; ///< The non-empty lines of the log list.
    int pageStep = 0; ///< The viewer's visible height when the file was loaded.
    QString selectedLogPath; ///< Of the entry pressed last.
};
