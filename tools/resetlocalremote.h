#pragma once

#include <QDialog>

class AreYouSureWarning;

namespace Ui {
class ResetLocalRemote;
}

/// Puts the local/remote IP address back to the system default, by removing the user interface's
/// host configuration.
class ResetLocalRemote : public QDialog
{
    Q_OBJECT

public:
    /// @p opener gives its present size and is not kept: the dialog has no parent.
    explicit ResetLocalRemote(QWidget *opener);
    ~ResetLocalRemote() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    /// Asks, runs the script if the user accepts, and closes the screen either way.
    void on_pbuttonResetLR_clicked();

private:
    void performReset();

    Ui::ResetLocalRemote *ui; ///< Owned.
    AreYouSureWarning *confirmDialog = nullptr; ///< Made on the first press; never deleted.
};
