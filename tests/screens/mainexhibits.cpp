#include "tests/screens/exhibit.h"
#include "tests/screens/photograph.h"

#include "tests/support/instrument.h"
#include "tests/support/mainscreen.h"
#include "tests/support/screen.h"

#include <QDir>
#include <QLabel>
#include <QtTest>

namespace {

constexpr int patience = 60000;

// Ticks after which the window offers the update, has given up.
constexpr int offered = 6;
constexpr int givenUp = 13;

QImage afterTicks(int ticks, const QStringList &options = {})
{
    StoppedClocks clocks;
    MainScreen screen(options);
    clocks.tick(screen.window(), ticks);
    return photograph(screen.window());
}

QImage withStick(int ticks, const QStringList &options = {})
{
    Instrument::plugStorageDevice();
    return afterTicks(ticks, options);
}

QImage withoutUpdateDirectory()
{
    Instrument::plugStorageDevice(false);
    return afterTicks(givenUp);
}

/// The offered update, after @p touched was touched.
QImage offeredThen(
    const QByteArray &touched, const std::function<void()> &before = [] {})
{
    Instrument::plugStorageDevice();
    StoppedClocks clocks;
    MainScreen screen;
    clocks.tick(screen.window(), offered);
    before();
    touch(screen.window(), touched);
    return photograph(screen.window());
}

void loseUpdateDirectory() { QDir().rmdir(QStringLiteral("/media/usb0/update")); }

/// An update that has come to the script named last.
QImage updating(const QByteArray &script, const QString &message)
{
    Instrument::writeUpdateScripts();
    Instrument::plugStorageDevice();
    StoppedClocks clocks;
    MainScreen screen;
    // the screen has made the first script wait
    Instrument::shell("cd /etc/update; mv 0-checkpartitions.sh " + script);
    Instrument::writeScript(QStringLiteral("/etc/update/0-checkpartitions.sh"));
    clocks.tick(screen.window(), offered);
    touch(screen.window(), "USBbtn");
    const auto *progress = screen.window()->findChild<QLabel *>(QStringLiteral("progressMsg"));
    if (!QTest::qWaitFor([&] { return progress->text().endsWith(message); }, patience))
        qFatal("the update does not come to %s", script.constData());
    return photograph(screen.window());
}

/// An update whose file check has left its marker.
QImage rejected(const QStringList &options, int ticks, const QByteArray &touched)
{
    Instrument::writeUpdateScripts();
    Instrument::writeScript(QStringLiteral("/etc/update/2-USB-checkupdatefiles.sh"),
                            "touch /tmp/verifyFailed");
    Instrument::plugStorageDevice();
    StoppedClocks clocks;
    MainScreen screen(options);
    clocks.tick(screen.window(), ticks);
    if (!touched.isEmpty())
        touch(screen.window(), touched);
    screen.finishUpdate();
    return photograph(screen.window());
}

QImage overridden(const QByteArray &script)
{
    Instrument::writeScript(QStringLiteral("/etc/update/00-USB-installoverrides.sh"), script);
    Instrument::plugStorageDevice();
    Instrument::write(QStringLiteral("/media/usb0/update/OVERRIDE/Size7"), {});
    return afterTicks(offered);
}

const QStringList network = {QStringLiteral("--autoupdate")};
const QStringList rebuild = {QStringLiteral("--deadusbrebuild")};

} // namespace

// clang-format off
const std::vector<Exhibit> mainExhibits = {
    {"main-checking",              [] { return afterTicks(1); }},
    {"main-checking-network",      [] { return afterTicks(0, network); }},
    {"main-interactive",           [] { return withStick(offered); }},
    {"main-interactive-keeping",   [] { return offeredThen("pbuttonBackupSettings"); }},
    {"main-interactive-rebuild",   [] { return withStick(offered, rebuild); }},
    {"main-retry",                 [] { return afterTicks(givenUp); }},
    {"main-no-update-directory",   [] { return withoutUpdateDirectory(); }},
    {"main-update-directory-gone", [] { return offeredThen("USBbtn", loseUpdateDirectory); }},
    {"main-updating",              [] { return updating("6-USB-recoveryfs.sh", QStringLiteral("Update RecoveryFS")); }},
    {"main-rejected",              [] { return rejected({}, offered, "USBbtn"); }},
    {"main-rejected-network",      [] { return rejected(network, 1, {}); }},
    {"main-override-installed",    [] { return overridden("exit 0"); }},
    {"main-override-matches",      [] { return overridden("exit 1"); }},
    {"main-override-invalid",      [] { return overridden("exit 2"); }},
    {"main-override-rejected",     [] { return overridden("touch /tmp/verifyFailed"); }},
};
// clang-format on
