#pragma once

#include <QByteArray>

class QObject;
class QPushButton;
class QWidget;

// Touching a screen and letting its time pass, as the user and the clock do.

/// The interval of the object's one running timer in milliseconds, -1 when none runs.
int timerInterval(QObject *object);

/// Delivers the timer event that the object's one running timer will send next, at once. The event
/// loop does not run, so nothing else happens meanwhile. The timer must run.
void tick(QObject *object, int times = 1);

/// Presses a button of @p screen with a real mouse click. The button must be visible and enabled.
void touch(QWidget *screen, const QByteArray &objectName);
