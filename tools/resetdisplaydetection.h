#pragma once

#include <QDialog>

class AreYouSureWarning;

namespace Ui {
class ResetDisplayDetection;
}

/// Removes what the instrument found out about its display.
class ResetDisplayDetection : public QDialog
{
    Q_OBJECT

public:
    /// @p opener gives its present size and is not kept: the dialog has no parent.
    explicit ResetDisplayDetection(QWidget *opener);
    ~ResetDisplayDetection() override;

private slots:
    // Connected by name when the form is built.
    void on_pbuttonBackToUtils_clicked();
    /// Asks, runs the script if the user accepts, and closes the screen either way.
    void on_pbuttonResetDisplayDetection_clicked();

private:
    void performReset();

    Ui::ResetDisplayDetection *ui; ///< Owned.
    AreYouSureWarning *confirmDialog = nullptr; ///< Made on the first press; never deleted.
};
