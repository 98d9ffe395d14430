#include "logs/htmllimits.h"

#include <QFontMetrics>
#include <QHash>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextDocument>
#include <QVector>

#include <algorithm>

// What is beyond these limits takes Qt more than five seconds of a desktop's processor, and grows
// with the square of the number, with tables twice for each; an instrument needs ten times as long.
// Seconds of processor time, measured on both sides of the limit:
//   elements inside each other   unknown ones 22000: 3.8, 25000: 4.9; <b> 25000: 4.7
//     blocks, as <div>, for which Qt looks up all that are open more often
//                                15000: 4.4 to 4.7; 16000: 5.9 to 6.3
//     <pre>                      10000: 2.9; 12000: 5.3
//   tables inside each other     18: 2.7; 19: 5.4
//   pictures or tables that the text flows around
//                                pictures 2200: 4.3, 2500: 5.6; tables 2300: 3.4, 2700: 4.8
//   items of one list            10000: 4.3; 12000: 5.5
//   pictures of one paragraph    8000: 4.4; 8700: 5.1
//   characters of one word       205000: 4.8; 300000: 10.4
static constexpr int deepest = 300000; ///< The weights of all elements that are open.
static constexpr int elementWeight = deepest / 25000;
static constexpr int blockWeight = deepest / 15000;
static constexpr int preWeight = deepest / 12000;
static constexpr int deepestTable = 18;
static constexpr int mostFloats = 2700;
static constexpr int longestList = 10500;
static constexpr int mostPictures = 8500;
static constexpr int longestWord = 205000;

// Below 2^23 pixels Qt looks for ever for the next page of a text that has only one.
static constexpr qint64 tallestText = 1 << 23;
static constexpr int smallText = 1 << 19; ///< Too small to become as tall.

namespace {

enum class Kind { inside, block, pre, table, list, item, picture, flat, separator };

struct Element
{
    const char *name;
    Kind kind;
};

// All others may stand inside each other.
constexpr Element elements[] = {
    {"div", Kind::block},    {"h1", Kind::block},     {"h2", Kind::block},
    {"h3", Kind::block},     {"h4", Kind::block},     {"h5", Kind::block},
    {"h6", Kind::block},     {"center", Kind::block}, {"blockquote", Kind::block},
    {"dl", Kind::block},     {"body", Kind::block},   {"pre", Kind::pre},
    {"table", Kind::table},  {"ul", Kind::list},      {"ol", Kind::list},
    {"li", Kind::item},      {"img", Kind::picture},  {"br", Kind::separator},
    {"hr", Kind::separator}, {"p", Kind::separator},  {"td", Kind::separator},
    {"th", Kind::separator}, {"tr", Kind::separator}, {"dt", Kind::separator},
    {"dd", Kind::separator}, {"tbody", Kind::flat},   {"thead", Kind::flat},
    {"tfoot", Kind::flat},   {"meta", Kind::flat},    {"link", Kind::flat},
};

/// What an element of the kind adds to the depth as long as it is open; 0 if it stays open alone.
int weightOf(Kind kind)
{
    switch (kind) {
    case Kind::inside:
        return elementWeight;
    case Kind::block:
    case Kind::table:
    case Kind::list:
        return blockWeight;
    case Kind::pre:
        return preWeight;
    default:
        return 0;
    }
}

Kind kindOf(const QString &name)
{
    const auto *found
        = std::find_if(std::begin(elements), std::end(elements),
                       [&](const Element &element) { return name == QLatin1String(element.name); });
    return found == std::end(elements) ? Kind::inside : found->kind;
}

/// Reads the tags as they come and remembers what is open.
class Outline
{
public:
    explicit Outline(const QString &text)
        : html(text)
    {
    }

