#pragma once

class QString;
class QTextEdit;

// A text view that any log can be shown in. Qt's own can be kept busy for ever by a log that is
// tall enough, that holds a word that is long enough, or that looks like HTML of the wrong kind.
// Every other log is shown as QTextEdit::setText() shows it.

/// Gives @p viewer a document of its own, which reads no pipe or device that HTML may name. To be
/// called once, before there is a text.
void useLogDocument(QTextEdit *viewer);

/// Shows @p text in @p viewer. Qt decides by the content whether it is HTML; HTML that is too much
/// for Qt is shown as it was written. Of a text taller than Qt can lay out (some 400000 lines on
/// the screen) only the end is shown, under a line that says so.
void setLogText(QTextEdit *viewer, const QString &text);
