#include "logs/loglayout.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextLayout>
#include <QTimerEvent>
#include <QtMath>

#include <algorithm>

namespace {

constexpr int linesBetweenMarks = 64;
constexpr int measuredAtOnce = 1000; ///< Characters, as QTextDocument's own layout begins.
constexpr qint64 tallestAtOnce = 2000LL * 64; ///< The same, downwards.
constexpr int tallestLine = 100; ///< Pixels; no line is as tall.
constexpr qreal tallestText = INT_MAX - 4096; ///< Pixels, with a page below them.
constexpr int slice = 10; ///< Milliseconds for which the event loop waits at a time.

qreal toPixels(qint64 fixed) { return static_cast<qreal>(fixed) / 64; }

} // namespace

LogLayout::LogLayout(QTextDocument *document)
    : QAbstractTextDocumentLayout(document)
{
    setProperty("cursorWidth", 1); // the view keeps it here, as in the toolkit's own layout
    // comes right before documentChanged(), which is called for a new width or font as well
    connect(document, &QTextDocument::contentsChange, this, [this] { isNewText = true; });
}

void LogLayout::expect(const LogText &text)
{
    lines.setText(text);
    textIsKnown = true;
    isExpecting = true;
    begun = false;
}

void LogLayout::documentChanged(int from, int charsRemoved, int charsAdded)
{
    Q_UNUSED(from)
    Q_UNUSED(charsAdded)
    const bool isChanged = isNewText || charsRemoved > 0;
    isNewText = false;
    if (isChanged && filling) {
        if (begun || document()->isEmpty())
            return;
    } else if (isChanged || !textIsKnown) {
        lines.setText(LogText(document()->toRawText()));
        isExpecting = false;
    }
    textIsKnown = true;
    if (document()->pageSize().isNull())
        return;
    begun = true;
    restart();
}

/// Measures the text's beginning, which is all of it unless it is large.
void LogLayout::restart()
{
    const QTextFrameFormat frame = document()->rootFrame()->frameFormat();
    margin = {};
    const auto scaled = [this](qreal pixels) {
        const qreal dpi = QGuiApplication::primaryScreen()->logicalDotsPerInchY();
        const int scale = paintDevice() ? paintDevice()->logicalDpiY() : qRound(dpi);
        return qRound(pixels * scale / qRound(dpi));
    };
    margin = QMargins(scaled(frame.leftMargin()), scaled(frame.topMargin()),
                      scaled(frame.rightMargin()), scaled(frame.bottomMargin()));

    LineStyle style;
    style.font = QFont(document()->defaultFont(), paintDevice());
    style.format = QTextCursor(document()->firstBlock()).charFormat();
    style.option = document()->defaultTextOption();
    style.device = paintDevice();
    style.width = static_cast<int>(
        toFixed(document()->pageSize().width() - margin.left() - margin.right()));
    lines.setStyle(style);

    marks.assign(1, Mark());
    next = Mark();
    measured = false;
    linesSinceMark = 0;
    widest = 0;
    measureWhile([this] { return next.place.line < measuredAtOnce || next.y < tallestAtOnce; });
    if (!measured)
        timer.start(0, this);
    emit update(QRectF(0, 0, INT_MAX, INT_MAX));
}

void LogLayout::measureFor(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    measureWhile([&] { return clock.elapsed() < milliseconds; });
}

void LogLayout::measureAll()
{
    measureWhile([] { return true; });
}

bool LogLayout::isLowEnough()
{
    measureAll();
    return toPixels(next.y) + margin.top() + margin.bottom() <= tallestText;
}

void LogLayout::measureTo(int y)
{
    const qint64 goal = (static_cast<qint64>(y) + 1) * 64;
    measureWhile([&] { return next.y < goal; });
}

void LogLayout::measureWhile(const std::function<bool()> &goesOn)
{
    if (measured || !begun)
        return;
    while (!measured && goesOn()) {
        for (int i = 0; i < linesBetweenMarks && !measured; ++i)
            measureNext();
    }
    if (measured)
        timer.stop();
    reportSize();
}

void LogLayout::measureNext()
{
    if (linesSinceMark >= linesBetweenMarks) {
        marks.push_back(next);
        linesSinceMark = 0;
    }
    LineStretch stretch;
    measured = !step(next, stretch);
    linesSinceMark += stretch.lines;
    widest = qMax(widest, stretch.width);
}

/// Measures the stretch that begins at @p mark and moves that to its end. False if it is the last.
bool LogLayout::step(Mark &mark, LineStretch &stretch) const
{
    stretch = lines.measure(mark.place);
    mark.y += stretch.height;
    mark.place.line = stretch.end;
    if (!stretch.endsParagraph)
        return true;
    if (stretch.end == lines.text().size())
        return false;
    mark.place.line = mark.place.paragraph = stretch.end + 1;
    return true;
}

void LogLayout::reportSize()
{
    const QSizeF size = documentSize();
    if (size == reportedSize)
        return;
    reportedSize = size;
    emit documentSizeChanged(size);
}

QSizeF LogLayout::documentSize() const
{
    if (!begun)
        return {};
    qreal height = toPixels(next.y);
    if (!measured)
        height *= static_cast<qreal>(lines.text().size()) / next.place.line;
    const int sides = margin.left() + margin.right();
    return {qMax(document()->pageSize().width(), toPixels(widest) + sides),
            qMin(height + margin.top() + margin.bottom(), tallestText)};
}

