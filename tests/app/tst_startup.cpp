#include "tests/app/walk.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

/// The start-up sequence, tick by tick, with the whole screen after each.
class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void course_data();
    void course();
    void deviceAndDirectoryAppear_data();
    void deviceAndDirectoryAppear();
    void kindsOfEntries_data();
    void kindsOfEntries();
    void probeThatCannotStart();
};

struct Stick
{
    bool device;
    bool directory;
};
Q_DECLARE_METATYPE(Stick)

static void plug(Stick stick)
{
    if (stick.device)
        QDir().mkpath(QStringLiteral("/sys/class/block/sda"));
    if (stick.directory)
        QDir().mkpath(QStringLiteral("/media/usb0/update"));
}

static constexpr Stick nothing = {false, false};
static constexpr Stick deviceOnly = {true, false};
static constexpr Stick directoryOnly = {false, true};
static constexpr Stick both = {true, true};
static constexpr int noUpdate = -1;

static const QByteArray flashed = "BOARD Previously Flashed - Partition 2 already exists\n";
static const QByteArray noDevicePrint = "FAIL - USB storage device does not exist\n";
static const QByteArray retryPrint = "usb button - usb device NOT found\n[sync]\n";
static const QByteArray begun = "\nUpdate in progress\n[sync]\n";

void TestStartup::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

static Screen withoutTools(const Screen &screen)
{
    return screen
        + Screen {{"pbuttonUtils", "hidden, enabled: Support\nTools"},
                  {"pbuttonVersions", "hidden, enabled: Versions"}};
}

/// Adds a course: options separated by blanks, the stick, whether the board is blank, the moments,
/// and the mode of the update that is started at the end of it.
static void course(const char *name, const char *options, Stick stick, bool blank,
                   const Moments &moments, int mode = noUpdate)
{
    QTest::newRow(name) << QString::fromLatin1(options).split(QLatin1Char(' '), Qt::SkipEmptyParts)
                        << stick << blank << moments << mode;
}

void TestStartup::course_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<Stick>("stick");
    QTest::addColumn<bool>("blank");
    QTest::addColumn<Moments>("moments");
    QTest::addColumn<int>("mode");

    const QByteArray listed = "[ls]\n";
    const Moment found = ticks(1, directoryFound);
    const Moments noDeviceThenRetry = {
        ticks(1),
        ticks(11),
        ticks(1, noDevice, noDevicePrint, stopped),
        touched("USBbtn", checkingAgain + title("Initializing:"), retryPrint, runs),
        ticks(12),
        ticks(1, noDevice, noDevicePrint, stopped),
    };
    const Moments offer
        = {ticks(4), found, ticks(1, offered, listed + flashed + "[sync]\n", stopped)};
    const Moments rebuild = {ticks(4), found,
                             ticks(1, updating + labelHidden,
                                   "BLANK BOARD - Partition 2 does not exist\n" + begun, stopped)};

    ::course("nothing", "", nothing, false, noDeviceThenRetry);
    ::course("nothing, USB", "--usbupdate", nothing, false, noDeviceThenRetry);
    ::course("nothing, after reboot", "--rebootusbupdate", nothing, false, noDeviceThenRetry);
    ::course("nothing, go back", "--gobackupdate", nothing, false,
             {ticks(12), ticks(1, withoutTools(noDevice), noDevicePrint, stopped)});
    ::course("nothing, dead system", "--deadusbrebuild", nothing, false,
             {ticks(12), ticks(1, withoutTools(noDevice), noDevicePrint, stopped)});
    ::course("nothing, blank", "", nothing, true, noDeviceThenRetry);

    const QByteArray noDirectoryPrint = "FAIL - Update directory does not exist\n";
    ::course("device only", "", deviceOnly, false,
             {ticks(4), ticks(1, deviceFound), ticks(7),
              ticks(1, noDirectory, noDirectoryPrint, stopped)});
    ::course("device only, go back", "--gobackupdate", deviceOnly, false,
             {ticks(4), ticks(1, deviceFound), ticks(7),
              ticks(1, withoutTools(noDirectory), noDirectoryPrint, stopped)});

    ::course("stick", "", both, false, offer);
    ::course("stick, USB", "--usbupdate", both, false, offer);
    for (const char *options :
         {"--gobackupdate", "--deadusbrebuild", "--gobackupdate --deadusbrebuild"})
        ::course(options, options, both, false,
                 {ticks(4), found,
                  ticks(1, offeredWithoutTools, listed + flashed + "[sync]\n", stopped)});
    ::course("stick, blank", "", both, true, rebuild, 2);
    ::course("stick, blank, after reboot", "--rebootusbupdate", both, true, rebuild, 2);
    ::course("directory only, blank", "", directoryOnly, true, rebuild, 2);

    const QByteArray flashedRb = "BOARD Previously Flashed RB - Partition 2 already exists\n";
    ::course("stick, after reboot", "--rebootusbupdate", both, false,
             {ticks(4), found,
              ticks(1, updating + labelHidden + title("Reboot Update\nInitializing:"),
                    listed + flashedRb + begun, stopped)},
             0);
    const Moment detectAgain
        = ticks(1, checkingAgain + title("RB Initializing:"),
                listed + flashedRb + "usb reboot- usb device NOT found\n[sync]\n[sync]\n");
    ::course("directory only, after reboot", "--rebootusbupdate", directoryOnly, false,
             {ticks(4), found, detectAgain, ticks(4), found, detectAgain});

    const Screen networkChecked
        = {{"usbLabel", "hidden, enabled: Checking for \nNetwork Update storage"}};
    for (const Stick &stick : {nothing, deviceOnly, directoryOnly, both})
        ::course(stick.device          ? stick.directory ? "network, stick" : "network, device"
                     : stick.directory ? "network, directory"
                                       : "network",
                 "--autoupdate", stick, false,
                 {ticks(1, updating + networkChecked + title("Network Update\nInitializing:"),
                        listed
                            + "BOARD Previously Flashed AU - Partition 2 already exists\n"
                              "starting - Network Update\n"
                            + begun,
                        stopped)},
                 3);
    ::course("network, blank", "--autoupdate", directoryOnly, true,
             {ticks(1, updating + networkChecked,
                    "BLANK BOARD - Partition 2 does not exist\n" + begun, stopped)},
             2);

    // With the device found a network update would first start a USB update and then go on; but it
    // never looks, so there is no such course.

    // Without a look for the device it is never there: each tick begins anew, and is meant to.
    const Moment networkAgain
        = ticks(1, title("RB Initializing:"),
                listed + flashedRb + "usb reboot- usb device NOT found\n[sync]\n[sync]\n");
    ::course("network after reboot", "--autoupdate --rebootusbupdate", both, false,
             {networkAgain, networkAgain, networkAgain});
}

