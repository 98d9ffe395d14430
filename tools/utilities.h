#pragma once

#include <QWidget>

class ChangeVersionPartition;
class ExportLogData;
class LogsViewer;
class ResetDisplayDetection;
class ResetLocalRemote;
class ResetSystemSettings;
class ResetTouchCalibration;

namespace Ui {
class Utilities;
}

/// The support tools menu: one button for each maintenance screen. A press makes the screen anew,
/// so that it starts from a clean state, and deletes the one that the same button made before. A
/// screen that was closed lives until then, or until the menu is deleted.
class Utilities : public QWidget
{
    Q_OBJECT

public:
    /// @p mainWindow gives the size and nothing else. Closing the menu does not delete it.
    explicit Utilities(QWidget *mainWindow);
    ~Utilities() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonLogs_clicked();
    void on_pbuttonBackToMain_clicked();
    void on_pbuttonChgVersion_clicked();
    void on_pbuttonResetLR_clicked();
    void on_pbuttonResetTouchCalibration_clicked();
    void on_pbuttonExportData_clicked();
    void on_pbuttonResetSystemSettings_clicked();
    void on_pbuttonResetDisplayDetection_clicked();

private:
    Ui::Utilities *ui;
    // The screens opened last. They have no Qt parent: all are owned here.
    LogsViewer *logsViewer = nullptr;
    ChangeVersionPartition *changeVersionPartition = nullptr;
    ResetLocalRemote *resetLocalRemote = nullptr;
    ResetTouchCalibration *resetTouchCalibration = nullptr;
    ExportLogData *exportLogData = nullptr;
    ResetSystemSettings *resetSystemSettings = nullptr;
    ResetDisplayDetection *resetDisplayDetection = nullptr;
};
