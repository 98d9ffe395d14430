#include "logs/logdocument.h"

#include <QAbstractTextDocumentLayout>
#include <QFileInfo>
#include <QImage>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextFrame>
#include <QUrl>

namespace {

// Below 2^23 pixels Qt looks for ever for the next page of a text that has only one. The lines and
// columns are fewer than the viewer's font brings there, and than fit into the smallest screen.
constexpr int mostLines = 400000;
constexpr int fewestColumns = 60;

// Reading HTML takes the square of the time with each tag inside another, and laying it out twice
// the time with each table inside a table.
constexpr int mostTags = 20000;
constexpr int deepestTables = 14;

// Laying out a word takes the square of the time too, while a line may end only between words.
constexpr int longestWord = 30000;

/// Reads ordinary files only: a pipe or a device, named as an image, might never end.
class LogDocument : public QTextDocument
{
public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int type, const QUrl &url) override
    {
        for (const QString &path :
             {url.toString(), url.toLocalFile(), url.path(QUrl::FullyDecoded)}) {
            const QFileInfo file(path);
            if (file.exists() && !file.isFile()) {
                QImage blank(1, 1, QImage::Format_ARGB32); // for a null one Qt would look itself
                blank.fill(Qt::transparent);
                return blank;
            }
        }
        return QTextDocument::loadResource(type, url);
    }
};

/// Where the last lines begin that surely fit, each counted as often as it is wrapped at most. A
/// line that does not fit alone is cut.
int beginningOfTheEnd(const QString &text)
{
    int lines = 0;
    int beginning = text.size() + 1;
    while (beginning > 0) {
        const int end = beginning - 1;
        const int start = end > 0 ? text.lastIndexOf(QLatin1Char('\n'), end - 1) + 1 : 0;
        lines += 1 + (end - start) / fewestColumns;
        if (lines > mostLines)
            return beginning > text.size() ? end - mostLines * fewestColumns : beginning;
        beginning = start;
    }
    return 0;
}

bool hasLongWord(const QString &text)
{
    int length = 0;
    for (const QChar character : text) {
        const bool ends = character == QLatin1Char(' ') || character == QLatin1Char('\t')
            || character == QLatin1Char('\n') || character == QLatin1Char('\r');
        length = ends ? 0 : length + 1;
        if (length > longestWord)
            return true;
    }
    return false;
}

/// How deep frames, which tables are, stand inside each other.
int depth(const QTextFrame *frame)
{
    int deepest = 0;
    const QList<QTextFrame *> frames = frame->childFrames();
    for (const QTextFrame *inside : frames)
        deepest = qMax(deepest, 1 + depth(inside));
    return deepest;
}

bool isModestHtml(const QString &text)
{
    if (text.count(QLatin1Char('<')) > mostTags || beginningOfTheEnd(text) > 0)
        return false;
    LogDocument html; // without a layout it is quick
    html.setUndoRedoEnabled(false);
    html.setHtml(text);
    return depth(html.rootFrame()) <= deepestTables && !hasLongWord(html.toPlainText());
}

} // namespace

void useLogDocument(QTextEdit *viewer)
{
    auto *document = new LogDocument(viewer);
    document->setDefaultFont(viewer->document()->defaultFont());
    document->setDefaultTextOption(viewer->document()->defaultTextOption()); // the tab stops
    document->documentLayout()->setPaintDevice(viewer->viewport()); // as the view does with its own
    viewer->setDocument(document);
}

void setLogText(QTextEdit *viewer, const QString &text)
{
    if (Qt::mightBeRichText(text) && isModestHtml(text)) {
        viewer->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        viewer->setHtml(text);
        return;
    }
    viewer->setWordWrapMode(hasLongWord(text) ? QTextOption::WrapAnywhere
                                              : QTextOption::WrapAtWordBoundaryOrAnywhere);
    const int beginning = beginningOfTheEnd(text);
    viewer->setPlainText(beginning == 0
                             ? text
                             : QStringLiteral("(This log is too long: here is its end.)\n")
                                 + text.mid(beginning));
}
