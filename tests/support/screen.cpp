#include "tests/support/screen.h"

#include <QAbstractEventDispatcher>
#include <QPushButton>
#include <QTimerEvent>
#include <QtTest>

static QAbstractEventDispatcher::TimerInfo runningTimer(QObject *object)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(object);
    return timers.size() == 1 ? timers.first()
                              : QAbstractEventDispatcher::TimerInfo(0, -1, Qt::CoarseTimer);
}

int timerInterval(QObject *object) { return runningTimer(object).interval; }

void tick(QObject *object, int times)
{
    for (int i = 0; i < times; ++i) {
        const int id = runningTimer(object).timerId;
        if (id == 0)
            qFatal("the timer does not run");
        QTimerEvent event(id);
        QCoreApplication::sendEvent(object, &event);
    }
}

void touch(QWidget *screen, const QByteArray &objectName)
{
    auto *button = screen->findChild<QPushButton *>(QString::fromLatin1(objectName));
    QVERIFY2(button && button->isVisible() && button->isEnabled(), objectName.constData());
    QTest::mouseClick(button, Qt::LeftButton);
}
