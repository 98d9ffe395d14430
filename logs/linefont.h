#pragma once

#include <QFont>
#include <QRawFont>
#include <QString>
#include <QTextCharFormat>
#include <QTextOption>

#include <vector>

class QPaintDevice;
class QTextLine;

// Widths and heights are in 64ths of a pixel, as in Qt's own layout.

/// What decides where lines break, besides the text.
struct LineStyle
{
    QFont font; ///< For the paint device.
    QTextCharFormat format; ///< Of all characters, on top of the font.
    QTextOption option;
    QPaintDevice *device = nullptr; ///< Not owned.
    int width = 0;
};

qint64 toFixed(qreal pixels);
/// Of a line that the toolkit has laid out, as far as the next one's beginning.
qint64 heightOf(const QTextLine &line);

/// Which characters of a font lines can be counted with: each takes a column, and does not change
/// the line's height.
class LineFont
{
public:
    void measure(const LineStyle &newStyle);

    bool canCount() const { return counting; } ///< At least what is printable in ASCII.
    bool canCountControls(); ///< Those of ASCII too. Holds until the next forgetControls().
    /// To be called when the toolkit has laid something out: it may have looked for other fonts,
    /// and from then on take the control characters from one of these.
    void forgetControls() { controlsAreMeasured = false; }
    bool canCountLetter(ushort character); ///< Beyond ASCII.
    bool canCountTabs() const { return tab > 0; }
    qint64 behindTab(qint64 x) const; ///< Where a tab at @p x ends.

    /// Whether the character needs more than its column, and would get over the edge of a line that
    /// is full.
    bool overhangs(ushort character) const;
    bool anyOverhangs() const { return !overhanging.empty(); } ///< Of ASCII.
    qint64 overhang(ushort character) const; ///< By how much it gets over the edge of its column.

    qint64 width() const { return style.width; }
    qint64 column = 0;
    int columns = 0; ///< That a line has.
    qint64 tab = 0; ///< The most that a tab takes; 0 if they cannot be counted.
    qint64 lineHeight = 0;
    qint64 lastLineHeight = 0; ///< Of a paragraph.

private:
    enum class Letter : uchar { unknown, counted, other };

    bool areEquallyWide(const QString &characters);
    bool isColumnWide(ushort character);
    void measureTab();
    qint64 placeBehind(const QString &text) const;

    LineStyle style;
    QFont font; ///< The format's.
    QRawFont firstFont; ///< Before those that stand in for what it lacks.
    bool counting = false;
    bool countingControls = false;
    bool controlsAreMeasured = false;
    std::vector<Letter> letters; ///< By their code; empty until there is one.
    std::vector<ushort> overhanging;
};
