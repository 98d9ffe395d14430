#include "logs/logdocument.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextFrame>

namespace {

// Qt paints no text below this line of pixels, and looks there for ever for the next page of a text
// that has only one. Up to so many characters no text gets that tall.
constexpr qreal tallest = 8380000;
constexpr int shortText = 400000;

// Laying out HTML takes twice the time with each table inside a table, and the square of the time
// with all other tags.
constexpr int deepTables = 10;
constexpr int manyTags = 5000;

// So does laying out a word, for as long as a line may end only between words.
constexpr int longWord = 5000;

/// Reads no other file: a pipe or a device, named as an image or a style sheet, would never end.
class SealedDocument : public QTextDocument
{
public:
    using QTextDocument::QTextDocument;

protected:
    QVariant loadResource(int, const QUrl &) override
    {
        QImage blank(1, 1, QImage::Format_ARGB32); // for a null one Qt would look itself
        blank.fill(Qt::transparent);
        return blank;
    }
};

class LogDocument : public SealedDocument
{
public:
    explicit LogDocument(QTextEdit *viewer)
        : SealedDocument(viewer)
    {
        setUndoRedoEnabled(false); // what is dropped is not kept either
        connect(documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
                &LogDocument::keepPaintable);
    }

private:
    void keepPaintable(const QSizeF &size)
    {
        // With pages lower than a line Qt looks for no room on the next one, and simply goes on.
        // The view sets its one page again whenever its width changes.
        if (characterCount() > shortText && pageSize().height() < 0)
            setPageSize({pageSize().width(), 1});
        else if (size.height() > tallest)
            dropBeginning(size.height() - tallest);
    }

    /// The end of a log says what happened last: it is what is kept of one that is too tall.
    void dropBeginning(qreal height)
    {
        QTextCursor beginning(this);
        beginning.setPosition(documentLayout()->hitTest({0, height}, Qt::FuzzyHit),
                              QTextCursor::KeepAnchor);
        beginning.removeSelectedText();
    }
};

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
    if (text.size() > shortText || text.count(QLatin1Char('<')) > manyTags)
        return false;
    SealedDocument html; // without a layout it is quick
    html.setHtml(text);
    return depth(html.rootFrame()) <= deepTables;
}

bool hasLongWord(const QString &text)
{
    int length = 0;
    for (const QChar character : text) {
        const bool ends = character == QLatin1Char(' ') || character == QLatin1Char('\t')
            || character == QLatin1Char('\n') || character == QLatin1Char('\r');
        length = ends ? 0 : length + 1;
        if (length > longWord)
            return true;
    }
    return false;
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
    // One page again, should the log before have been a tall one.
    QTextDocument *document = viewer->document();
    document->setPageSize({document->pageSize().width(), -1});
    viewer->setWordWrapMode(hasLongWord(text) ? QTextOption::WrapAnywhere
                                              : QTextOption::WrapAtWordBoundaryOrAnywhere);
    if (Qt::mightBeRichText(text) && isModestHtml(text))
        viewer->setHtml(text);
    else
        viewer->setPlainText(text);
}
