#pragma once

#include <QByteArray>
#include <QString>

/// What is to be seen on the screen, as JSON, and touches on it. In the GUI thread only.
namespace Screen {

QByteArray
mainWindow(); ///< Every named widget of the main window, and which windows lie on top of it.
QByteArray buttons(); ///< Every button that can be pressed: where it lies, and in which window.
QByteArray
objects(); ///< How many windows there are of each class, seen or not, and how many widgets.
void touch(const QString
               &name); ///< A widget of that name in its middle, unless something else lies there.
void tap(int x, int y); ///< Whatever lies there.

} // namespace Screen
