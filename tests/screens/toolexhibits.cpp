#include "tests/screens/exhibit.h"
#include "tests/screens/photograph.h"

#include "tests/support/instrument.h"
#include "tests/support/mainscreen.h"
#include "tests/support/screen.h"
#include "tools/utilities.h"

#include <QApplication>
#include <QDir>
#include <QScrollBar>
#include <QTableWidget>
#include <QTextEdit>
#include <QtTest>

namespace {

// Ticks after which the export knows of its storage device, has given up.
constexpr int known = 6;
constexpr int givenUp = 13;

/// The support tools menu, opened after a failed start.
class Menu
{
public:
    Menu()
    {
        clocks.tick(main.window(), givenUp);
        touch(main.window(), "pbuttonUtils");
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (widget->isVisible() && qobject_cast<Utilities *>(widget))
                menu.reset(widget);
        }
    }

    QWidget *widget() { return menu.get(); }
    void press(const QByteArray &button) { touch(menu.get(), button); }
    QWidget *open(const QByteArray &button)
    {
        press(button);
        return QApplication::activeModalWidget();
    }
    StoppedClocks clocks;
    MainScreen main;

private:
    std::unique_ptr<QWidget> menu;
};

QImage tool(const QByteArray &button)
{
    Menu menu;
    return photograph(menu.open(button));
}

/// The question that a tool's button asks, or the one after @p accepted others.
QImage question(const QByteArray &button, const QByteArray &action, int accepted = 0)
{
    Menu menu;
    QWidget *screen = menu.open(button);
    return photographQuestion([&] { touch(screen, action); }, accepted);
}

void plugExportStick()
{
    Instrument::plugStorageDevice(false);
    Instrument::write(QStringLiteral("/media/usb0/readme.txt"), {});
}

/// The export after some ticks, a touch of its button when @p pressedAt have passed.
QImage exportAfter(int ticks, int pressedAt = -1)
{
    Menu menu;
    if (ticks < givenUp)
        plugExportStick();
    QWidget *screen = menu.open("pbuttonExportData");
    for (int i = 0; i < ticks; ++i) {
        if (i == pressedAt)
            touch(screen, "pbuttonExportData");
        menu.clocks.tick(screen);
    }
    if (ticks == pressedAt)
        touch(screen, "pbuttonExportData");
    return photograph(screen);
}

QImage exportWithoutStick()
{
    Menu menu;
    plugExportStick();
    QWidget *screen = menu.open("pbuttonExportData");
    menu.clocks.tick(screen, known);
    Instrument::unplugStorageDevice();
    touch(screen, "pbuttonExportData");
    return photograph(screen);
}

/// A log of numbered lines, one in ten too long for the screen.
QByteArray log()
{
    QByteArray lines;
    for (int line = 1; line <= 200; ++line) {
        lines += "Sep 19 08:15:" + QByteArray::number(line % 60).rightJustified(2, '0')
            + " indicator kernel: [" + QByteArray::number(line) + "]\tusb 1-1: ";
        lines += line % 10 == 0 ? "new high-speed USB device number 4 using ci_hdrc, after it had "
                                  "been disconnected and its descriptors were read once more\n"
                                : "device state changed\n";
    }
    return lines;
}

void writeLogs()
{
    Instrument::write(QStringLiteral("/mnt/recovery/logFiles.txt"),
                      "messages,/var/log,System Log\n"
                      "update.log,/mnt/recovery/update_files/update,Update Log\n"
                      "gone.log,/var/log,Log Of A Part That Is Not Fitted\n"
                      "failure.html,/tmp,Failure Report\n");
    Instrument::write(QStringLiteral("/var/log/messages"), log());
    Instrument::write(QStringLiteral("/mnt/recovery/update_files/update/update.log"), "done\n");
    Instrument::write(QStringLiteral("/tmp/failure.html"),
                      "<html><body><h1>Failure</h1><p>Of the <b>heater</b>.</p></body></html>");
}

/// A press on a row of a table, which is brought into view.
void press(QWidget *screen, const char *name, int row)
{
    auto *table = screen->findChild<QTableWidget *>(QString::fromLatin1(name));
    const QModelIndex cell = table->model()->index(row, 0);
    table->scrollTo(cell);
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(cell).center());
}

QImage logs(int row = -1, const QByteArrayList &touched = {})
{
    writeLogs();
    Menu menu;
    QWidget *screen = menu.open("pbuttonLogs");
    if (row >= 0)
        press(screen, "tableLogFiles", row);
    for (const QByteArray &button : touched) {
        touch(screen, button);
        // all of the text is laid out, so that the scroll bar is final
        screen->findChild<QTextEdit *>()->document()->size();
    }
    return photograph(screen);
}

