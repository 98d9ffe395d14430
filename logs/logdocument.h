#pragma once

class QString;
class QTextEdit;

// A text view that any log can be shown in. Qt's own can be kept busy for ever by a log that is
// tall enough, that holds a word that is long enough, or that looks like HTML of the wrong kind.

/// Gives @p viewer a document of its own, which reads no other file and keeps the end of a log that
/// is taller than Qt can paint (some 460000 lines). To be called once, before there is a text.
void useLogDocument(QTextEdit *viewer);

/// Shows @p text in @p viewer. Qt decides by the content whether it is HTML, as
/// QTextEdit::setText() does; HTML that is too much for Qt is shown as it was written.
void setLogText(QTextEdit *viewer, const QString &text);
