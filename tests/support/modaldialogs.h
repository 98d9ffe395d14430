#pragma once

#include <QStringList>
#include <QTimer>
#include <QVector>

#include <functional>

class QDialog;
class QTableWidget;
class QWidget;

/// Answers what blocks the program: exec() gives a test no turn, so the answers are queued before.
///
/// A message box is noted, as "Critical: Error: Could not open file: OK: in LogsViewer", and its
/// button clicked. A confirmation gets the next queued answer; one that nobody expects is noted as
/// "unexpected" and rejected.
class ModalDialogs
{
public:
    using Answer = std::function<void(QDialog *)>;

    explicit ModalDialogs(const QVector<Answer> &queuedAnswers = {});
    ~ModalDialogs(); ///< Fails the test when an answer was left over or a note not taken.
    ModalDialogs(const ModalDialogs &) = delete;
    ModalDialogs &operator=(const ModalDialogs &) = delete;

    /// What came up since construction or the last take().
    QStringList take();

private:
    void look();

    QTimer timer;
    QVector<Answer> answers;
    QStringList notes;
};

/// What a window manager does when the user closes a window.
void closeByWindowManager(QWidget *window);

/// Clicks the cell in its middle; it is brought into view.
void touchCell(QTableWidget *table, int row, int column);
