#include "logs/loglines.h"

#include "logs/asciibreaks.h"

#include <QFontMetricsF>
#include <QStyle>
#include <QTextLayout>
#include <QVector>
#include <QtMath>

#include <algorithm>

namespace {

// Measured together at most, so that a page within a long paragraph is near a known place.
constexpr int mostLines = 64;

// Of a longer paragraph the toolkit gets one window after the other: for every line it looks at all
// that is left of a word. What it does at a place can depend on all of the paragraph, but it would
// not come to an end here.
constexpr int longParagraph = 262144;
constexpr int window = 2048;
constexpr int windowMargin = 256; ///< What is near its end may break elsewhere in the whole.

qint64 toFixed(qreal pixels) { return static_cast<qint64>(pixels * 64); }

bool endsParagraph(ushort character)
{
    return character == '\n' || character == '\r' || character == QChar::ParagraphSeparator
        || character == 0xFDD0 || character == 0xFDD1;
}

/// All that a line can be counted with: the printable characters, or the others.
QString knownCharacters(bool printable)
{
    QString known;
    for (ushort character = 0; character < 128; ++character) {
        const bool isPrintable = character >= ' ' && character < 127;
        if (AsciiBreaks::isKnown(character) && isPrintable == printable)
            known += QChar(character);
    }
    return known;
}

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

qint64 heightOf(const QTextLine &line)
{
    return toFixed(qCeil(line.ascent() + line.descent() + line.leading()));
}

} // namespace

void LogLines::setText(const LogText &newText)
{
    content = newText;
    paragraphStart = -1;
    isLaidOut = false;
}

void LogLines::setStyle(const LineStyle &newStyle)
{
    style = newStyle;
    paragraphStart = -1;
    isLaidOut = false;
    measureFont();
}

void LogLines::measureFont()
{
    const QFont font(style.format.font().resolve(style.font), style.device);
    const QFontMetricsF metrics(font, style.device);
    column = toFixed(metrics.horizontalAdvance(QLatin1Char('x')));
    lineHeight = 0;
    const QString printable = knownCharacters(true);
    counting = style.option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere && column > 0
        && style.width >= 2 * column && areEquallyWide(printable);
    controlsAreMeasured = false;
    if (!counting)
        return;
    columns = static_cast<int>(style.width / column);
    overhanging.clear();
    for (const QChar character : printable + knownCharacters(false)) {
        if (metrics.rightBearing(character) * 64 < -static_cast<qreal>(style.width % column))
            overhanging.push_back(character.unicode());
    }
}

/// Whether each of the characters takes a column, in lines as high as those of the others.
bool LogLines::areEquallyWide(const QString &characters)
{
    QTextLayout test(characters, style.font, style.device);
    if (!style.format.isEmpty())
        test.setFormats({{0, characters.size(), style.format}});
    test.beginLayout();
    QTextLine line = test.createLine();
    line.setLeadingIncluded(true);
    line.setLineWidth(1 << 20);
    test.endLayout();
    for (int i = 0; i < characters.size(); ++i) {
        if (toFixed(line.cursorToX(i + 1)) != column * (i + 1))
            return false;
    }
    const qint64 height = heightOf(line);
    const qint64 lastHeight = qMax(height, toFixed(line.height()));
    if (lineHeight == 0) {
        lineHeight = height;
        lastLineHeight = lastHeight;
    }
    return height == lineHeight && lastHeight == lastLineHeight;
}

/// Finds the end of the paragraph, and what it holds.
LogLines::Contents LogLines::scan(int from)
{
    Contents contents = Contents::printable;
    for (end = from;; ++end) {
        end = content.skipPrintable(end);
        if (end >= content.size())
            return contents;
        const ushort character = content.at(end);
        if (character >= ' ' && character < 127)
            continue;
        if (endsParagraph(character))
            return contents;
        if (!AsciiBreaks::isKnown(character))
            contents = Contents::anything;
        else if (contents == Contents::printable)
            contents = Contents::controls;
    }
}

void LogLines::enter(int paragraph)
{
    if (paragraph == paragraphStart)
        return;
    paragraphStart = paragraph;
    hasBreaks = false;
    isCounted = canBeCounted(scan(paragraph));
}

bool LogLines::canBeCounted(Contents contents)
{
    if (!counting || contents == Contents::anything)
        return false;
    if (contents == Contents::controls && !controlsAreMeasured) {
        countingControls = areEquallyWide(knownCharacters(false));
        controlsAreMeasured = true;
    }
    if (contents == Contents::controls && !countingControls)
        return false;
    if (!overhanging.empty()) {
        for (int i = paragraphStart; i < end; ++i) {
            if (std::count(overhanging.begin(), overhanging.end(), content.at(i)) > 0)
                return false;
        }
    }
    return true;
}

LineStretch LogLines::measure(const LinePlace &place)
{
    enter(place.paragraph);
    LineStretch stretch;
    stretch.from = place;
    if (isCounted && count(stretch))
        return stretch;
    isCounted = false;
    layOutLines(place);
    return laidOut;
}

/// Counts lines, unless the toolkit itself has a line that is too wide: false.
bool LogLines::count(LineStretch &stretch)
{
    int line = stretch.from.line;
    while (stretch.lines < mostLines) {
        ++stretch.lines;
        const int next = end - line <= columns ? end : nextLine(line);
        if (next < 0)
            return false;
        line = next;
        if (line == end)
            break;
    }
    stretch.end = line;
    stretch.endsParagraph = line == end;
    stretch.height
        = stretch.lines * lineHeight + (stretch.endsParagraph ? lastLineHeight - lineHeight : 0);
    return true;
}

/// Where the line after @p line begins, which has more characters than columns; -1 if unknown.
int LogLines::nextLine(int line)
{
    const auto skipBlanks = [&](int position) {
        while (position < end && content.at(position) == ' ')
            ++position;
        return position;
    };
    int wordEnd = line + columns;
    while (wordEnd > line && !mayBreak(wordEnd))
        --wordEnd;
    if (wordEnd > line)
        return skipBlanks(wordEnd);
    const int blanks = skipBlanks(line) - line;
    if (blanks == columns)
        return -1; // and yet a letter comes behind them: the line becomes too wide
    return blanks > columns ? line + blanks : line + columns;
}

/// Whether the toolkit looks at @p position whether the line is full: after a word or a part of it.
bool LogLines::mayBreak(int position)
{
    const ushort before = content.at(position - 1);
    if (before == ' ')
        return false;
    if (position == end || content.at(position) == ' ')
        return true;
    if (!AsciiBreaks::isPossible(before, content.at(position)))
        return false;
    if (!hasBreaks) {
        const QString paragraph = content.mid(paragraphStart, end - paragraphStart);
        AsciiBreaks::find(paragraph.utf16(), paragraph.size(), breaks);
    }
    hasBreaks = true;
    return breaks[static_cast<std::size_t>(position - paragraphStart)];
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
    controlsAreMeasured = false; // if the toolkit uses another font by now, it may have those too
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