QImage logListMissing()
{
    Menu menu;
    return photographQuestion([&] { menu.press("pbuttonLogs"); });
}

/// Three versions, the second one active; without a manifest for the third unless @p all.
void installVersions(bool all)
{
    const QString file = QStringLiteral("/mnt/recovery/update_files/%1manifest.txt");
    Instrument::write(file.arg(1),
                      "core_version=4.05\ncore_build=118\n"
                      "install_date_time=20230512 09:30:00\n"
                      "core_build_date=20230404\nimage_bootloader_version=V4.05.00\n");
    Instrument::write(file.arg(7),
                      "core_version=4.06\ncore_build=175\n"
                      "install_date_time=20231002 14:05:30\n"
                      "core_build_date=20230919\nimage_bootloader_version=V4.05.00\n");
    if (all)
        Instrument::write(file.arg(8),
                          "core_version=4.04\ncore_build=96\n"
                          "install_date_time=20221201 16:45:10\n"
                          "core_build_date=20221107\nimage_bootloader_version=V4.05.00\n");
    Instrument::write(QStringLiteral("/mnt/recovery/download/partition_c"), "7\n");
}

QImage versions(bool all)
{
    installVersions(all);
    StoppedClocks clocks;
    MainScreen screen;
    clocks.tick(screen.window(), givenUp);
    touch(screen.window(), "pbuttonVersions");
    const std::unique_ptr<QWidget> dialog(QApplication::activeModalWidget());
    return photograph(dialog.get());
}

QImage changeVersion(int row = -1)
{
    installVersions(true);
    Menu menu;
    QWidget *screen = menu.open("pbuttonChgVersion");
    if (row >= 0)
        press(screen, "tableFirmwareVersions", row);
    return photograph(screen);
}

QImage changeVersionQuestion()
{
    installVersions(true);
    Menu menu;
    QWidget *screen = menu.open("pbuttonChgVersion");
    press(screen, "tableFirmwareVersions", 0);
    return photographQuestion([&] { touch(screen, "pButtonChgVersion"); });
}

} // namespace

// clang-format off
const std::vector<Exhibit> toolExhibits = {
    {"utilities",                        [] { Menu menu; return photograph(menu.widget()); }},
    {"reset-local-remote",               [] { return tool("pbuttonResetLR"); }},
    {"reset-touch-calibration",          [] { return tool("pbuttonResetTouchCalibration"); }},
    {"reset-display-detection",          [] { return tool("pbuttonResetDisplayDetection"); }},
    {"reset-system-settings",            [] { return tool("pbuttonResetSystemSettings"); }},
    {"warning-reset-local-remote",       [] { return question("pbuttonResetLR", "pbuttonResetLR"); }},
    {"warning-reset-touch-calibration",  [] { return question("pbuttonResetTouchCalibration", "pbuttonResetTouchCalib"); }},
    {"warning-reset-display-detection",  [] { return question("pbuttonResetDisplayDetection", "pbuttonResetDisplayDetection"); }},
    {"warning-reset-system-settings",    [] { return question("pbuttonResetSystemSettings", "pbuttonResetSystemSettings"); }},
    {"warning-change-version",           [] { return changeVersionQuestion(); }},
    {"notice-rebooting",                 [] { return question("pbuttonResetSystemSettings", "pbuttonResetSystemSettings", 1); }},
    {"export-opened",                    [] { return exportAfter(0); }},
    {"export-checking",                  [] { return exportAfter(1, 1); }},
    {"export-found",                     [] { return exportAfter(known); }},
    {"export-found-after-press",         [] { return exportAfter(known, 1); }},
    {"export-not-found",                 [] { return exportAfter(givenUp); }},
    {"export-device-gone",               [] { return exportWithoutStick(); }},
    {"export-done",                      [] { return exportAfter(known, known); }},
    {"logs",                             [] { return logs(); }},
    {"logs-pressed",                     [] { return logs(0); }},
    {"logs-viewer",                      [] { return logs(0, {"pbuttonViewFile"}); }},
    {"logs-viewer-bottom",               [] { return logs(0, {"pbuttonViewFile", "pbuttonLogViewerBottom"}); }},
    {"logs-viewer-html",                 [] { return logs(3, {"pbuttonViewFile"}); }},
    {"logs-list-missing",                [] { return logListMissing(); }},
    {"versions",                         [] { return versions(true); }},
    {"versions-one-missing",             [] { return versions(false); }},
    {"change-version",                   [] { return changeVersion(); }},
    {"change-version-pressed",           [] { return changeVersion(0); }},
};
// clang-format on
