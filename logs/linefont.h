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

    /// By how much the character gets over the edge of its column.
    qint64 overhang(ushort character) { return measured(character).overhang; }
    /// Whether it would get over the edge of a line that is full.
    bool overhangs(ushort character) { return overhang(character) > style.width % column; }
    bool anyOverhangs() const { return someOverhang; } ///< Of ASCII.

    qint64 width() const { return style.width; }
    qint64 column = 0;
    int columns = 0; ///< That a line has.
    qint64 tab = 0; ///< The most that a tab takes; 0 if they cannot be counted.
    qint64 lineHeight = 0;
    qint64 lastLineHeight = 0; ///< Of a paragraph.

private:
    /// What is known of a character.
    struct Letter
    {
        bool isMeasured = false;
        bool isColumnWide = false; ///< To be used beyond ASCII only.
        int overhang = 0;
    };

    void measureFont();
    const Letter &measured(ushort character);
    bool isColumnWide(QChar character);
    bool areEquallyWide(const QString &characters);
    void measureTab();
    qint64 placeBehind(const QString &text) const;

    LineStyle style;
    QFont font; ///< The format's.
    QRawFont firstFont; ///< Before those that stand in for what it lacks.
    bool isEven = false; ///< What is printable in ASCII is all as wide.
    bool counting = false;
    bool countingControls = false;
    bool controlsAreMeasured = false;
    std::vector<Letter> letters; ///< By their code; empty in a font that has not been measured.
    bool someOverhang = false;
};
