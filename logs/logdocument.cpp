#include "logs/logdocument.h"

#include "logs/htmllimits.h"
#include "logs/loglayout.h"
#include "logs/logtext.h"

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
constexpr int manyLines = 100000;

// Fewer paragraphs than this, in fewer bytes, are not too tall for a scroll bar.
constexpr int manyParagraphs = 10 << 20;
constexpr int manyBytes = 300 << 20;

constexpr int piece = 1 << 16;
constexpr int slice = 10; ///< Milliseconds for which the event loop waits at a time.
constexpr int firstSlice = 40; ///< The same before the first page is shown.

// As many lines make up 2^23 pixels, where Qt's own layout ends. More of them do not get a block
// each, which would take more memory than their text; in the middle they share some, between line
// separators. Nobody but this document's layout could show them anyway.
constexpr int mostBlocks = 1 << 19;

/// Where the next piece of @p log ends: between two paragraphs if there is such a place.
int pieceEnd(const LogText &log, int from)
{
    if (log.size() - from <= piece)
        return log.size();
    const int lineEnd = log.lastLineFeed(from, from + piece);
    const int end = lineEnd >= 0 ? lineEnd + 1 : from + piece;
    return QChar::isLowSurrogate(log.at(end)) ? end + 1 : end;
}

/// Whether the log could be taller than a scroll bar can tell; @p lines end in the usual ways.
bool mightBeTooTall(const QByteArray &log, int lines)
{
    if (log.size() > manyBytes) {
        for (const char *end : {"\xE2\x80\xA9", "\xEF\xB7\x90", "\xEF\xB7\x91"})
            lines += log.count(end);
    }
    return lines > manyParagraphs;
}

/// Whether Qt takes the log for HTML, which it says by the first line and the first tag.
bool mightBeHtml(const QByteArray &log)
{
    const int tagEnd = log.indexOf('>') + 1;
    const int size = qMin(log.size(), qMax(tagEnd, largeText));
    return Qt::mightBeRichText(QString::fromUtf8(log.constData(), size)); // with its NULs
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

bool LogDocument::setLog(const QByteArray &log)
{
    if (mightBeHtml(log)) {
        const QString html = QString::fromUtf8(log.constData(), log.size());
        if (canShowHtml(html, defaultFont())) {
            setHtmlLog(html);
            return true;
        }
    }
    LogLayout *layout = plainLayout();
    const int lines = log.count('\n') + log.count('\r');
    compact = lines > mostBlocks;
    if (log.size() <= largeText && lines <= manyLines)
        view->setPlainText(QString::fromUtf8(log.constData(), log.size())); // with its NULs
    else
        setLargeLog(log);
    if (mightBeTooTall(log, lines) && !layout->isLowEnough()) {
        clearLog();
        return false;
    }
    layout->measureFor(firstSlice);
    return true;
}

void LogDocument::setHtmlLog(const QString &html)
{
    if (qobject_cast<LogLayout *>(documentLayout())) {
        setDocumentLayout(nullptr); // Qt makes its own
        documentLayout()->setPaintDevice(view->viewport());
    }
    view->setHtml(html);
}

void LogDocument::setLargeLog(const QByteArray &log)
{
    LogLayout *layout = plainLayout();
    const LogText text = LogText::fromFile(log);
    filled = 0;
    layout->expect(text);
    layout->setFilling(true);
    view->setPlainText(nextPiece(text));
    layout->setFilling(false);
    timer = startTimer(0);
}

QString LogDocument::nextPiece(const LogText &log)
{
    const int end = pieceEnd(log, filled);
    QString text = log.mid(filled, end - filled);
    if (compact && filled > 0 && end < log.size()) {
        text.chop(1); // the end of the block, if it is one
        text.replace(QLatin1Char('\n'), QChar::LineSeparator);
        text.replace(QLatin1Char('\r'), QChar::LineSeparator);
        text.append(QChar(log.at(end - 1)));
    }
    filled = end;
    return text;
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
    const LogText log = layout ? layout->expected() : LogText();
    if (layout && filled < log.size()) {
        setUndoRedoEnabled(false);
        layout->setFilling(true);
        QElapsedTimer clock;
        clock.start();
        const QTextCharFormat format = QTextCursor(this).charFormat();
        QTextCursor end(this);
        end.beginEditBlock(); // otherwise a cursor looks for its line, in all of the paragraph
        end.movePosition(QTextCursor::End);
        while (filled < log.size() && clock.elapsed() < slice)
            end.insertText(nextPiece(log), format);
        end.endEditBlock();
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
