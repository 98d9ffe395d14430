#pragma once

#include "app/mainwindow.h"
#include "tests/support/console.h"

#include <QMap>
#include <QStringList>

#include <memory>

/// What each widget of the main window shows, by object name: "shown" or "hidden", "enabled" or
/// "disabled", and its text or value, as in "shown, enabled: RETRY". "toggle" is how far the
/// restore settings button is pressed, and its style sheet.
using Screen = QMap<QByteArray, QByteArray>;

enum class StartupTimer { Runs, Stopped };

/// The main window on the screen, as the program shows it, and what it prints. A flush of the file
/// systems by the window is not carried out but printed, as "[sync]". An update that it starts
/// makes no pause, and does not get past its first script before finishUpdate().
class MainScreen
{
public:
    explicit MainScreen(const QStringList &options = {});
    ~MainScreen(); ///< Waits for a running update.
    MainScreen(const MainScreen &) = delete;
    MainScreen &operator=(const MainScreen &) = delete;

    /// Fails the test unless, since the last call, exactly @p changes have come over the screen as
    /// it starts and exactly @p prints were printed, and the start-up timer is as @p timer says. In
    /// the prints
    /// "[ls]" stands for the listing of the board's second partition.
    void expect(const Screen &changes, const QByteArray &prints,
                StartupTimer timer = StartupTimer::Runs);
    void expectPrints(const QByteArray &prints); ///< The part of it about prints.

    /// Lets a started update run, and returns when the window has said @p times that it has ended.
    /// Returns what was printed meanwhile.
    QByteArray finishUpdate(int times = 1);

    MainWindow *window() { return mainWindow.get(); }
    QByteArray takePrints();

private:
    Console console;
    std::unique_ptr<MainWindow> mainWindow;
    Screen expected;
    bool updating = false;
};

/// What the window shows and prints right after it was made.
Screen startScreen(const QStringList &options);
extern const QByteArray startPrints;

Screen screenOf(const QWidget *window);
/// One line for each widget that is not as expected.
QStringList differences(const Screen &seen, const Screen &expected);