void TestStartup::course()
{
    QFETCH(QStringList, options);
    QFETCH(Stick, stick);
    QFETCH(bool, blank);
    QFETCH(Moments, moments);
    QFETCH(int, mode);
    plug(stick);
    Instrument::setBlank(blank);

    MainScreen screen(options);
    screen.expect({}, startPrints);
    walk(screen, moments);
    if (mode != noUpdate)
        expectUpdate(screen, mode);
    else
        QCOMPARE(Instrument::calls(), QStringList());
}

void TestStartup::deviceAndDirectoryAppear_data()
{
    QTest::addColumn<int>("deviceTick");
    QTest::addColumn<int>("directoryTick");
    for (const int device : {1, 4, 5, 6, 12, 13, 14}) {
        for (const int directory : {1, 4, 5, 6, 12, 13, 14})
            QTest::addRow("device before tick %d, directory before tick %d", device, directory)
                << device << directory;
    }
}

void TestStartup::deviceAndDirectoryAppear()
{
    QFETCH(int, deviceTick);
    QFETCH(int, directoryTick);
    const int deviceSeen = qMax(deviceTick, 5);
    const int directorySeen = qMax(directoryTick, 5);
    MainScreen screen;
    screen.expect({}, startPrints);

    for (int now = 1; now <= 13; ++now) {
        plug({deviceTick == now, directoryTick == now});
        if (now == directorySeen + 1 && now <= 13) {
            walk(screen, {ticks(1, offered, "[ls]\n" + flashed + "[sync]\n", stopped)});
            return;
        }
        Screen changes;
        QByteArray prints;
        if (now == 13 && deviceSeen > 12) {
            changes = noDevice; // the thirteenth tick looks for nothing any more
            prints = noDevicePrint;
        } else if (now == 13 && directorySeen > 13) {
            changes = noDirectory;
            prints = "FAIL - Update directory does not exist\n";
        } else if (now < 13 && now == directorySeen) {
            changes = directoryFound;
        } else if (now < 13 && now == deviceSeen) {
            changes = deviceFound;
        }
        walk(screen, {ticks(1, changes, prints, now == 13 ? stopped : runs)});
        if (QTest::currentTestFailed())
            return;
    }
}

void TestStartup::kindsOfEntries_data()
{
    QTest::addColumn<QByteArray>("made"); // by the shell
    QTest::addColumn<Screen>("changes");
    const auto row = [](const char *name, const char *made, const Screen &changes) {
        QTest::newRow(name) << QByteArray(made) << changes;
    };
    row("device as the kernel shows it", "mkdir /tmp/sda; ln -s /tmp/sda /sys/class/block/sda",
        deviceFound);
    row("device link to nowhere", "ln -s /tmp/sda /sys/class/block/sda", {});
    row("device file", "touch /sys/class/block/sda", {});
    row("another device", "mkdir /sys/class/block/sda1 /sys/class/block/sdb", {});
    row("update link", "mkdir /tmp/update; ln -s /tmp/update /media/usb0/update", directoryFound);
    row("update link to nowhere", "ln -s /tmp/update /media/usb0/update", {});
    row("update file", "touch /media/usb0/update", {});
    row("update in other letters", "mkdir /media/usb0/Update /media/usb0/update.old", {});
}

void TestStartup::kindsOfEntries()
{
    QFETCH(QByteArray, made);
    QFETCH(Screen, changes);
    Instrument::shell(made);
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, {ticks(4), ticks(1, changes)});
}

// A board is blank unless the probe says that it is not.
void TestStartup::probeThatCannotStart()
{
    plug(both);
    MainScreen screen;
    screen.expect({}, startPrints);
    walk(screen, {ticks(4), ticks(1, directoryFound)});
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nowhere");
    tick(screen.window());
    qputenv("PATH", path);
    screen.expect(updating + labelHidden, "BLANK BOARD - Partition 2 does not exist\n" + begun,
                  stopped);
    expectUpdate(screen, 2);
}

int main(int argc, char **argv) { return CommandLine::run<TestStartup>(argc, argv); }
#include "tst_startup.moc"
