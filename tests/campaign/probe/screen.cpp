#include "screen.h"

#include <qpa/qwindowsysteminterface.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProgressBar>
#include <QWindow>

#include <malloc.h>

namespace Screen {

namespace {

QJsonObject look(const QWidget *widget)
{
    QJsonObject seen = {{"shown", !widget->isHidden()},
                        {"enabled", widget->isEnabled()},
                        {"style", widget->styleSheet()},
                        {"text", ""}};
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        seen["text"] = label->text();
    if (const auto *bar = qobject_cast<const QProgressBar *>(widget))
        seen["text"] = bar->value();
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget)) {
        seen["text"] = button->text();
        seen["checkable"] = button->isCheckable();
        seen["checked"] = button->isChecked();
    }
    return seen;
}

QPoint middle(const QWidget *widget) { return widget->mapToGlobal(widget->rect().center()); }

bool isOnTop(const QWidget *widget)
{
    return widget->isVisible() && QApplication::widgetAt(middle(widget)) == widget;
}

} // namespace

QByteArray mainWindow()
{
    QJsonObject seen;
    QStringList open;
    for (const QWidget *top : QApplication::topLevelWidgets()) {
        if (top->objectName() != "MainWindow") {
            const auto *dialog = qobject_cast<const QDialog *>(top);
            if (top->isVisible())
                open += QString(top->metaObject()->className())
                    + (dialog && dialog->isModal() ? " modal" : "");
            continue;
        }
        for (const QWidget *widget : top->findChildren<QWidget *>()) {
            const bool layoutOnly = widget->metaObject() == &QWidget::staticMetaObject;
            if (!widget->objectName().isEmpty() && !layoutOnly
                && !widget->objectName().startsWith("qt_"))
                seen[widget->objectName()] = look(widget);
        }
    }
    seen["windows"] = QJsonObject {{"open", open.join(", ")}};
    return QJsonDocument(seen).toJson(QJsonDocument::Compact);
}

QByteArray buttons()
{
    QJsonArray seen;
    for (const QWidget *widget : QApplication::allWidgets()) {
        const auto *button = qobject_cast<const QAbstractButton *>(widget);
        if (!button || !button->isEnabled() || !isOnTop(button))
            continue;
        const auto *title = button->window()->findChild<QLabel *>("labelWarningTitle");
        seen.append(QJsonObject {{"window", button->window()->metaObject()->className()},
                                 {"title", title ? title->text() : QString()},
                                 {"name", button->objectName()},
                                 {"x", button->mapToGlobal({0, 0}).x()},
                                 {"y", button->mapToGlobal({0, 0}).y()},
                                 {"width", button->width()},
                                 {"height", button->height()}});
    }
    return QJsonDocument(seen).toJson(QJsonDocument::Compact);
}

QByteArray objects()
{
    malloc_trim(0); // so that what the program takes is what it uses
    QJsonObject seen = {{"widgets", QApplication::allWidgets().size()}};
    for (const QWidget *top : QApplication::topLevelWidgets()) {
        const char *name = top->metaObject()->className();
        seen[name] = seen[name].toInt() + 1;
    }
    return QJsonDocument(seen).toJson(QJsonDocument::Compact);
}

void touch(const QString &name)
{
    for (const QWidget *top : QApplication::topLevelWidgets()) {
        const auto *widget = top->findChild<QWidget *>(name);
        if (widget && isOnTop(widget)) {
            tap(middle(widget).x(), middle(widget).y());
            return;
        }
    }
}

void tap(int x, int y)
{
    const QPoint place(x, y);
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QWindow *surface = QGuiApplication::topLevelAt(place);
        if (surface)
            QWindowSystemInterface::handleMouseEvent<QWindowSystemInterface::SynchronousDelivery>(
                surface, surface->mapFromGlobal(place), place,
                type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::LeftButton,
                type);
    }
}

} // namespace Screen
