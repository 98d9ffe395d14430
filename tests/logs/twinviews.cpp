#include "tests/logs/twinviews.h"

#include "ui_logsviewer.h"

#include <QCoreApplication>
#include <QScrollBar>

static QTextEdit *showForm(QDialog *dialog, const QSize &size)
{
    Ui::LogsViewer form;
    form.setupUi(dialog);
    dialog->setFixedSize(size);
    dialog->show();
    return form.textEditLogViewer;
}

TwinViews::TwinViews(const QSize &size)
    : ownView(showForm(&ownScreen, size))
    , toolkitsView(showForm(&toolkitsScreen, size))
    , document(new LogDocument(ownView))
{
    QCoreApplication::processEvents();
}

/// The toolkit lays out what is far below only when asked, and tells its view of it later.
void TwinViews::settle()
{
    for (const QTextEdit *view : {ownView, toolkitsView}) {
        if (view->document()->pageCount() < 0)
            qFatal("a text without pages");
    }
    QCoreApplication::processEvents();
}

QString TwinViews::settledDifference() const
{
    const QScrollBar *bar = ownView->verticalScrollBar();
    const QScrollBar *other = toolkitsView->verticalScrollBar();
    const auto compare = [](const char *what, int own, int toolkits) {
        return own == toolkits ? QString()
                               : QStringLiteral("%1: %2 instead of %3. ")
                                     .arg(QLatin1String(what))
                                     .arg(own)
                                     .arg(toolkits);
    };
    return compare("scroll range", bar->maximum(), other->maximum())
        + compare("page step", bar->pageStep(), other->pageStep())
        + compare("range to the side", ownView->horizontalScrollBar()->maximum(),
                  toolkitsView->horizontalScrollBar()->maximum())
        + compare("width", ownView->viewport()->width(), toolkitsView->viewport()->width())
        + compare("height", ownView->viewport()->height(), toolkitsView->viewport()->height())
        + compare("blocks", ownView->document()->blockCount(),
                  toolkitsView->document()->blockCount())
        + (ownView->toPlainText() == toolkitsView->toPlainText() ? QString()
                                                                 : QStringLiteral("text"));
}

QString TwinViews::pageDifference(const QString &where) const
{
    const int own = ownView->verticalScrollBar()->value();
    const int toolkits = toolkitsView->verticalScrollBar()->value();
    if (own != toolkits)
        return QStringLiteral("%1: at %2 instead of %3").arg(where).arg(own).arg(toolkits);
    if (ownView->grab().toImage() != toolkitsView->grab().toImage())
        return QStringLiteral("%1: another picture at %2").arg(where).arg(own);
    return {};
}

QString TwinViews::difference(const QByteArray &log)
{
    document->setLog(log);
    toolkitsView->setText(QString::fromUtf8(log.constData(), log.size()));
    settle();
    QString found = settledDifference();

    struct Touch
    {
        const char *button;
        QAbstractSlider::SliderAction action;
        int part; ///< Of the page step.
    };
    constexpr Touch touches[] = {
        {"Top", QAbstractSlider::SliderToMinimum, 1},
        {"Page Down", QAbstractSlider::SliderPageStepAdd, 1},
        {"Half Page Down", QAbstractSlider::SliderPageStepAdd, 2},
        {"Bottom", QAbstractSlider::SliderToMaximum, 1},
        {"Half Page Up", QAbstractSlider::SliderPageStepSub, 2},
        {"Page Up", QAbstractSlider::SliderPageStepSub, 1},
    };
    const int pageStep = toolkitsView->verticalScrollBar()->pageStep();
    int last = -1;
    for (const Touch &touch : touches) {
        for (const QTextEdit *view : {ownView, toolkitsView}) {
            QScrollBar *bar = view->verticalScrollBar();
            bar->setPageStep(pageStep / touch.part);
            bar->triggerAction(touch.action);
            bar->setPageStep(pageStep);
        }
        const int value = toolkitsView->verticalScrollBar()->value();
        if (found.isEmpty() && (value != last || ownView->verticalScrollBar()->value() != value))
            found = pageDifference(QLatin1String(touch.button));
        last = value;
    }
    return found;
}
