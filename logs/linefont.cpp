#include "logs/linefont.h"

#include "logs/asciibreaks.h"

#include <QFontMetricsF>
#include <QTextLayout>
#include <QVector>
#include <QtMath>

#include <algorithm>

namespace {

/// All of ASCII that a line can be counted with: the printable characters, or the others.
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

/// Whether the toolkit shows the character by itself, from the left to the right, and asks for no
/// more than the rules for line breaks: nothing that joins its neighbours or orders them.
bool standsAlone(QChar character)
{
    switch (character.script()) {
    case QChar::Script_Common:
    case QChar::Script_Latin:
    case QChar::Script_Greek:
    case QChar::Script_Cyrillic:
        break;
    default:
        return false;
    }
    switch (character.direction()) {
    case QChar::DirL:
    case QChar::DirEN:
    case QChar::DirES:
    case QChar::DirET:
    case QChar::DirCS:
    case QChar::DirON:
        break;
    default:
        return false;
    }
    if (character == QChar::ObjectReplacementCharacter)
        return false;
    return character.isLetterOrNumber() || character.isPunct() || character.isSymbol()
        || character == QChar::Nbsp;
}

void layOutLine(QTextLayout &layout, const LineStyle &style)
{
    if (!style.format.isEmpty())
        layout.setFormats({{0, layout.text().size(), style.format}});
    layout.setTextOption(style.option);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLeadingIncluded(true);
    line.setLineWidth(1 << 20);
    layout.endLayout();
}

} // namespace

qint64 toFixed(qreal pixels) { return static_cast<qint64>(pixels * 64); }

qint64 heightOf(const QTextLine &line)
{
    return toFixed(qCeil(line.ascent() + line.descent() + line.leading()));
}

void LineFont::measure(const LineStyle &newStyle)
{
    style = newStyle;
    font = QFont(style.format.font().resolve(style.font), style.device);
    const QFontMetricsF metrics(font, style.device);
    column = toFixed(metrics.horizontalAdvance(QLatin1Char('x')));
    lineHeight = 0;
    tab = 0;
    letters.clear();
    overhanging.clear();
    controlsAreMeasured = false;
    const QString printable = knownCharacters(true);
    counting = style.option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere && column > 0
        && style.width >= 2 * column && areEquallyWide(printable);
    if (!counting)
        return;
    columns = static_cast<int>(style.width / column);
    firstFont = QRawFont::fromFont(font);
    for (const QChar character : printable + knownCharacters(false)) {
        if (overhangs(character.unicode()))
            overhanging.push_back(character.unicode());
    }
    measureTab();
}

/// Whether each of the characters takes a column, in lines as high as those of the others.
bool LineFont::areEquallyWide(const QString &characters)
{
    QTextLayout test(characters, style.font, style.device);
    layOutLine(test, style);
    const QTextLine line = test.lineAt(0);
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

qint64 LineFont::placeBehind(const QString &text) const
{
    QTextLayout test(text, style.font, style.device);
    layOutLine(test, style);
    return toFixed(test.lineAt(0).cursorToX(text.size()));
}

/// Believes in equal distances if it finds a few.
void LineFont::measureTab()
{
    tab = placeBehind(QStringLiteral("\t"));
    const bool isRegular = style.option.tabs().isEmpty() && tab > 0 && tab % 64 == 0
        && placeBehind(QStringLiteral("\t\t\t\t")) == 4 * tab
        && placeBehind(QStringLiteral("x\t")) == behindTab(column)
        && placeBehind(QStringLiteral("\txx\t")) == behindTab(tab + 2 * column);
    tab = isRegular ? tab : 0;
}

/// The toolkit rounds before it cuts off.
qint64 LineFont::behindTab(qint64 x) const { return ((x * 64 + tab / 2) / tab / 64 + 1) * tab; }

bool LineFont::canCountControls()
{
    if (!controlsAreMeasured)
        countingControls = areEquallyWide(knownCharacters(false));
    controlsAreMeasured = true;
    return countingControls;
}

bool LineFont::canCountLetter(ushort character)
{
    if (letters.empty())
        letters.assign(1 << 16, Letter::unknown);
    Letter &letter = letters[character];
    if (letter == Letter::unknown)
        letter = isColumnWide(character) ? Letter::counted : Letter::other;
    return letter == Letter::counted;
}

/// What the font lacks another stands in for, and which that is can change.
bool LineFont::isColumnWide(ushort character)
{
    const QChar letter(character);
    const QLatin1Char neighbour('x');
    return standsAlone(letter) && firstFont.supportsCharacter(letter) && !overhangs(character)
        && areEquallyWide(QString(neighbour) + letter + letter + neighbour);
}

bool LineFont::overhangs(ushort character) const
{
    return overhang(character) > style.width % column;
}

qint64 LineFont::overhang(ushort character) const
{
    const qreal bearing = QFontMetricsF(font, style.device).rightBearing(QChar(character));
    return qMax<qint64>(0, toFixed(-bearing));
}
