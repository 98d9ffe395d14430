#pragma once

#include <QDialog>

class AreYouSureWarning;

namespace Ui {
class ResetTouchCalibration;
}

/// Removes the touch screen's calibration; the instrument asks for a new one at its next start.
class ResetTouchCalibration : public QDialog
{
    Q_OBJECT

public:
    /// @p opener gives its present size and is not kept: the dialog has no parent.
    explicit ResetTouchCalibration(QWidget *opener);
    ~ResetTouchCalibration() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    /// Asks, runs the script if the user accepts, and closes the screen either way.
    void on_pbuttonResetTouchCalib_clicked();

private:
    void performReset();

    Ui::ResetTouchCalibration *ui; ///< Owned.
    AreYouSureWarning *confirmDialog = nullptr; ///< Made on the first press; never deleted.
};
