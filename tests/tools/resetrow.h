#pragma once

#include <QDialog>
#include <QMetaType>

#include <memory>

// The four resets, a row each, written down once more apart from the program.

struct ResetRow
{
    const char *name; ///< The class.
    const char *button;
    const char *script;
    const char *argument; ///< Or null.
    const char *codeLabel;
    const char *title;
    const char *warning;
    bool reboots;
    std::unique_ptr<QDialog> (*make)(QWidget *opener);
};
Q_DECLARE_METATYPE(const ResetRow *)

extern const ResetRow resetRows[4];

void addResetRows(); ///< The test's data.

inline QString path(const char *text) { return QString::fromLatin1(text); }

/// A reset on the screen, as the support tools menu opens it.
class Opened
{
public:
    explicit Opened(const ResetRow &row);
    QDialog *dialog() const { return screen.get(); }

private:
    QWidget opener;
    std::unique_ptr<QDialog> screen;
};

/// Fails the test unless @p dialog asks what the reset must ask.
void expectWarning(QDialog *dialog, const ResetRow &row);
/// Fails the test unless @p dialog is the button-less page, with the reboot already started.
void expectNotice(QDialog *dialog);
