#include "logs/linecounter.h"

#include "logs/asciibreaks.h"

#include <QTextBoundaryFinder>

#include <algorithm>

namespace {

// Measured together at most, so that a page within a long paragraph is near a known place.
constexpr int mostLines = 64;

// QTextLayout goes through a paragraph by items of one script and of this many characters at most,
// or of one tab. A run of blanks that is wider than a line ends the line where its item ends.
constexpr int longestItem = 4096;

bool endsParagraph(ushort character)
{
    return character == '\n' || character == '\r' || character == QChar::ParagraphSeparator
        || character == 0xFDD0 || character == 0xFDD1;
}

/// Whether the rules for line breaks have the character for nothing but a letter or a digit: no
/// line ends between two of them.
bool isInsideWord(ushort character)
{
    const QChar letter(character);
    return character < 128 ? letter.isLetterOrNumber()
                           : letter.isLetter() && letter.script() != QChar::Script_Common;
}

} // namespace

void LineCounter::setText(const LogText &text)
{
    content = text;
    start = -1;
}

void LineCounter::setStyle(const LineStyle &style)
{
    font.measure(style);
    start = -1;
}

int LineCounter::enter(int paragraph)
{
    if (paragraph != start) {
        start = paragraph;
        contents = scan();
        hasBreaks = false;
        isCounted = canBeCounted(contents);
    }
    return end;
}

/// Finds the end of the paragraph, and what it holds.
LineCounter::Contents LineCounter::scan()
{
    Contents found;
    for (end = start;; ++end) {
        end = content.skipPrintable(end);
        if (end >= content.size())
            return found;
        const ushort character = content.at(end);
        if (character >= ' ' && character < 127)
            continue;
        if (endsParagraph(character))
            return found;
        if (character == '\t')
            found.tabs = true;
        else if (AsciiBreaks::isKnown(character))
            found.controls = true;
        else if (character >= 128 && !found.others && font.canCount()
                 && font.canCountLetter(character))
            found.letters = true;
        else
            found.others = true;
    }
}

bool LineCounter::canBeCounted(const Contents &found)
{
    if (!font.canCount() || found.others || (found.tabs && !font.canCountTabs()))
        return false;
    if (found.controls && !font.canCountControls())
        return false;
    if (font.anyOverhangs() && !found.tabs) {
        for (int i = start; i < end; ++i) {
            if (content.at(i) < 128 && font.overhangs(content.at(i)))
                return false;
        }
    }
    return true;
}

bool LineCounter::count(const LinePlace &place, LineStretch &stretch)
{
    enter(place.paragraph);
    stretch = LineStretch();
    stretch.from = place;
    int line = place.line;
    while (isCounted && stretch.lines < mostLines) {
        ++stretch.lines;
        const int next = isOneLine(line) ? end
            : contents.tabs              ? nextLineWithTabs(line)
                                         : nextLine(line);
        isCounted = next >= 0; // the toolkit itself has a line that is too wide
        line = next;
        if (line == end)
            break;
    }
    stretch.end = line;
    stretch.endsParagraph = line == end;
    stretch.height = stretch.lines * font.lineHeight;
    if (stretch.endsParagraph)
        stretch.height += font.lastLineHeight - font.lineHeight;
    return isCounted;
}

/// Whether the rest of the paragraph surely fits into the line.
bool LineCounter::isOneLine(int line) const
{
    if (end - line > font.columns)
        return false;
    if (!contents.tabs)
        return true;
    qint64 widest = font.column; // a letter may need more than its column
    for (int i = line; i < end; ++i)
        widest += content.at(i) == '\t' ? font.tab : font.column;
    return widest <= font.width();
}

/// Past the blanks at @p position, as far as they belong to one line; -1 if that is unknown.
int LineCounter::skipBlanks(int position) const
{
    const int widest = position + font.columns;
    const qint64 itemEnd = start + ((widest - start) / longestItem + 1LL) * longestItem;
    const int last = static_cast<int>(qMin<qint64>(end, itemEnd));
    const int first = position;
    while (position < last && content.at(position) == ' ')
        ++position;
    const bool isOneItem = end - start <= longestItem || !(contents.letters || contents.tabs);
    return isOneItem || position - first <= font.columns ? position : -1;
}

