#pragma once

#include <QDialog>
#include <QStringList>

namespace Ui {
class AreYouSureWarning;
}

/// The one confirmation screen: a title, a warning, "Accept" and "Reject". exec() returns
/// QDialog::Accepted for the first button; anything else, closing the dialog included, means
/// abandon.
///
/// @p texts are the plain title and the HTML body. A third and last text "Y" makes it a notice
/// without buttons, which only its caller closes. The texts are read once, here: a dialog that is
/// kept says the same each time.
class AreYouSureWarning : public QDialog
{
    Q_OBJECT

public:
    /// @p sizeSource gives its present size and is not kept: the dialog has no parent.
    AreYouSureWarning(QWidget *sizeSource, const QStringList &texts);
    ~AreYouSureWarning() override;

private slots:
    // Connected by name when the form is built.
    void on_pButtonReject_clicked();
    void on_pButtonAccept_clicked();

private:
    Ui::AreYouSureWarning *ui; ///< Owned.
};

/// Asks the user on top of @p screen, with its size, and blocks until the answer is there. The
/// dialog is made on the first use and kept in the screen's @p dialog; one that is kept is shown as
/// it is. Nobody deletes it. Returns whether the user accepted.
bool confirm(AreYouSureWarning *&dialog, QWidget *screen, const QStringList &texts);

/// Shows that the instrument is rebooting, which then ends the program. Replaces what @p dialog
/// points to; the confirmation made earlier is left as it is.
void showRebootingNotice(AreYouSureWarning *&dialog, QWidget *screen);
