#include "tests/support/mainscreen.h"

#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>

#include <cerrno>
#include <ctime>

#include <unistd.h>

// These take the place of the C library's own functions, for Qt and for the updater alike.

static bool inFirstThread() { return gettid() == getpid(); }

extern "C" void sync() noexcept
{
    if (inFirstThread()) {
        std::fputs("[sync]\n", stdout);
        std::fflush(stdout);
    }
}

extern "C" int nanosleep(const timespec *pause, timespec *left)
{
    if (!inFirstThread())
        return 0;
    errno = clock_nanosleep(CLOCK_REALTIME, 0, pause, left);
    return errno == 0 ? 0 : -1;
}

const QByteArray startPrints = "\nCurrent bootloader version = V4.05.00\n\n[sync]\n";

static const Screen interactiveStart = {
    {"ETHbtn", "hidden, disabled: "},
    {"USBbtn", "shown, disabled: USB"},
    {"lblUSBBackup",
     "hidden, enabled: <html><head/><body>Restore Settings<br>After Install<br><b>Not "
     "Enabled</b></body></html>"},
    {"messageFrm", "hidden, enabled"},
    {"messages", "hidden, enabled: Messages"},
    {"pbuttonBackupSettings", "hidden, disabled: >>|<<"},
    {"pbuttonUtils", "shown, disabled: Support\nTools"},
    {"pbuttonVersions", "shown, disabled: Versions"},
    {"progressBar", "hidden, enabled: 24"},
    {"progressMsg", "hidden, enabled: This will take a few minutes."},
    {"toggle", "up, "},
    {"update_title", "shown, enabled: Initializing:"},
    {"usbLabel", "shown, enabled: Checking for \nUSB storage device"},
    {"version_number", "shown, enabled: Bootloader:\nV4.05.00"},
};

Screen startScreen(const QStringList &options)
{
    Screen screen = interactiveStart;
    if (options.contains(QStringLiteral("--autoupdate")))
        screen["usbLabel"] = "shown, enabled: Checking for \nNetwork Update storage";
    if (options.contains(QStringLiteral("--gobackupdate"))
        || options.contains(QStringLiteral("--deadusbrebuild"))) {
        screen["pbuttonUtils"] = "hidden, disabled: Support\nTools";
        screen["pbuttonVersions"] = "hidden, disabled: Versions";
    }
    return screen;
}

static QByteArray stateOf(const QWidget *widget)
{
    QByteArray state = widget->isVisible() ? "shown" : "hidden";
    state += widget->isEnabled() ? ", enabled" : ", disabled";
    for (const char *content : {"value", "text"}) {
        const QVariant value = widget->property(content);
        if (value.isValid())
            return state + ": " + value.toString().toUtf8();
    }
    return state;
}

Screen screenOf(const QWidget *window)
{
    Screen screen;
    for (auto row = interactiveStart.begin(); row != interactiveStart.end(); ++row) {
        if (const auto *widget = window->findChild<QWidget *>(QString::fromLatin1(row.key())))
            screen[row.key()] = stateOf(widget);
    }
    const auto *toggle
        = window->findChild<QAbstractButton *>(QStringLiteral("pbuttonBackupSettings"));
    const QByteArray position = !toggle->isCheckable() ? "no toggle"
        : toggle->isChecked()                          ? "down"
                                                       : "up";
    screen["toggle"] = position + ", " + toggle->styleSheet().toUtf8();
    return screen;
}

QStringList differences(const Screen &seen, const Screen &expected)
{
    QStringList lines;
    for (auto row = expected.begin(); row != expected.end(); ++row) {
        const QByteArray state = seen.value(row.key(), "missing");
        if (state != row.value())
            lines
                += QString::fromUtf8(row.key() + " is '" + state + "', not '" + row.value() + "'");
    }
    return lines;
}

/// What the blank-board probe prints on a board flashed before.
static QByteArray partitionListing()
{
    QProcess list;
    list.start(QStringLiteral("ls"), {QStringLiteral("-al"), QStringLiteral("/dev/mmcblk0p2")});
    list.waitForFinished();
    return list.readAllStandardOutput();
}

MainScreen::MainScreen(const QStringList &options)
    : expected(startScreen(options))
{
    Instrument::writeScript(QStringLiteral("/etc/update/0-checkpartitions.sh"),
                            "until [ -e /tmp/goOn ]; do sleep 0.02; done");
    QFile::remove(QStringLiteral("/tmp/goOn"));
    CommandLine::set(options);
    mainWindow = std::make_unique<MainWindow>();
    mainWindow->setWindowFlags(Qt::FramelessWindowHint);
    mainWindow->showMaximized();
}

MainScreen::~MainScreen()
{
    takePrints();
    if (updating)
        finishUpdate();
}

QByteArray MainScreen::takePrints()
{
    const QByteArray prints = console.take();
    updating = updating || prints.contains("Update in progress\n");
    return prints;
}

void MainScreen::expectPrints(const QByteArray &prints)
{
    QCOMPARE(takePrints(), QByteArray(prints).replace("[ls]\n", partitionListing()));
}

void MainScreen::expect(const Screen &changes, const QByteArray &prints, StartupTimer timer)
{
    for (auto change = changes.begin(); change != changes.end(); ++change)
        expected[change.key()] = change.value();
    QCOMPARE(differences(screenOf(window()), expected), QStringList());
    expectPrints(prints);
    QCOMPARE(timerInterval(window()), timer == StartupTimer::Runs ? 1000 : -1);
}

QByteArray MainScreen::finishUpdate(int times)
{
    Instrument::write(QStringLiteral("/tmp/goOn"), {});
    QByteArray prints;
    QElapsedTimer waited;
    waited.start();
    while (prints.count("FINISHED\n") < times) {
        QTest::qWait(5);
        prints += takePrints();
        if (waited.hasExpired(60000))
            qFatal("the update does not end");
    }
    updating = false;
    return prints;
}