    bool isWithinLimits()
    {
        int position = 0;
        while (position < html.size()) {
            if (html.at(position) == QLatin1Char('<')) {
                position = readTag(position);
            } else {
                word = html.at(position).isSpace() ? 0 : word + 1;
                ++position;
            }
            if (depth > deepest || tables > deepestTable || pictures > mostPictures
                || floats > mostFloats || word > longestWord
                || (!lists.isEmpty() && lists.last() > longestList))
                return false;
        }
        return true;
    }

private:
    /// Returns where the tag or comment that begins at @p start ends.
    int readTag(int start)
    {
        if (html.midRef(start, 4) == QLatin1String("<!--")) {
            const int end = html.indexOf(QLatin1String("-->"), start);
            return end < 0 ? html.size() : end + 3;
        }
        int position = start + 1;
        const bool closes = position < html.size() && html.at(position) == QLatin1Char('/');
        position += closes ? 1 : 0;
        const int nameStart = position;
        while (position < html.size() && html.at(position).isLetterOrNumber())
            ++position;
        const QString name = html.mid(nameStart, position - nameStart).toLower();
        if (name.isEmpty())
            return start + 1;
        QChar quote;
        for (; position < html.size(); ++position) {
            const QChar character = html.at(position);
            if (!quote.isNull())
                quote = character == quote ? QChar() : quote;
            else if (character == QLatin1Char('"') || character == QLatin1Char('\''))
                quote = character;
            else if (character == QLatin1Char('>'))
                break;
        }
        const bool isWhole = html.at(position - 1) == QLatin1Char('/');
        if (name == QLatin1String("style"))
            readStyleSheet(position);
        if (closes)
            close(name);
        else if (!isWhole || kindOf(name) == Kind::picture)
            begin(name, html.midRef(start, position - start));
        return position + 1;
    }

    /// A style sheet can make anything float.
    void readStyleSheet(int start)
    {
        const int end = html.indexOf(QLatin1String("</style"), start, Qt::CaseInsensitive);
        sheetHasFloats = sheetHasFloats || hasFloat(html.midRef(start, end - start));
    }

    static bool hasFloat(const QStringRef &text)
    {
        return text.contains(QLatin1String("float"), Qt::CaseInsensitive);
    }

    /// Whether Qt has a picture or table of this tag at a side of the text.
    bool isFloat(const QStringRef &tag) const
    {
        static const QRegularExpression atSide(QStringLiteral("align\\s*=\\s*[\"']?(left|right)"),
                                               QRegularExpression::CaseInsensitiveOption);
        return sheetHasFloats || hasFloat(tag) || atSide.match(tag).hasMatch();
    }

    void begin(const QString &name, const QStringRef &tag)
    {
        const Kind kind = kindOf(name);
        if ((kind == Kind::picture || kind == Kind::table) && isFloat(tag))
            ++floats;
        if (kind == Kind::picture)
            ++pictures;
        if (kind == Kind::item && !lists.isEmpty())
            ++lists.last();
        if (kind == Kind::table)
            ++tables;
        if (kind == Kind::list)
            lists.append(0);
        if (kind != Kind::inside && kind != Kind::picture)
            pictures = word = 0;
        if (weightOf(kind) > 0) {
            depth += weightOf(kind);
            open.append(name);
            ++openNames[name];
        }
    }

    void close(const QString &name)
    {
        if (openNames.value(name) == 0)
            return;
        const int index = open.lastIndexOf(name);
        for (int i = index; i < open.size(); ++i) {
            --openNames[open.at(i)];
            const Kind kind = kindOf(open.at(i));
            depth -= weightOf(kind);
            if (kind == Kind::table)
                --tables;
            if (kind == Kind::list)
                lists.removeLast();
        }
        open.resize(index);
    }

    const QString &html;
    QVector<QString> open;
    QHash<QString, int> openNames; ///< How many of each are open.
    QVector<int> lists; ///< How many items each of the open ones has.
    int depth = 0;
    int floats = 0; ///< In all.
    bool sheetHasFloats = false;
    int tables = 0;
    int pictures = 0; ///< Of this paragraph.
    int word = 0;
};

/// Whether the text stays above the limit, by as many columns as fit into the smallest screen.
bool isLowEnough(const QString &html, const QFont &font)
{
    if (html.size() < smallText)
        return true;
    QTextDocument document; // without a layout it is quick
    document.setUndoRedoEnabled(false);
    document.setDefaultFont(font);
    document.setHtml(html);
    constexpr int columns = 60;
    qreal height = 0;
    qreal marginAbove = 0;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextBlockFormat format = block.blockFormat();
        const int lineBreaks = block.text().count(QChar::LineSeparator);
        const int lines = 1 + lineBreaks + (block.length() - lineBreaks) / columns;
        height += qMax(marginAbove, format.topMargin());
        height += lines * QFontMetrics(block.charFormat().font()).height();
        marginAbove = format.bottomMargin();
    }
    return height < tallestText;
}

} // namespace

bool canShowHtml(const QString &html, const QFont &font)
{
    return Outline(html).isWithinLimits() && isLowEnough(html, font);
}
