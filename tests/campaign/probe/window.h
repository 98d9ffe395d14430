#pragma once

#include "conversation.h"

#include <QObject>

/// The window's part in a history: tells the player of each tick before it is delivered and of each
/// rest, shows the screen and makes touches as the player asks. Lives in the GUI thread.
class Window : public QObject
{
    Q_OBJECT
public:
    static Window *instance(); ///< Null until the application object is there.
    static void attach(); ///< To the application object that has just been made.

    /// Called when the event loop has nothing to do but to wait. True if the player had an order
    /// that the event loop has to carry out first.
    bool takeOrder();
    bool isHeld() const { return held; } ///< The player has not let it go on from a rest yet.
    void rest();
    bool
    mayPass(); ///< Whether a timer that is waited for may be due; the player can want to be asked.
    int descriptor() const { return player.descriptor(); }

    bool eventFilter(QObject *watched, QEvent *event) override;
    bool event(QEvent *event) override;

private:
    Window();
    void carryOut(const std::string &order);

    Conversation player;
    bool held = false;
    bool waits = false; // the player wants to be asked
    bool passes = false; // and has said yes
};
