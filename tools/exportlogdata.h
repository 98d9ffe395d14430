#pragma once

#include <QBasicTimer>
#include <QDialog>

namespace Ui {
class ExportLogData;
}

/// Writes the diagnostic and log data to the USB storage device, as one archive that a script
/// makes.
///
/// From the moment it is made the screen looks for the device: four ticks of one second to let it
/// settle, then a check on each of ticks 5 to 12, and on tick 13 the verdict that there is none. A
/// device that is found is announced on the tick after. The export blocks the screen until the
/// script has ended.
class ExportLogData : public QDialog
{
    Q_OBJECT

public:
    /// @p opener gives its present size and is not kept: the dialog has no parent.
    explicit ExportLogData(QWidget *opener);
    ~ExportLogData() override;

protected:
    void timerEvent(QTimerEvent *event) override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    /// Exports when the device was found and is still mounted, else looks for it (again).
    void on_pbuttonExportData_clicked();

private:
    void startUsbPolling();
    void checkState();
    void checkForUsb();
    /// Whether the mount point lists anything; an empty device counts as not mounted, which is
    /// meant: there is no telling it from a bare mount point.
    static bool verifyUsbMounted();
    void showUsbAvailable();
    void showUsbNotFound();
    void lookForUsb();
    void saveExportData();
    void showStatus(const QString &text);

    Ui::ExportLogData *ui; ///< Owned.
    QBasicTimer pollTimer; ///< One tick a second.
    int pollTicks = 0; ///< Ticks since polling last started.
    // All four are cleared whenever polling starts; the last two are only ever set together.
    bool pollArmed = false; ///< The device has had its time to settle.
    bool pollProbed = false; ///< The device has been looked for at least once.
    bool usbMounted = false;
    bool usbPresent = false;
};
