#pragma once

#include <QTextDocument>

class LogLayout;
class LogText;
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

    /// Shows @p log, which is UTF-8; Qt decides by the content whether it is HTML. Of a large plain
    /// text only the beginning is in the document at first; the rest comes from the event loop,
    /// while what is seen and where it can be scrolled to are those of the whole. False, and
    /// nothing is shown, if the text is too tall for a scroll bar: from 2^31 pixels on.
    bool setLog(const QByteArray &log);
    /// Clears the view and gives the memory back to the system.
    void clearLog();

protected:
    QVariant loadResource(int type, const QUrl &url) override;
    void timerEvent(QTimerEvent *event) override;

private:
    LogLayout *plainLayout();
    void setHtmlLog(const QString &html);
    void setLargeLog(const QByteArray &log);
    QString nextPiece(const LogText &log);
    void fill();
    void scrollOn(int action);

    QTextEdit *view; ///< The owner.
    int filled = 0; ///< How many characters of an expected text are there.
    bool compact = false; ///< Whether most of its lines share a block.
    int timer = 0;
};
