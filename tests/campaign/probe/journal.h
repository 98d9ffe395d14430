#pragma once

#include <string>

/// What the program does, in the order in which it does it: lines in a file of the instrument's
/// tree, each with the thread and how much the console held then. Any thread.
namespace Journal {

void begin(); ///< Called once, in the GUI thread, before anything is noted.
bool inGuiThread();
void note(const std::string &line);

} // namespace Journal
