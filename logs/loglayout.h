#pragma once

#include "logs/loglines.h"

#include <QAbstractTextDocumentLayout>
#include <QBasicTimer>
#include <QMargins>

#include <functional>
#include <vector>

/// The layout of a document that is plain text of any size and shape. It shows what QTextDocument's
/// own layout shows, to the pixel, but lays out only what is seen; of the rest it knows where every
/// 64th line lies, and of a large text it finds that out while the event loop has nothing else to
/// do. All calls come from the GUI thread.
class LogLayout : public QAbstractTextDocumentLayout
{
    Q_OBJECT

public:
    explicit LogLayout(QTextDocument *document);

    /// Takes @p text for what the document holds from now on, although only its beginning is there
    /// yet: to be called before the document gets that. Positions are those of the whole document.
    void expect(const LogText &text);
    /// Says that the document now gets more of the expected text; until called with false.
    void setFilling(bool isFilling) { filling = isFilling; }
    /// The expected text; empty if the document has been given another one since.
    LogText expected() const { return isExpecting ? lines.text() : LogText(); }

    /// Finds out how tall the text is, unless it takes longer than @p milliseconds.
    void measureFor(int milliseconds);
    /// Finds out how tall the text is.
    void measureAll();
    /// Whether the text, which is measured now, can be scrolled through: scroll bars count pixels.
    bool isLowEnough();
    /// Finds out where everything lies down to @p y pixels.
    void measureTo(int y);

    void draw(QPainter *painter, const PaintContext &context) override;
    int hitTest(const QPointF &point, Qt::HitTestAccuracy accuracy) const override;
    int pageCount() const override; ///< 1, of a text whose height is known from then on.
    QSizeF documentSize() const override; ///< Estimated until the text is measured.
    QRectF frameBoundingRect(QTextFrame *frame) const override;
    QRectF blockBoundingRect(const QTextBlock &block) const override;

protected:
    void documentChanged(int from, int charsRemoved, int charsAdded) override;
    void timerEvent(QTimerEvent *event) override;

private:
    /// Where a stretch of lines begins, in 64ths of a pixel from the first line.
    struct Mark
    {
        LinePlace place;
        qint64 y = 0;
    };

    void restart();
    void drawStretch(QPainter *painter, const LineStretch &stretch, qreal top,
                     const QRectF &clip) const;
    void measureWhile(const std::function<bool()> &goesOn);
    void measureNext();
    void reportSize();
    const Mark &markAbove(qint64 y) const;
    const Mark &markBefore(int position) const;
    bool step(Mark &mark, LineStretch &stretch) const;

    mutable LogLines lines;
    bool textIsKnown = false; ///< What lines has is what the document has.
    bool isNewText = false;
    bool isExpecting = false;
    bool filling = false;
    bool begun = false; ///< There is a text and a width.
    QMargins margin;

    std::vector<Mark> marks; ///< In their order, the first of them the text's beginning.
    Mark next; ///< What is not measured yet begins here.
    bool measured = true;
    int linesSinceMark = 0;
    qint64 widest = 0;

    QSizeF reportedSize;
    QBasicTimer timer;
};
