#include "tests/support/modaldialogs.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMessageBox>
#include <QMetaEnum>
#include <QPushButton>
#include <QTableWidget>
#include <QWindow>
#include <QtTest>

ModalDialogs::ModalDialogs(const QVector<Answer> &queuedAnswers)
    : answers(queuedAnswers)
{
    QObject::connect(&timer, &QTimer::timeout, [this] { look(); });
    timer.start(1);
}

ModalDialogs::~ModalDialogs()
{
    if (!answers.isEmpty())
        QTest::qFail("a dialog did not come up", __FILE__, __LINE__);
    if (!notes.isEmpty())
        QTest::qFail(qPrintable(notes.join(QLatin1Char('\n'))), __FILE__, __LINE__);
}

QStringList ModalDialogs::take() { return std::exchange(notes, {}); }

static QString described(const QMessageBox *box)
{
    QStringList parts
        = {QString::fromLatin1(QMetaEnum::fromType<QMessageBox::Icon>().valueToKey(box->icon())),
           box->windowTitle(), box->text()};
    for (const QAbstractButton *button : box->buttons())
        parts += button->text().remove(QLatin1Char('&'));
    parts += QStringLiteral("in ") + (box->parent() ? box->parent()->objectName() : QString());
    return parts.join(QStringLiteral(": "));
}

void ModalDialogs::look()
{
    auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
    if (!dialog || !dialog->isVisible())
        return;
    if (auto *box = qobject_cast<QMessageBox *>(dialog)) {
        notes += described(box);
        QTest::mouseClick(box->buttons().constFirst(), Qt::LeftButton);
    } else if (qstrcmp(dialog->metaObject()->className(), "AreYouSureWarning") != 0) {
        return; // a screen that was merely shown
    } else if (!answers.isEmpty()) {
        answers.takeFirst()(dialog);
    } else {
        notes += QStringLiteral("unexpected: ") + dialog->objectName();
        dialog->reject();
    }
}

void closeByWindowManager(QWidget *window)
{
    QCloseEvent event;
    QCoreApplication::sendEvent(window->windowHandle(), &event);
}

void touchCell(QTableWidget *table, int row, int column)
{
    const QModelIndex index = table->model()->index(row, column);
    table->scrollTo(index);
    const QRect cell = table->visualRect(index).intersected(table->viewport()->rect());
    QVERIFY(!cell.isEmpty());
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
}
