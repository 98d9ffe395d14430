#include "logs/loglines.h"

#include <QStyle>
#include <QVector>

namespace {

// Of a longer paragraph the toolkit gets one window after the other: for every line it looks at all
// that is left of a word. What it does at a place can depend on all of the paragraph, but it would
// not come to an end here.
constexpr int longParagraph = 262144;
constexpr int window = 2048;
constexpr int windowMargin = 256; ///< What is near its end may break elsewhere in the whole.

/// As QTextBlock::textDirection() finds it.
Qt::LayoutDirection directionOf(const LogText &text, int from, int end)
{
    for (int i = from; i < end; ++i) {
        uint character = text.at(i);
        if (QChar::isHighSurrogate(character) && i + 1 < end
            && QChar::isLowSurrogate(text.at(i + 1))) {
            ++i;
            character = QChar::surrogateToUcs4(static_cast<ushort>(character), text.at(i));
        }
        switch (QChar::direction(character)) {
        case QChar::DirL:
            return Qt::LeftToRight;
        case QChar::DirR:
        case QChar::DirAL:
            return Qt::RightToLeft;
        default:
            break;
        }
    }
    return Qt::LeftToRight;
}

} // namespace

void LogLines::setText(const LogText &newText)
{
    content = newText;
    counter.setText(newText);
    paragraphStart = -1;
    isLaidOut = false;
}

void LogLines::setStyle(const LineStyle &newStyle)
{
    style = newStyle;
    counter.setStyle(newStyle);
    paragraphStart = -1;
    isLaidOut = false;
}

void LogLines::enter(int paragraph)
{
    end = counter.enter(paragraph);
    paragraphStart = paragraph;
}

LineStretch LogLines::measure(const LinePlace &place)
{
    LineStretch stretch;
    enter(place.paragraph);
    if (counter.count(place, stretch))
        return stretch;
    layOutLines(place);
    return laidOut;
}

int LogLines::windowEnd(int line, int size) const
{
    if (size >= end - line)
        return end;
    return QChar::isLowSurrogate(content.at(line + size)) ? line + size + 1 : line + size;
}

/// Lays out lines with the toolkit: all of the paragraph, or those in a window of a long one.
void LogLines::layOutLines(const LinePlace &place)
{
    if (isLaidOut && laidOut.from.line == place.line)
        return;
    int size = end - place.paragraph <= longParagraph ? end - place.line : window;
    do { // a line may have any number of blanks at its end
        const int last = windowEnd(place.line, size);
        prepare(place, last);
        addLines(layout, last == end ? last : last - windowMargin);
        size *= 2;
    } while (laidOut.lines == 0);
    counter.forgetControls();
}

const QTextLayout &LogLines::layOut(const LineStretch &stretch)
{
    enter(stretch.from.paragraph);
    if (!isLaidOut || laidOut.from.line != stretch.from.line) {
        prepare(stretch.from, stretch.end);
        addLines(layout, stretch.end);
    }
    return layout;
}

void LogLines::layOutBlock(const LineStretch &stretch, QTextLayout &blockLayout)
{
    enter(stretch.from.paragraph);
    blockLayout.setTextOption(paragraphOption());
    laidOut.from = stretch.from;
    isLaidOut = false;
    addLines(blockLayout, stretch.end);
    isLaidOut = false;
}

void LogLines::prepare(const LinePlace &from, int to)
{
    const QString part = content.mid(from.line, to - from.line);
    laidOut = LineStretch();
    laidOut.from = from;
    layout.clearLayout();
    layout.setText(part);
    layout.setFont(style.font);
    layout.setFormats(style.format.isEmpty()
                          ? QVector<QTextLayout::FormatRange>()
                          : QVector<QTextLayout::FormatRange> {{0, part.size(), style.format}});
    layout.setTextOption(paragraphOption());
}

QTextOption LogLines::paragraphOption() const
{
    QTextOption option = style.option;
    if (paragraphStart >= 0) {
        const auto direction = directionOf(content, paragraphStart, end);
        option.setTextDirection(direction);
        option.setAlignment(QStyle::visualAlignment(direction, option.alignment()));
    }
    return option;
}

/// Adds the lines that end at @p longest or before, as QTextDocument's own layout does.
void LogLines::addLines(QTextLayout &into, int longest)
{
    qint64 bottom = 0;
    QTextOption option = into.textOption();
    laidOut = {laidOut.from};
    into.beginLayout();
    for (;;) {
        QTextLine line = into.createLine();
        if (!line.isValid())
            break;
        setWidth(into, line, option);
        const int lineEnd = laidOut.from.line + line.textStart() + line.textLength();
        if (lineEnd > longest)
            break;
        line.setPosition(QPointF(0, static_cast<qreal>(laidOut.height) / 64));
        bottom = laidOut.height + toFixed(line.height());
        laidOut.height += heightOf(line);
        laidOut.width = qMax(laidOut.width, toFixed(line.naturalTextWidth()));
        ++laidOut.lines;
        laidOut.end = lineEnd;
    }
    into.endLayout();
    laidOut.endsParagraph = laidOut.lines > 0 && laidOut.end == end;
    if (laidOut.endsParagraph)
        laidOut.height = qMax(laidOut.height, bottom);
    isLaidOut = laidOut.lines > 0;
}

/// Breaks a line. If nothing else helps it breaks anywhere, and becomes wider than it should be.
void LogLines::setWidth(QTextLayout &into, QTextLine line, QTextOption &option) const
{
    const qreal width = style.width / 64.0;
    const auto isTooWide = [&] { return toFixed(line.naturalTextWidth()) > style.width; };
    line.setLeadingIncluded(true);
    line.setLineWidth(width);
    if (isTooWide())
        line.setLineWidth(width);
    if (!isTooWide())
        return;
    const bool wrapsAnywhere = style.option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere;
    if (wrapsAnywhere) {
        option.setWrapMode(QTextOption::WrapAnywhere);
        into.setTextOption(option);
    }
    line.setLineWidth(qMax(line.naturalTextWidth(), width));
    if (wrapsAnywhere) {
        option.setWrapMode(QTextOption::WordWrap); // for the rest of the paragraph
        into.setTextOption(option);
    }
}
