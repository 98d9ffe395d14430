#include "logs/loglines.h"

#include "logs/asciibreaks.h"

#include <QFontMetricsF>
#include <QStyle>
#include <QTextLayout>
#include <QVector>
#include <QtMath>

#include <algorithm>
#include <cstring>

namespace {

// Measured together at most, so that a page within a long paragraph is near a known place.
constexpr int mostLines = 64;

// Of a longer paragraph QTextLayout gets one window after the other: it looks at all that is left
// of a word for every line of it. Text from right to left needs its whole paragraph for much
// longer.
constexpr int longParagraph = 16384;
constexpr int longBidirectionalParagraph = 262144;
constexpr int window = 2048;
constexpr int windowMargin = 256; ///< What is near its end may break elsewhere in the whole.

qint64 toFixed(qreal pixels) { return static_cast<qint64>(pixels * 64); }

bool endsParagraph(ushort character)
{
    return character == '\n' || character == '\r' || character == QChar::ParagraphSeparator
        || character == 0xFDD0 || character == 0xFDD1;
}

/// Whether four characters are all printable ASCII.
bool arePrintable(const QChar *characters)
{
    quint64 four;
    std::memcpy(&four, characters, sizeof four);
    constexpr quint64 one = 0x0001000100010001;
    const quint64 notBelowBlank = (four + 0x60 * one) & (0x80 * one);
    const quint64 isDelete = (four + one) & (0x80 * one);
    return (four & (0xFF80 * one)) == 0 && notBelowBlank == 0x80 * one && isDelete == 0;
}

bool isBidirectional(const QChar *text, int length)
{
    return std::any_of(text, text + length, [](QChar character) {
        if (character.unicode() < 0x590)
            return false;
        switch (character.direction()) {
        case QChar::DirL:
        case QChar::DirEN:
        case QChar::DirES:
        case QChar::DirET:
        case QChar::DirCS:
        case QChar::DirB:
        case QChar::DirS:
        case QChar::DirWS:
        case QChar::DirON:
        case QChar::DirNSM:
        case QChar::DirBN:
            return character.isHighSurrogate() && character.unicode() <= 0xD83B
                && character.unicode()
                >= 0xD802; // the right-to-left scripts beyond the first plane
        default:
            return true;
        }
    });
}

/// As QTextBlock::textDirection() finds it.
Qt::LayoutDirection directionOf(const QChar *text, int length)
{
    for (int i = 0; i < length; ++i) {
        uint character = text[i].unicode();
        if (text[i].isHighSurrogate() && i + 1 < length && text[i + 1].isLowSurrogate()) {
            character = QChar::surrogateToUcs4(text[i], text[i + 1]);
            ++i;
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

void LogLines::setText(const QString &newText)
{
    content = newText;
    paragraphStart = -1;
}

void LogLines::setStyle(const LineStyle &newStyle)
{
    style = newStyle;
    paragraphStart = -1;
    measureFont();
}

/// Lays out every character that could be counted once, to see whether that is allowed.
void LogLines::measureFont()
{
    QString all;
    for (ushort character = 0; character < 128; ++character) {
        if (AsciiBreaks::isKnown(character))
            all += QChar(character);
    }
    QTextLayout layout;
    prepare(all, layout);
    QTextOption option = style.option;
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLeadingIncluded(true);
    line.setLineWidth(1 << 20);
    layout.endLayout();

    lineHeight = heightOf(line);
    lastLineHeight = qMax(lineHeight, toFixed(line.height()));
    const qint64 column = toFixed(line.cursorToX(1));
    counting = style.option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere && column > 0
        && style.width >= 2 * column;
    if (!counting)
        return;
    for (int i = 0; i < all.size(); ++i)
        counting = counting && toFixed(line.cursorToX(i + 1)) == column * (i + 1);
    columns = static_cast<int>(style.width / column);

    const QFont font(style.format.font().resolve(style.font), style.device);
    const QFontMetricsF metrics(font, style.device);
    overhanging.clear();
    for (const QChar character : qAsConst(all)) {
        if (metrics.rightBearing(character) * 64 < -static_cast<qreal>(style.width % column))
            overhanging.push_back(character.unicode());
    }
}

/// Finds the end of the paragraph; @p known says whether all its characters can be counted.
int LogLines::scan(int from, bool *known) const
{
    const QChar *characters = content.constData();
    const int size = content.size();
    *known = true;
    for (int i = from;; ++i) {
        while (i + 4 <= size && arePrintable(characters + i))
            i += 4;
        if (i >= size)
            return size;
        const ushort character = characters[i].unicode();
        if (AsciiBreaks::isKnown(character))
            continue;
        if (endsParagraph(character))
            return i;
        *known = false;
    }
}

void LogLines::enter(int paragraph)
{
    if (paragraph == paragraphStart)
        return;
    bool known = false;
    end = scan(paragraph, &known);
    paragraphStart = paragraph;
    hasBreaks = false;
    kind = Kind::laidOut;
    if (known && counting && canBeCounted())
        kind = Kind::counted;
    else if (isBidirectional(content.constData() + paragraph, end - paragraph))
        kind = Kind::bidirectional;
}

bool LogLines::canBeCounted() const
{
    const auto first = content.utf16() + paragraphStart;
    const auto last = content.utf16() + end;
    return std::find_first_of(first, last, overhanging.begin(), overhanging.end()) == last;
}

LineStretch LogLines::measure(const LinePlace &place)
{
    enter(place.paragraph);
    LineStretch stretch;
    stretch.from = place;
    if (kind != Kind::counted || !count(stretch)) {
        kind = kind == Kind::counted ? Kind::laidOut : kind;
        layOutLines(stretch);
    }
    return stretch;
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
    const ushort *characters = content.utf16();
    const auto skipBlanks = [&](int position) {
        while (position < end && characters[position] == ' ')
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
    const ushort *characters = content.utf16();
    const ushort before = characters[position - 1];
    if (before == ' ')
        return false;
    if (position == end || characters[position] == ' ')
        return true;
    if (!AsciiBreaks::isPossible(before, characters[position]))
        return false;
    if (!hasBreaks)
        AsciiBreaks::find(characters + paragraphStart, end - paragraphStart, breaks);
    hasBreaks = true;
    return breaks[static_cast<std::size_t>(position - paragraphStart)];
}

int LogLines::windowEnd(int line, int size) const
{
    if (size >= end - line)
        return end;
    return content.at(line + size).isLowSurrogate() ? line + size + 1 : line + size;
}

/// Lays out lines with the toolkit: all of the paragraph, or those in a window of a long one.
void LogLines::layOutLines(LineStretch &stretch)
{
    const int line = stretch.from.line;
    const int limit = kind == Kind::bidirectional ? longBidirectionalParagraph : longParagraph;
    int size = end - stretch.from.paragraph <= limit ? end - line : window;
    for (;; size *= 2) { // a line may have any number of blanks at its end
        const int last = windowEnd(line, size);
        QTextLayout layout;
        prepare(content.mid(line, last - line), layout);
        addLines(layout, stretch, last == end ? last - line : last - line - windowMargin);
        stretch.endsParagraph = stretch.end == end;
        if (stretch.lines > 0)
            return;
    }
}

void LogLines::layOut(const LineStretch &stretch, QTextLayout &layout)
{
    enter(stretch.from.paragraph);
    const int line = stretch.from.line;
    const int last = stretch.end == end ? end
        : kind == Kind::counted         ? stretch.end
                                        : qMin(end, stretch.end + windowMargin);
    prepare(content.mid(line, last - line), layout);
    LineStretch again = stretch;
    addLines(layout, again, stretch.end - line);
}

void LogLines::layOutBlock(const LineStretch &stretch, QTextLayout &layout)
{
    enter(stretch.from.paragraph);
    layout.setTextOption(paragraphOption());
    LineStretch again = stretch;
    addLines(layout, again, stretch.end - stretch.from.line);
}

void LogLines::prepare(const QString &part, QTextLayout &layout) const
{
    layout.setText(part);
    layout.setFont(style.font);
    if (!style.format.isEmpty())
        layout.setFormats({{0, part.size(), style.format}});
    layout.setTextOption(paragraphOption());
}

QTextOption LogLines::paragraphOption() const
{
    QTextOption option = style.option;
    if (paragraphStart >= 0) {
        const auto direction
            = directionOf(content.constData() + paragraphStart, end - paragraphStart);
        option.setTextDirection(direction);
        option.setAlignment(QStyle::visualAlignment(direction, option.alignment()));
    }
    return option;
}

/// Adds lines that end within the first @p longest characters, as QTextDocument's own layout does.
void LogLines::addLines(QTextLayout &layout, LineStretch &stretch, int longest) const
{
    const qreal width = style.width / 64.0;
    QTextOption option = layout.textOption();
    const bool wrapsAnywhere = option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere;
    qint64 bottom = 0;
    stretch.lines = 0;
    stretch.height = 0;
    stretch.width = 0;
    layout.beginLayout();
    for (;;) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLeadingIncluded(true);
        line.setLineWidth(width);
        if (toFixed(line.naturalTextWidth()) > style.width)
            line.setLineWidth(width);
        if (toFixed(line.naturalTextWidth()) > style.width) {
            if (wrapsAnywhere) {
                option.setWrapMode(QTextOption::WrapAnywhere);
                layout.setTextOption(option);
            }
            line.setLineWidth(qMax(line.naturalTextWidth(), width));
            if (wrapsAnywhere) {
                option.setWrapMode(QTextOption::WordWrap); // for the rest of the paragraph
                layout.setTextOption(option);
            }
        }
        // QTextLine counts the blanks at its end by its end
        const int lineEnd = line.textStart() + line.textLength();
        if (lineEnd > longest)
            break;
        line.setPosition(QPointF(0, static_cast<qreal>(stretch.height) / 64));
        bottom = stretch.height + toFixed(line.height());
        stretch.height += heightOf(line);
        stretch.width = qMax(stretch.width, toFixed(line.naturalTextWidth()));
        ++stretch.lines;
        stretch.end = stretch.from.line + lineEnd;
    }
    if (stretch.end == end)
        stretch.height = qMax(stretch.height, bottom);
    layout.endLayout();
}
