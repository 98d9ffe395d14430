#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>

// A form told in words, so that a test can hold it against a table. What is not told is as the
// toolkit makes it: an added setting makes a line longer, a lost one makes it shorter.

using MakeForm = std::function<std::unique_ptr<QWidget>()>;

/// A line for each widget of the form, the window first, the others sorted, as in
///
///     QPushButton done: Maximum/Maximum; Liberation Sans 16 pt; minimumSize 130x90; text Done
///
/// with the size policy, then what its font states itself, then every other property that is not
/// the toolkit's, by name, and a line break as \n.
QStringList widgetsOf(const MakeForm &make);

/// A line for each layout, and below it one for each of its items, as in
///
///     verticalLayout QVBoxLayout on Dialog: stretch 2,1; spacing 20; margins 5,9,5,9
///     vertical 20x40 Minimum/Expanding
///     done right
QStringList layoutsOf(const MakeForm &make);
