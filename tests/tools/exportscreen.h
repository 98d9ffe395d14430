#pragma once

#include "tests/tools/events.h"

#include "tools/exportlogdata.h"

#include <QMetaType>
#include <QVector>

#include <memory>

/// What the user sees of the export screen.
struct ExportLook
{
    const char *status;
    const char *button;
    bool enabled;
    bool polling;
    const char *description;
};

/// The export screen as the menu shows it. What it does is held against the course of the user's
/// and the clock's moves.
class ExportScreen
{
public:
    ExportScreen();
    ExportLogData *dialog() { return &screen; }

    void press(); ///< The export button.

    /// Fails the test unless the screen looks like @p look and just @p happened since the last
    /// call, where "[count]" stands for the lines that the mount point lists.
    void expect(const ExportLook &look, QByteArray happened);

    /// Lets @p count ticks pass, each of which must print itself as tick number @p first onwards
    /// and bring @p check besides, and nothing else.
    void quietTicks(const ExportLook &look, int first, int count, const QByteArray &check = {});

private:
    QWidget opener;
    Events events;
    ExportLogData screen;
};

/// A tick's own line.
QByteArray tickLine(int number, bool there = false);

extern const char exportText[]; ///< Of the button.
extern const char exportDescription[];

extern const ExportLook opened; ///< Nothing said yet.
extern const ExportLook checking; ///< After a press.
extern const ExportLook found;
extern const ExportLook available; ///< Found after a press.
extern const ExportLook notFound;
extern const ExportLook exported;
extern const ExportLook exportedAfterLoss; ///< The description stays overwritten.
extern const ExportLook gone;

extern const QByteArray looking; ///< A check without a device.
extern const QByteArray verified; ///< A look at the mount point.
extern const QByteArray lost; ///< The verdict of tick 13.
extern const QByteArray pressedInVain;
/// A press that exports, with the script's call if it can be @p called.
QByteArray exporting(const QByteArray &code, bool called = true);

/// From the opening to a device that was there before, found on the first look.
void findDevice(ExportScreen &screen);
/// From the opening to the verdict that there is none.
void findNothing(ExportScreen &screen);
