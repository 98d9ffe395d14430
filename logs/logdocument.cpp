#include "logs/logdocument.h"

#include "logs/htmllimits.h"
#include "logs/loglayout.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextEdit>
#include <QTimerEvent>
#include <QUrl>

#include <malloc.h>

namespace {

// A text up to this size is in the document at once. A larger one would keep the screen waiting.
constexpr int largeText = 4 << 20;
constexpr int piece = 1 << 16;
constexpr int slice = 10; ///< Milliseconds for which the event loop waits at a time.
constexpr int firstSlice = 40; ///< The same before the first page is shown.

/// Where the next piece of @p text ends: between two paragraphs if there is such a place.
int pieceEnd(const QString &text, int from)
{
    if (text.size() - from <= piece)
        return text.size();
    const int lineEnd = text.lastIndexOf(QLatin1Char('\n'), from + piece - 1);
    const int end = lineEnd >= from ? lineEnd + 1 : from + piece;
    return text.at(end).isLowSurrogate() ? end + 1 : end;
}

} // namespace

LogDocument::LogDocument(QTextEdit *textView)
    : QTextDocument(textView)
    , view(textView)
{
    setDefaultFont(view->document()->defaultFont());
    setDefaultTextOption(view->document()->defaultTextOption()); // the tab stops
    plainLayout();
    view->setDocument(this);
    connect(view->verticalScrollBar(), &QAbstractSlider::actionTriggered, this,
            &LogDocument::scrollOn);
}

/// The layout for plain text, which replaces Qt's if that is in use.
LogLayout *LogDocument::plainLayout()
{
    auto *layout = qobject_cast<LogLayout *>(documentLayout());
    if (!layout) {
        layout = new LogLayout(this);
        layout->setPaintDevice(view->viewport()); // as the view does with its own
        setDocumentLayout(layout);
    }
    return layout;
}

void LogDocument::setLog(const QString &text)
{
    if (!Qt::mightBeRichText(text) || !canShowHtml(text)) {
        setPlain(text);
        return;
    }
    if (qobject_cast<LogLayout *>(documentLayout())) {
        setDocumentLayout(nullptr); // Qt makes its own
        documentLayout()->setPaintDevice(view->viewport());
    }
    view->setHtml(text);
}

void LogDocument::setPlain(const QString &text)
{
    LogLayout *layout = plainLayout();
    if (text.size() <= largeText) {
        view->setPlainText(text);
    } else {
        QString log = text;
        if (log.contains(QLatin1Char('\r'))) // a position for each paragraph's end
            log.replace(QLatin1String("\r\n"), QLatin1String("\n"));
        layout->expect(log);
        layout->setFilling(true);
        filled = pieceEnd(log, 0);
        view->setPlainText(log.left(filled));
        layout->setFilling(false);
        timer = startTimer(0);
    }
    layout->measureFor(firstSlice);
}

void LogDocument::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == timer)
        fill();
    else
        QTextDocument::timerEvent(event);
}

/// Puts more of the expected text into the document, for a short time.
void LogDocument::fill()
{
    auto *layout = qobject_cast<LogLayout *>(documentLayout());
    const QString log = layout ? layout->expected() : QString();
    if (filled < log.size()) {
        setUndoRedoEnabled(false);
        layout->setFilling(true);
        QElapsedTimer clock;
        clock.start();
        QTextCursor end(this);
        end.movePosition(QTextCursor::End);
        const QTextCharFormat format = QTextCursor(this).charFormat();
        while (filled < log.size() && clock.elapsed() < slice) {
            const int next = pieceEnd(log, filled);
            end.insertText(log.mid(filled, next - filled), format);
            filled = next;
        }
        layout->setFilling(false);
        setModified(false);
        setUndoRedoEnabled(true);
    }
    if (filled >= log.size()) {
        killTimer(timer);
        timer = 0;
    }
}

void LogDocument::clearLog()
{
    view->clear();
    malloc_trim(0);
}

/// Makes sure that the place scrolled to is where it seems to be: Qt has gone by an estimate.
void LogDocument::scrollOn(int action)
{
    auto *layout = qobject_cast<LogLayout *>(documentLayout());
    if (!layout)
        return;
    QScrollBar *bar = view->verticalScrollBar();
    const auto goTo = [&](int position) {
        layout->measureTo(position + view->viewport()->height());
        bar->setSliderPosition(position);
    };
    switch (action) {
    case QAbstractSlider::SliderToMaximum:
        layout->measureAll();
        bar->setSliderPosition(bar->maximum());
        break;
    case QAbstractSlider::SliderPageStepAdd:
        goTo(bar->value() + bar->pageStep());
        break;
    case QAbstractSlider::SliderSingleStepAdd:
        goTo(bar->value() + bar->singleStep());
        break;
    default:
        goTo(bar->sliderPosition());
    }
}

/// Nothing that might never end is read, as a picture or a style sheet: in its place there is what
/// Qt shows for a picture that it does not find.
QVariant LogDocument::loadResource(int type, const QUrl &url)
{
    for (const QString &path : {url.toString(), url.toLocalFile()}) {
        const QFileInfo file(path);
        if (file.exists() && !file.isFile() && !file.isDir())
            return QImage(QStringLiteral(":/qt-project.org/styles/commonstyle/images/file-16.png"));
    }
    return QTextDocument::loadResource(type, url);
}
