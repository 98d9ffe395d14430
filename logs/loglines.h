#pragma once

#include "logs/logtext.h"

#include <QFont>
#include <QTextCharFormat>
#include <QTextLayout>
#include <QTextOption>

#include <vector>

class QPaintDevice;

// How a plain text breaks into the lines of a screen, each exactly where QTextEdit breaks it. What
// is ASCII, in a font whose letters are all as wide, is counted; everything else QTextLayout lays
// out. Heights and widths are in 64ths of a pixel, as in Qt's own layout.

/// What decides where lines break, besides the text.
struct LineStyle
{
    QFont font; ///< For the paint device.
    QTextCharFormat format; ///< Of all characters, on top of the font.
    QTextOption option;
    QPaintDevice *device = nullptr; ///< Not owned.
    int width = 0;
};

/// Where a line begins.
struct LinePlace
{
    int paragraph = 0; ///< Where its paragraph begins, in characters of the text.
    int line = 0; ///< Where itself begins.
};

/// Some lines of one paragraph that follow each other, measured together.
struct LineStretch
{
    LinePlace from;
    int end = 0; ///< Where the next line begins, or the paragraph's end.
    bool endsParagraph = false;
    int lines = 0;
    qint64 height = 0;
    qint64 width = 0; ///< Of its widest line, if that is wider than it may be.
};

/// The lines of a text. A paragraph ends at a line feed, a carriage return, or one of the
/// characters that QTextDocument takes for an end of a paragraph.
class LogLines
{
public:
    void setText(const LogText &newText);
    void setStyle(const LineStyle &newStyle);

    const LogText &text() const { return content; }
    int width() const { return style.width; }

    /// The stretch that begins at @p place: a whole paragraph unless that is long.
    LineStretch measure(const LinePlace &place);
    /// A stretch that measure() gave, its first line at (0, 0); valid until the next call.
    const QTextLayout &layOut(const LineStretch &stretch);
    /// Makes @p layout, a block's own, show that block, which one stretch holds.
    void layOutBlock(const LineStretch &stretch, QTextLayout &blockLayout);

private:
    enum class Contents { printable, controls, anything };

    void measureFont();
    bool areEquallyWide(const QString &characters);
    void enter(int paragraph);
    Contents scan(int from);
    bool canBeCounted(Contents contents);
    int nextLine(int line);
    bool mayBreak(int position);
    bool count(LineStretch &stretch);
    void layOutLines(const LinePlace &place);
    int windowEnd(int line, int size) const;
    void prepare(const LinePlace &from, int to);
    QTextOption paragraphOption() const;
    void addLines(QTextLayout &into, int longest);
    void setWidth(QTextLayout &into, QTextLine line, QTextOption &option) const;

    LogText content;
    LineStyle style;

    // The font: of a text with letters of different widths nothing is counted.
    bool counting = false;
    bool countingControls = false; ///< Holds until the toolkit has looked for other fonts.
    bool controlsAreMeasured = false;
    qint64 column = 0;
    int columns = 0;
    qint64 lineHeight = 0;
    qint64 lastLineHeight = 0;
    std::vector<ushort> overhanging; ///< Characters that need more than their column.

    // The paragraph that was entered last.
    int paragraphStart = -1;
    int end = 0;
    bool isCounted = false;
    bool hasBreaks = false;
    std::vector<bool> breaks;

    QTextLayout layout; ///< What the toolkit laid out last.
    bool isLaidOut = false; ///< What it shows is the stretch below, of this text and style.
    LineStretch laidOut;
};
