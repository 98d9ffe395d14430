#include "tests/app/walk.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

#include <QAbstractButton>

#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

/// Which update starts, for every combination of options, stick and board.
class TestStartDecision : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void everyCombination_data();
    void everyCombination();
    void directoryGoneBeforeTheDecision_data();
    void directoryGoneBeforeTheDecision();
};

struct Case
{
    bool automatic;
    bool afterReboot;
    bool goBack;
    bool dead;
    bool device;
    bool directory;
    bool blank;
};
Q_DECLARE_METATYPE(Case)

static constexpr int noUpdate = -1;
static constexpr int programEnds = -2;

struct Decision
{
    const char *applies; ///< To automatic, afterReboot, device, directory, blank; "-" is either.
    int tick; ///< The one that decides.
    const char *prints;
    StartupTimer timer;
    int mode;
    const char *touchable;
};
Q_DECLARE_METATYPE(Decision)

#define RETRIED                                                                                    \
    "BOARD Previously Flashed RB - Partition 2 already exists\nusb reboot- usb device NOT "        \
    "found\n[sync]\n[sync]\n"
#define BLANK "BLANK BOARD - Partition 2 does not exist\n"
#define BEGUN "\nUpdate in progress\n[sync]\n"
#define NO_DIRECTORY "FAIL - Update directory does not exist\n"
static constexpr char everything[] = "USBbtn pbuttonBackupSettings pbuttonUtils pbuttonVersions";

// clang-format off
static constexpr Decision decisions[] = {
    {"1--11",  1, BLANK BEGUN, stopped, 2, ""},
    {"1--01",  1, BLANK NO_DIRECTORY, runs, programEnds, ""},
    {"11--0",  1, "[ls]\n" RETRIED, runs, noUpdate, ""},
    {"10--0",  1, "[ls]\nBOARD Previously Flashed AU - Partition 2 already exists\nstarting - Network Update\n" BEGUN, stopped, 3, ""},
    {"0-00-", 13, "FAIL - USB storage device does not exist\n", stopped, noUpdate, "USBbtn pbuttonUtils pbuttonVersions"},
    {"0-10-", 13, NO_DIRECTORY, stopped, noUpdate, "pbuttonUtils pbuttonVersions"},
    {"0--11",  6, BLANK BEGUN, stopped, 2, ""},
    {"01110",  6, "[ls]\nBOARD Previously Flashed RB - Partition 2 already exists\n" BEGUN, stopped, 0, ""},
    {"01010",  6, "[ls]\n" RETRIED, runs, noUpdate, ""},
    {"00-10",  6, "[ls]\nBOARD Previously Flashed - Partition 2 already exists\n[sync]\n", stopped, noUpdate, everything},
};
// clang-format on

static bool applies(const char *pattern, const Case &now)
{
    int place = 0;
    for (const bool is : {now.automatic, now.afterReboot, now.device, now.directory, now.blank}) {
        const char wanted = pattern[place++];
        if (wanted != '-' && (wanted == '1') != is)
            return false;
    }
    return true;
}

void TestStartDecision::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestStartDecision::everyCombination_data()
{
    QTest::addColumn<Case>("now");
    QTest::addColumn<Decision>("decision");
    for (unsigned bits = 0; bits < 128; ++bits) {
        const auto bit = [bits](unsigned place) { return (bits >> place & 1U) != 0; };
        const Case now = {bit(0), bit(1), bit(2), bit(3), bit(4), bit(5), bit(6)};
        int count = 0;
        for (const Decision &decision : decisions) {
            if (!applies(decision.applies, now))
                continue;
            ++count;
            QTest::addRow(
                "auto %d, reboot %d, go back %d, dead %d, device %d, directory %d, blank %d",
                now.automatic, now.afterReboot, now.goBack, now.dead, now.device, now.directory,
                now.blank)
                << now << decision;
        }
        if (count != 1)
            qFatal("%d decisions for one case", count);
    }
}

static QStringList optionsOf(const Case &now)
{
    QStringList options;
    if (now.automatic)
        options += QStringLiteral("--autoupdate");
    if (now.afterReboot)
        options += QStringLiteral("--rebootusbupdate");
    if (now.goBack)
        options += QStringLiteral("--gobackupdate");
    if (now.dead)
        options += QStringLiteral("--deadusbrebuild");
    return options;
}

static QByteArray touchable(const QWidget *window)
{
    QByteArrayList names;
    for (const auto *button : window->findChildren<QAbstractButton *>()) {
        if (button->isVisible() && button->isEnabled())
            names += button->objectName().toLatin1();
    }
    std::sort(names.begin(), names.end());
    return names.join(' ');
}

