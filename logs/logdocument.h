#pragma once

#include <QTextDocument>

class LogLayout;
class QTextEdit;

/// The document of a text view that any log can be shown in. Plain text has a layout of its own,
/// which stands any size and shape; HTML is shown by Qt unless Qt would never finish. Either looks
/// as QTextEdit::setText() would have it.
class LogDocument : public QTextDocument
{
    Q_OBJECT

public:
    /// Becomes the document of @p textView, which then owns it. There must be no text yet.
    explicit LogDocument(QTextEdit *textView);

    /// Shows @p text; Qt decides by the content whether it is HTML. Of a large plain text only the
    /// beginning is in the document at first; the rest comes from the event loop, while what is
    /// seen and where it can be scrolled to are those of the whole.
    void setLog(const QString &text);
    /// Clears the view and gives the memory back to the system.
    void clearLog();

protected:
    QVariant loadResource(int type, const QUrl &url) override;
    void timerEvent(QTimerEvent *event) override;

private:
    LogLayout *plainLayout();
    void setPlain(const QString &text);
    void fill();
    void scrollOn(int action);

    QTextEdit *view; ///< The owner.
    int filled = 0; ///< How many characters of an expected text are there.
    int timer = 0;
};