int LogLayout::pageCount() const
{
    const_cast<LogLayout *>(this)->measureAll(); // as QTextDocument's own layout does
    return 1;
}

void LogLayout::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == timer.timerId())
        measureFor(slice);
    else
        QAbstractTextDocumentLayout::timerEvent(event);
}

const LogLayout::Mark &LogLayout::markAbove(qint64 y) const
{
    const auto above
        = std::upper_bound(marks.begin(), marks.end(), y,
                           [](qint64 height, const Mark &mark) { return height < mark.y; });
    return above == marks.begin() ? marks.front() : *std::prev(above);
}

const LogLayout::Mark &LogLayout::markBefore(int position) const
{
    const auto after
        = std::upper_bound(marks.begin(), marks.end(), position,
                           [](int place, const Mark &mark) { return place < mark.place.line; });
    return after == marks.begin() ? marks.front() : *std::prev(after);
}

void LogLayout::draw(QPainter *painter, const PaintContext &context)
{
    if (!begun)
        return;
    const QSizeF size = documentSize();
    QRectF clip(margin.left(), 0, size.width() - margin.left() - margin.right(), size.height());
    if (context.clip.isValid()) {
        measureTo(qCeil(context.clip.bottom()));
        clip &= context.clip;
    } else {
        measureAll();
    }

    painter->save();
    painter->setPen(context.palette.color(QPalette::Text));
    Mark mark = markAbove(toFixed(clip.top() - margin.top() - tallestLine));
    for (bool goesOn = true; goesOn;) {
        const qreal top = margin.top() + toPixels(mark.y);
        if (top > clip.bottom())
            break;
        LineStretch stretch;
        goesOn = step(mark, stretch);
        const qreal bottom = top + toPixels(stretch.height);
        if (bottom >= clip.top() || (!stretch.endsParagraph && bottom + tallestLine >= clip.top()))
            drawStretch(painter, stretch, top, clip);
    }
    painter->restore();
}

/// Draws with the painter moved to the stretch: Qt's text stops at 2^23 pixels. The layout chooses
/// the lines itself; line by line, a tab would keep the width that it had on a line it did not fit
/// on.
void LogLayout::drawStretch(QPainter *painter, const LineStretch &stretch, qreal top,
                            const QRectF &clip) const
{
    painter->translate(0, top);
    lines.layOut(stretch).draw(painter, QPointF(margin.left(), 0),
                               QVector<QTextLayout::FormatRange>(), clip.translated(0, -top));
    painter->translate(0, -top);
}

int LogLayout::hitTest(const QPointF &point, Qt::HitTestAccuracy accuracy) const
{
    if (!begun)
        return 0;
    const_cast<LogLayout *>(this)->measureTo(qCeil(point.y()));
    const QPointF inText = point - QPointF(margin.left(), margin.top());
    Mark mark = markAbove(toFixed(inText.y()));
    for (;;) {
        const qreal top = toPixels(mark.y);
        LineStretch stretch;
        const bool isLast = !step(mark, stretch);
        if (inText.y() > toPixels(mark.y) && !isLast)
            continue;
        const QTextLayout &layout = lines.layOut(stretch);
        const QPointF inLayout = inText - QPointF(0, top);
        for (int i = 0; i < stretch.lines; ++i) {
            const QTextLine line = layout.lineAt(i);
            const QRectF rect = line.naturalTextRect();
            if (inLayout.y() >= rect.bottom())
                continue;
            const bool isExact = rect.left() <= inLayout.x() && rect.right() >= inLayout.x();
            if (accuracy == Qt::ExactHit && !isExact)
                return -1;
            return stretch.from.line
                + line.xToCursor(inLayout.x(),
                                 accuracy == Qt::ExactHit ? QTextLine::CursorOnCharacter
                                                          : QTextLine::CursorBetweenCharacters);
        }
        return accuracy == Qt::ExactHit ? -1 : stretch.end;
    }
}

QRectF LogLayout::frameBoundingRect(QTextFrame *frame) const
{
    Q_UNUSED(frame)
    const_cast<LogLayout *>(this)->measureAll();
    return {QPointF(0, 0), documentSize()};
}

/// Lays the block out too: who asks for its place goes on to ask for its lines.
QRectF LogLayout::blockBoundingRect(const QTextBlock &block) const
{
    if (!begun || !block.isValid())
        return {};
    const int position = block.position();
    const_cast<LogLayout *>(this)->measureWhile([&] { return next.place.paragraph <= position; });
    Mark mark = markBefore(position);
    LineStretch stretch;
    while (mark.place.line < position && step(mark, stretch)) { }
    const QPointF place(margin.left(), margin.top() + toPixels(mark.y));
    step(mark, stretch);
    QTextLayout *layout = block.layout();
    layout->setPosition(place);
    if (stretch.end != position + block.length() - 1)
        return {place, QSizeF(toPixels(lines.width()), toPixels(stretch.height))};
    if (layout->lineCount() == 0)
        lines.layOutBlock(stretch, *layout);
    return layout->boundingRect().translated(place);
}
