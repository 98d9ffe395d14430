#pragma once

#include "logs/logsviewer.h"
#include "tests/support/modaldialogs.h"

#include <QByteArray>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTextEdit>

// The log viewer as its menu opens it, and the files that it reads.

extern const QString logListFile;
extern const QString selectionHeading;
extern const QString viewerHeading;

/// The screen on the display.
class LogScreen
{
public:
    explicit LogScreen(const QSize &size = {800, 480});

    QTableWidget *logs() const { return viewer.findChild<QTableWidget *>(); }
    QTextEdit *text() const { return viewer.findChild<QTextEdit *>(); }
    QScrollBar *bar() const { return text()->verticalScrollBar(); }
    QPushButton *button(const char *name) const;
    QString heading() const;
    bool showsViewer() const;

    void touchLog(int row); ///< Its name, the one column that is shown.
    void touchButton(const char *name);
    void view(int row = 0); ///< Touches the log and then the View button.

    ModalDialogs boxes; ///< Answers message boxes, those of the constructor included.
    QWidget menu;
    LogsViewer viewer;

private:
    static QWidget *prepared(QWidget *menu, const QSize &size);
};

/// Just the form with its viewer page on the display: what the toolkit makes of a text.
class BareViewer
{
public:
    explicit BareViewer(const QString &text, const QSize &size = {800, 480});
    QTextEdit *text() const { return dialog.findChild<QTextEdit *>(); }

private:
    QDialog dialog;
};

/// Writes the list of logs.
void writeList(const QByteArray &list);
/// A list with the one log "/tmp/logs/log", which holds @p content.
void writeLog(const QByteArray &content);
