#pragma once

class QCommandLineParser;

// The program's options: for the window that obeys them, and for an answer that needs no window.

/// Names the application, gives @p parser all options and processes the application's arguments,
/// which ends the program where they ask for help or the version, or hold a mistake.
void processCommandLine(QCommandLineParser &parser);

/// Does the same at once if the arguments end the program that way, and otherwise nothing. To be
/// called before there is an application object: the answer needs no display, and over a serial
/// line there may be none. Arguments with Qt's own options among them, "--help-all" too, are left
/// to the graphical application: nothing else knows their values.
void answerWithoutDisplay(int argc, char **argv);
