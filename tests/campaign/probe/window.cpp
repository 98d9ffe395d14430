#include "window.h"

#include "clock.h"
#include "journal.h"
#include "screen.h"

#include <private/qmetaobject_p.h>
#include <private/qobject_p.h>

#include <QApplication>
#include <QCoreApplication>
#include <QEvent>
#include <QMetaMethod>

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

bool Window::mayPass()
{
    if (!waits || passes) {
        passes = false;
        return true;
    }
    held = true;
    player.say("wait");
    return false;
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
    if (verb == "go" || verb == "pass") {
        held = false;
        passes = verb == "pass";
        return;
    }
    if (verb == "tap") {
        player.say("done"); // before it is: what it opens may run an event loop of its own
        Screen::tap(std::stoi(what), std::stoi(what.substr(what.find(' '))));
        return;
    }
    QByteArray answer = "done";
    if (verb == "look")
        answer = Screen::mainWindow();
    else if (verb == "buttons")
        answer = Screen::buttons();
    else if (verb == "objects")
        answer = Screen::objects();
    else if (verb == "touch")
        Screen::touch(QString::fromStdString(what));
    else if (verb == "clock")
        Clock::jump(std::stol(what));
    else if (verb == "waits")
        waits = true;
    player.say(answer.toStdString());
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