static MainScreen *ending;
static Screen endScreen;

/// Delivers a tick that ends the program, in a copy of this process. The screen at its end has to
/// be
/// @p screenThen.
static void expectEnd(MainScreen &screen, const Screen &screenThen, const QByteArray &prints)
{
    const pid_t child = fork();
    if (child == 0) {
        ending = &screen;
        endScreen = screenThen;
        std::atexit([] {
            const QStringList wrong = differences(screenOf(ending->window()), endScreen);
            printf("[end]%s\n", qPrintable(wrong.join(QLatin1Char('\n'))));
        });
        tick(screen.window());
        _exit(99);
    }
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 1);
    QCOMPARE(screen.takePrints(), prints + "[end]\n");
}

static const Screen notFound
    = {{"usbLabel", "shown, enabled: USB storage device or\n'update' directory \nnot found"}};

void TestStartDecision::everyCombination()
{
    QFETCH(Case, now);
    QFETCH(Decision, decision);
    Instrument::setBlank(now.blank);
    if (now.device)
        Instrument::plugStorageDevice(now.directory);
    else if (now.directory)
        QDir().mkpath(QStringLiteral("/media/usb0/update"));
    const QStringList options = optionsOf(now);
    MainScreen screen(options);
    QCOMPARE(screen.takePrints(), startPrints);
    QCOMPARE(touchable(screen.window()), QByteArray());

    for (int i = 1; i < decision.tick; ++i) {
        tick(screen.window());
        QCOMPARE(screen.takePrints(), QByteArray());
        QCOMPARE(touchable(screen.window()), QByteArray());
        QCOMPARE(timerInterval(screen.window()), 1000);
    }
    if (decision.mode == programEnds) {
        expectEnd(screen, startScreen(options) + notFound, decision.prints);
        return;
    }
    tick(screen.window());
    screen.expectPrints(decision.prints);
    QCOMPARE(timerInterval(screen.window()), decision.timer == runs ? 1000 : -1);
    const bool noTools = now.goBack || now.dead;
    const QByteArray buttons = decision.touchable;
    QCOMPARE(touchable(screen.window()),
             !noTools                         ? buttons
                 : buttons.contains("USBbtn") ? QByteArray("USBbtn")
                                              : QByteArray());
    if (decision.mode != noUpdate)
        expectUpdate(screen, decision.mode);
    else
        QCOMPARE(Instrument::calls(), QStringList());
}

void TestStartDecision::directoryGoneBeforeTheDecision_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("blank");
    QTest::addColumn<Screen>("changes");
    QTest::addColumn<QByteArray>("prints");
    // clang-format off
    QTest::newRow("blank") << QStringList() << true << notFound
        << QByteArray(BLANK NO_DIRECTORY);
    QTest::newRow("blank, after reboot") << QStringList(QStringLiteral("--rebootusbupdate")) << true << notFound
        << QByteArray(BLANK NO_DIRECTORY);
    QTest::newRow("flashed") << QStringList() << false << offered
        << QByteArray("[ls]\nBOARD Previously Flashed - Partition 2 already exists\n[sync]\n");
    QTest::newRow("flashed, after reboot") << QStringList(QStringLiteral("--rebootusbupdate")) << false
        << Screen {{"usbLabel", "shown, enabled: USB storage device or \n'update' directory \nnot found"},
                   {"update_title", "shown, enabled: RB Initialization:\nFAILED"}}
        << QByteArray("[ls]\nBOARD Previously Flashed RB - Partition 2 already exists\n"
                      "usb button RB - update dir does not exist\n[sync]\n");
    // clang-format on
}

// The stick is pulled after it was found.
void TestStartDecision::directoryGoneBeforeTheDecision()
{
    QFETCH(QStringList, options);
    QFETCH(bool, blank);
    QFETCH(Screen, changes);
    QFETCH(QByteArray, prints);
    Instrument::setBlank(blank);
    Instrument::plugStorageDevice();
    MainScreen screen(options);
    screen.expect({}, startPrints);
    walk(screen, {ticks(4), ticks(1, directoryFound)});
    Instrument::unplugStorageDevice();
    if (blank)
        expectEnd(screen, startScreen(options) + directoryFound + changes, prints);
    else
        walk(screen, {ticks(1, changes, prints, stopped)});
    QCOMPARE(Instrument::calls(), QStringList());
}

int main(int argc, char **argv) { return CommandLine::run<TestStartDecision>(argc, argv); }
#include "tst_startdecision.moc"
