#pragma once

#include "versions/manifestreader.h"

#include <QDialog>

class AreYouSureWarning;
class QModelIndex;
class QTableWidgetItem;

namespace Ui {
class ChangeVersionPartition;
}

/// The screen that lists the installed firmware versions. Opened by the main window, which it knows
/// by its title "MainWindow", it only shows them; opened by anything else it also switches the
/// instrument to another version, which ends in a reboot.
///
/// The manifests and the active partition are read once, by the constructor, which shows a message
/// box if the active partition is not known.
class ChangeVersionPartition : public QDialog
{
    Q_OBJECT

public:
    /// @p parent gives the size and its window title, and nothing else.
    explicit ChangeVersionPartition(QWidget *parent);
    ~ChangeVersionPartition() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    void on_tableFirmwareVersions_clicked(const QModelIndex &index);
    void on_tableFirmwareVersions_itemPressed(QTableWidgetItem *item);
    void on_pButtonChgVersion_clicked();

private:
    void readManifests();
    void setupVersionTable();
    void fillVersionTable();
    void markActivePartition();
    void changePartition(const QString &identifier);

    void fillInstalledVersion(int row, const QByteArray &partition);
    void fillMissingVersion(int row, const QByteArray &partition);

    Ui::ChangeVersionPartition *ui; ///< Owned.
    /// The warning, later the notice that the system is rebooting. Made without a Qt parent and
    /// deleted by nobody.
    AreYouSureWarning *confirmDialog = nullptr;
    VersionInfo versionInfo;
    int activeRow = -1; ///< Of the active partition, -1 if it is not known.
    int selectedRow = -1; ///< Pressed last, -1 before the first press.
    QString callerTitle;
};
