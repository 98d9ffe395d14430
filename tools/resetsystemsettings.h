#pragma once

#include <QDialog>

class AreYouSureWarning;

namespace Ui {
class ResetSystemSettings;
}

/// Puts all settings back to their defaults and reboots the instrument.
class ResetSystemSettings : public QDialog
{
    Q_OBJECT

public:
    /// @p opener gives its present size and is not kept: the dialog has no parent.
    explicit ResetSystemSettings(QWidget *opener);
    ~ResetSystemSettings() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    /// Asks; if the user accepts, runs the script, reboots whatever its result and says so until
    /// the reboot ends the program. Only a rejection closes the screen.
    void on_pbuttonResetSystemSettings_clicked();

private:
    void performReset();

    Ui::ResetSystemSettings *ui; ///< Owned.
    AreYouSureWarning *confirmDialog = nullptr; ///< Made on the first press; never deleted.
};
