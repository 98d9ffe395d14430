#include "window.h"

#include "clock.h"
#include "journal.h"

#include <private/qmetaobject_p.h>
#include <private/qobject_p.h>
#include <qpa/qwindowsysteminterface.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMetaMethod>
#include <QProgressBar>
#include <QWindow>

#include <poll.h>

namespace {

Window *window = nullptr;

class Order : public QEvent
{
public:
    static constexpr Type OrderType = User;
    explicit Order(const std::string &order)
        : QEvent(OrderType)
        , text(order)
    {
    }
    const std::string text;
};

// Notes the signals of the update thread as they are emitted, in the thread that emits them.
void noteSignal(QObject *sender, int index, void **arguments)
{
    const QMetaObject *type = sender->metaObject();
    if (qstrcmp(type->className(), "UpdateThread") != 0)
        return;
    const QMetaMethod method = QMetaObjectPrivate::signal(type, index);
    if (method.name() == "started")
        return;
    QByteArray line = "signal " + method.name();
    for (int number = 0; number < method.parameterCount(); ++number) {
        const int argumentType = method.parameterType(number);
        if (argumentType == QMetaType::Int)
            line += '\t' + QByteArray::number(*static_cast<int *>(arguments[number + 1]));
        else if (argumentType == QMetaType::QString)
            line += '\t'
                + static_cast<QString *>(arguments[number + 1])->toUtf8().replace('\n', "\\n");
    }
    Journal::note(line.toStdString());
}

QSignalSpyCallbackSet spies = {noteSignal, nullptr, nullptr, nullptr};

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

// Every named label, button, bar and panel of the main window, and which windows lie on top of it.
QByteArray screen()
{
    QJsonObject seen;
    QStringList open;
    for (const QWidget *top : QApplication::topLevelWidgets()) {
        if (top->objectName() != "MainWindow") {
            if (top->isVisible())
                open += top->metaObject()->className();
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

// A finger's touch in the middle of a widget, unless something else lies there.
void touch(const QString &name)
{
    for (const QWidget *top : QApplication::topLevelWidgets()) {
        const auto *widget = top->findChild<QWidget *>(name);
        if (!widget || !widget->isVisible())
            continue;
        const QPoint place = widget->mapToGlobal(widget->rect().center());
        if (QApplication::widgetAt(place) != widget)
            continue;
        QWindow *surface = top->windowHandle();
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease})
            QWindowSystemInterface::handleMouseEvent<QWindowSystemInterface::SynchronousDelivery>(
                surface, surface->mapFromGlobal(place), place,
                type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::LeftButton,
                type);
        return;
    }
}

} // namespace

Window *Window::instance() { return window; }

Window::Window()
    : player("window")
{
    qApp->installEventFilter(this);
    qt_register_signal_spy_callbacks(&spies);
}

void Window::attach() { window = new Window; }

bool Window::takeOrder()
{
    pollfd waiting = {player.descriptor(), POLLIN, 0};
    if (!player.hasLine() && ::poll(&waiting, 1, 0) == 0)
        return false;
    // not from here: the event loop is in the midst of waiting
    QCoreApplication::postEvent(this, new Order(player.hear()));
    return true;
}

void Window::rest()
{
    held = true;
    player.say("rest");
}

bool Window::event(QEvent *event)
{
    if (event->type() != Order::OrderType)
        return QObject::event(event);
    carryOut(static_cast<Order *>(event)->text);
    return true;
}

void Window::carryOut(const std::string &order)
{
    const size_t blank = order.find(' ');
    const std::string verb = order.substr(0, blank);
    const std::string what = blank == std::string::npos ? "" : order.substr(blank + 1);
    if (verb == "go") {
        held = false;
        return;
    }
    if (verb == "touch")
        touch(QString::fromStdString(what));
    else if (verb == "clock")
        Clock::jump(std::stol(what));
    player.say(verb == "look" ? screen().toStdString() : "done");
}

bool Window::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Timer && watched->objectName() == "MainWindow") {
        player.say("tick");
        for (std::string order = player.hear(); order != "go"; order = player.hear())
            carryOut(order);
    }
    return false;
}

static void attachWindow() { Window::attach(); }

Q_COREAPP_STARTUP_FUNCTION(attachWindow)
