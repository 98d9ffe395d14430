#pragma once

#include "tests/support/mainscreen.h"

#include <QMetaType>
#include <QVector>

// A course of events on the main window, as rows: what happens, and what it brings.

/// Lets time pass or touches a button, and says what comes of it.
struct Moment
{
    int ticks; ///< Or 0.
    const char *touched; ///< A button, or null.
    Screen changes;
    QByteArray prints;
    StartupTimer timer;
};
using Moments = QVector<Moment>;
Q_DECLARE_METATYPE(Moments)
Q_DECLARE_METATYPE(StartupTimer)

inline Moment ticks(int count, const Screen &changes = {}, const QByteArray &prints = {},
                    StartupTimer timer = StartupTimer::Runs)
{
    return {count, nullptr, changes, prints, timer};
}
inline Moment touched(const char *button, const Screen &changes, const QByteArray &prints,
                      StartupTimer timer)
{
    return {0, button, changes, prints, timer};
}

/// Fails the test at the first moment that is not as it should be.
void walk(MainScreen &screen, const Moments &moments);

/// Lets the started update end. Fails the test unless it is a whole one of @p mode.
void expectUpdate(MainScreen &screen, int mode);

Screen operator+(Screen screen, const Screen &changes);
Screen title(const QByteArray &text); ///< The title alone changes.

constexpr auto runs = StartupTimer::Runs;
constexpr auto stopped = StartupTimer::Stopped;

// The changes that several courses bring; not to be used before main().
extern const Screen checkingAgain; ///< Detection has begun once more.
extern const Screen noDevice;
extern const Screen noDirectory;
extern const Screen deviceFound;
extern const Screen directoryFound;
extern const Screen offered; ///< The user may touch everything.
extern const Screen offeredWithoutTools; ///< The same in the go-back and dead-system modes.
extern const Screen updating; ///< An update has begun.
extern const Screen usbTouched; ///< The user has begun it.
extern const Screen labelHidden;
extern const QByteArray restoreOff; ///< The label beside the restore settings button.
extern const QByteArray restoreOn;
