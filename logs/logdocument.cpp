#include "logs/logdocument.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>

namespace {

// Qt paints no text below this line of pixels, and looks there for ever for the next page of a text
// that has only one. Up to so many characters no text gets that tall.
constexpr qreal tallest = 8380000;
constexpr int shortText = 400000;

// Laying out HTML takes twice the time with each table inside a table, and the square of the time
// with all other tags.
constexpr int manyTables = 10;
constexpr int manyTags = 5000;

// So does laying out a word, for as long as a line may end only between words.
constexpr int longWord = 5000;

class LogDocument : public QTextDocument
{
public:
    explicit LogDocument(QTextEdit *viewer)
        : QTextDocument(viewer)
    {
        setUndoRedoEnabled(false); // what is dropped is not kept either
        connect(documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
                &LogDocument::keepPaintable);
    }

protected:
    /// Instead of what an image or a style sheet names: a pipe or a device would never end.
    QVariant loadResource(int, const QUrl &) override
    {
        QImage blank(1, 1, QImage::Format_ARGB32); // for a null one Qt would look itself
        blank.fill(Qt::transparent);
        return blank;
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

bool isModestHtml(const QString &text)
{
    return text.size() <= shortText && text.count(QLatin1Char('<')) <= manyTags
        && text.count(QLatin1String("<table"), Qt::CaseInsensitive) <= manyTables;
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
    viewer->setDocument(document);
}

void setLogText(QTextEdit *viewer, const QString &text)
{
    // One page again, should the log before have been a tall one.
    QTextDocument *document = viewer->document();
    document->setPageSize({document->pageSize().width(), -1});
    viewer->setWordWrapMode(hasLongWord(text) ? QTextOption::WrapAnywhere
                                              : QTextOption::WrapAtWordBoundaryOrAnywhere);
    if (isModestHtml(text))
        viewer->setText(text);
    else
        viewer->setPlainText(text);
}
