#pragma once

#include <QImage>

#include <functional>

class QWidget;

/// What @p screen shows, once it is the active window.
QImage photograph(QWidget *screen);

/// Does @p act, which asks the user something and waits for the answer. Accepts @p accepted
/// questions, photographs the one after them and closes it.
QImage photographQuestion(const std::function<void()> &act, int accepted = 0);

/// The screens' own clocks do not tick while this exists, however slow the machine.
class StoppedClocks : public QObject
{
    Q_OBJECT

public:
    StoppedClocks();
    bool eventFilter(QObject *object, QEvent *event) override;

    /// Lets a screen's time pass.
    void tick(QObject *screen, int times = 1);

private:
    bool ticking = false;
};
