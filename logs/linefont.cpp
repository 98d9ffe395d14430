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
    const bool isSameFont = !letters.empty() && newStyle.font == style.font
        && newStyle.format == style.format && newStyle.device == style.device
        && newStyle.option.tabs() == style.option.tabs()
        && newStyle.option.tabStopDistance() == style.option.tabStopDistance();
    style = newStyle;
    if (!isSameFont)
        measureFont();
    counting = isEven && style.width >= 2 * column
        && style.option.wrapMode() == QTextOption::WrapAtWordBoundaryOrAnywhere;
    controlsAreMeasured = false;
    if (!counting)
        return;
    columns = static_cast<int>(style.width / column);
    const QString ascii = knownCharacters(true) + knownCharacters(false);
    someOverhang = std::any_of(ascii.begin(), ascii.end(),
                               [this](QChar character) { return overhangs(character.unicode()); });
}

void LineFont::measureFont()
{
    font = QFont(style.format.font().resolve(style.font), style.device);
    firstFont = QRawFont::fromFont(font);
    letters.assign(1 << 16, Letter());
    column = toFixed(QFontMetricsF(font, style.device).horizontalAdvance(QLatin1Char('x')));
    lineHeight = 0;
    isEven = column > 0 && areEquallyWide(knownCharacters(true));
    tab = 0;
    if (isEven)
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
    return measured(character).isColumnWide && !overhangs(character);
}

const LineFont::Letter &LineFont::measured(ushort character)
{
    Letter &letter = letters[character];
    if (!letter.isMeasured) {
        letter.isMeasured = true;
        letter.isColumnWide = character >= 128 && isColumnWide(QChar(character));
        if (character < 128 || letter.isColumnWide) {
            const QFontMetricsF metrics(font, style.device);
            const qint64 overhang = toFixed(-metrics.rightBearing(QChar(character)));
            letter.overhang = static_cast<int>(qMax<qint64>(0, overhang));
        }
    }
    return letter;
}

/// What the font lacks another stands in for, and which that is can change.
bool LineFont::isColumnWide(QChar character)
{
    const QLatin1Char neighbour('x');
    return standsAlone(character) && firstFont.supportsCharacter(character)
        && areEquallyWide(QString(neighbour) + character + character + neighbour);
}
