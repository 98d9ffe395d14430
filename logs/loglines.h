#pragma once

#include "logs/linecounter.h"

#include <QTextLayout>

// How a plain text breaks into the lines of a screen, each exactly where QTextEdit breaks it. What
// can be counted is; everything else QTextLayout lays out.

/// The lines of a text.
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
    void enter(int paragraph);
    void layOutLines(const LinePlace &place);
    int windowEnd(int line, int size) const;
    void prepare(const LinePlace &from, int to);
    QTextOption paragraphOption() const;
    void addLines(QTextLayout &into, int longest);
    void setWidth(QTextLayout &into, QTextLine line, QTextOption &option) const;

    LogText content;
    LineStyle style;

    LineCounter counter;

    // The paragraph that was entered last.
    int paragraphStart = -1;
    int end = 0;

    QTextLayout layout; ///< What the toolkit laid out last.
    bool isLaidOut = false; ///< What it shows is the stretch below, of this text and style.
    LineStretch laidOut;
};
