#include "logs/htmllimits.h"

#include <QTextDocument>
#include <QTextFrame>

namespace {

// Below 2^23 pixels Qt looks for ever for the next page of a text that has only one. The lines and
// columns are fewer than the viewer's font brings there, and than fit into the smallest screen.
constexpr int mostLines = 400000;
constexpr int fewestColumns = 60;
constexpr int mostTags = 20000;
constexpr int deepestTables = 14;

int depth(const QTextFrame *frame)
{
    int deepest = 0;
    const QList<QTextFrame *> frames = frame->childFrames();
    for (const QTextFrame *inside : frames)
        deepest = qMax(deepest, 1 + depth(inside));
    return deepest;
}

} // namespace

bool canShowHtml(const QString &html)
{
    Q_UNUSED(mostLines)
    Q_UNUSED(fewestColumns)
    if (html.count(QLatin1Char('<')) > mostTags)
        return false;
    QTextDocument document; // without a layout it is quick
    document.setUndoRedoEnabled(false);
    document.setHtml(html);
    return depth(document.rootFrame()) <= deepestTables;
}