/// Where the line after @p line begins, which has more characters than columns; -1 if unknown.
int LineCounter::nextLine(int line)
{
    int wordEnd = line + font.columns;
    while (wordEnd > line && !mayBreak(wordEnd))
        --wordEnd;
    if (wordEnd > line)
        return skipBlanks(wordEnd);
    const int blanksEnd = skipBlanks(line);
    if (blanksEnd - line == font.columns)
        return -1; // and yet a letter comes behind them: the line becomes too wide
    return blanksEnd < 0 || blanksEnd - line > font.columns ? blanksEnd : line + font.columns;
}

/// The same of a line that may have tabs, as the toolkit goes about it: a tab, a run of blanks or a
/// word at a time. Where the line is full blanks, or one tab, still end it.
int LineCounter::nextLineWithTabs(int line)
{
    qint64 x = 0;
    qint64 blanks = 0; ///< Not known yet whether they end the line.
    int position = line;
    bool isFirst = true; ///< What comes first is taken whatever its width.
    while (position < end) {
        const ushort character = content.at(position);
        if (character == ' ') {
            const int behind = skipBlanks(position);
            blanks = (behind - position) * font.column;
            if (behind < 0 || blanks > font.width())
                return behind;
            position = behind;
            continue;
        }
        if (character == '\t') {
            isFirst = isFirst && blanks == 0;
            if (!isFirst && x + blanks > font.width())
                return position;
            x += blanks;
            blanks = 0;
            x = font.behindTab(x);
            ++position;
            if (!isFirst && x > font.width())
                return position;
            isFirst = false;
            continue;
        }
        x += blanks;
        blanks = 0;
        qint64 wordEnd = 0;
        const int place = placeInWord(position, x, isFirst, wordEnd);
        if (wordEnd == 0)
            return place;
        x = wordEnd;
        position = place;
        isFirst = false;
    }
    return end;
}

/// Returns where the word at @p word and @p x ends, and sets @p wordEnd to its edge; or if the line
/// is full before that, where the next one begins, and leaves @p wordEnd. -1 if that is unknown.
int LineCounter::placeInWord(int word, qint64 x, bool isFirst, qint64 &wordEnd)
{
    const auto fits = [&](int position) {
        const qint64 edge = x + (position - word) * font.column;
        return edge + font.column <= font.width()
            || edge + font.overhang(content.at(position - 1)) <= font.width();
    };
    int position = word + 1;
    const int farthest = static_cast<int>(qMin<qint64>(end, word + font.columns + 1));
    while (position < farthest && content.at(position) != ' ' && content.at(position) != '\t')
        ++position;
    if (position <= word + font.columns && fits(position)) {
        wordEnd = x + (position - word) * font.column;
        return position;
    }
    for (--position; position > word; --position) {
        if (fits(position) && mayBreak(position))
            return position;
    }
    return isFirst ? -1 : word;
}

/// Whether the toolkit looks at @p position whether the line is full: after a word or a part of it.
bool LineCounter::mayBreak(int position)
{
    const ushort before = content.at(position - 1);
    if (before == ' ')
        return false;
    if (position == end || content.at(position) == ' ')
        return true;
    const ushort after = content.at(position);
    const bool isAscii = !contents.letters && !contents.tabs;
    if (isAscii ? !AsciiBreaks::isPossible(before, after)
                : isInsideWord(before) && isInsideWord(after))
        return false;
    if (!hasBreaks)
        findBreaks();
    hasBreaks = true;
    return breaks[static_cast<std::size_t>(position - start)];
}

void LineCounter::findBreaks()
{
    const QString paragraph = content.mid(start, end - start);
    if (!contents.letters && !contents.tabs) {
        AsciiBreaks::find(paragraph.utf16(), paragraph.size(), breaks);
        return;
    }
    QTextBoundaryFinder finder(QTextBoundaryFinder::Line, paragraph);
    breaks.assign(static_cast<std::size_t>(paragraph.size()), false);
    for (int next = finder.toNextBoundary(); next >= 0 && next < paragraph.size();
         next = finder.toNextBoundary())
        breaks[static_cast<std::size_t>(next)] = true;
}
