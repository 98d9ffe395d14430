#pragma once

#include "logs/linefont.h"
#include "logs/logtext.h"

#include <vector>

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
    qint64 height = 0; ///< In 64ths of a pixel, as all heights and widths here.
    qint64 width = 0; ///< Of its widest line, if that is wider than it may be.
};

/// Counts the lines of a paragraph without laying it out, where that comes to the same: its
/// characters all take a column, tabs excepted, and where a line may end is a matter of rules.
class LineCounter
{
public:
    void setText(const LogText &text);
    void setStyle(const LineStyle &style);

    /// Goes to the paragraph that begins at @p paragraph. Returns where it ends: at a line feed, a
    /// carriage return, one of the characters that QTextDocument takes for an end of a paragraph,
    /// or the end of the text.
    int enter(int paragraph);
    /// Counts lines from @p place in the paragraph that was entered. False if the toolkit has to
    /// lay them out.
    bool count(const LinePlace &place, LineStretch &stretch);
    /// To be called when the toolkit has laid something out.
    void forgetControls() { font.forgetControls(); }

private:
    struct Contents
    {
        bool controls = false;
        bool tabs = false;
        bool letters = false; ///< Beyond ASCII.
        bool others = false; ///< What cannot be counted.
    };

    Contents scan();
    bool canBeCounted(const Contents &contents);
    bool isOneLine(int line) const;
    int nextLine(int line);
    int nextLineWithTabs(int line);
    int placeInWord(int word, qint64 x, bool isFirst, qint64 &wordEnd);
    int skipBlanks(int position) const;
    bool mayBreak(int position);
    void findBreaks();

    LogText content;
    LineFont font;

    // The paragraph that was entered last.
    int start = -1;
    int end = 0;
    Contents contents;
    bool isCounted = false;
    bool hasBreaks = false;
    std::vector<bool> breaks;
};
