#include "tests/app/overrides.h"
#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/screen.h"

/// What counts as an OVERRIDE directory of the storage device, and when it is looked at.
class TestOverrideDirectory : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void directory_data();
    void directory();
    void otherOptions_data();
    void otherOptions();
    void networkUpdateDoesNotLook();
};

void TestOverrideDirectory::init()
{
    Instrument::clear();
    Instrument::writeUpdateScripts();
}

void TestOverrideDirectory::directory_data()
{
    QTest::addColumn<QByteArray>("made"); // by the shell, in the update directory
    QTest::addColumn<QByteArray>("prints");
    QTest::addColumn<QByteArray>("next");
    const QByteArray probed = "[ls]\n" + offeredPrint + "[sync]\n";
    const auto row = [](const char *made, const QByteArray &prints, const QByteArray &next) {
        QTest::newRow(made) << QByteArray(made) << prints << next;
    };
    row("true", {}, probed);
    row("touch OVERRIDE", {}, probed);
    row("ln -s nowhere OVERRIDE", {}, probed);
    row("mkdir override OVERRIDE.old", {}, probed);
    // Nothing is said of an empty one: only a found override takes the buttons away.
    row("mkdir OVERRIDE", overrideNotValid, offeredPrint);
    row("mkdir -p OVERRIDE/Size7 OVERRIDE/Size10/inner", overrideNotValid, offeredPrint);
    row("mkdir OVERRIDE; touch file; ln -s ../file OVERRIDE/Size7", overrideNotValid, offeredPrint);
    row("mkdir OVERRIDE; ln -s nowhere OVERRIDE/Size7", overrideNotValid, offeredPrint);
    row("mkdir OVERRIDE; touch OVERRIDE/.Size7", overrideNotValid, offeredPrint);
    row("mkdir OVERRIDE; mkfifo OVERRIDE/Size7", overrideNotValid, offeredPrint);
    row("mkdir -p OVERRIDE/Size7; touch OVERRIDE/Size7/file", overrideNotValid, offeredPrint);
    const QByteArray installs = installed("0") + "FINISHED\n";
    row("mkdir OVERRIDE; touch OVERRIDE/Size7", overrideValid, installs);
    row("mkdir OVERRIDE; touch OVERRIDE/Size7 OVERRIDE/Size10", overrideValid, installs);
    row("mkdir -p OVERRIDE/Size7; touch OVERRIDE/SizeClear OVERRIDE/.hidden", overrideValid,
        installs);
    row("mkdir real; touch real/Size7; ln -s real OVERRIDE", overrideValid, installs);
    row("mkdir OVERRIDE; touch OVERRIDE/Size7; chmod 000 OVERRIDE/Size7", overrideValid, installs);
}

void TestOverrideDirectory::directory()
{
    QFETCH(QByteArray, made);
    QFETCH(QByteArray, prints);
    QFETCH(QByteArray, next);
    Instrument::plugStorageDevice();
    Instrument::shell("cd /media/usb0/update; " + made);
    MainScreen screen;
    screen.expect({}, startPrints);
    const bool installs = next.startsWith("OVERRIDE");
    walk(screen,
         {ticks(4), ticks(1, directoryFound, prints),
          ticks(1, installs ? title("Overrides:\nRebooting") : offered, next, stopped)});
    QCOMPARE(Instrument::calls(),
             installs ? QStringList(QString::fromLatin1(overrideScript)) : QStringList());
}

void TestOverrideDirectory::otherOptions_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<Screen>("offer");
    QTest::newRow("USB") << QStringLiteral("--usbupdate") << offered;
    QTest::newRow("after reboot") << QStringLiteral("--rebootusbupdate") << offered;
    QTest::newRow("go back") << QStringLiteral("--gobackupdate") << offeredWithoutTools;
    QTest::newRow("dead system") << QStringLiteral("--deadusbrebuild") << offeredWithoutTools;
}

// Overrides come before all else the options ask for, and the board may be blank.
void TestOverrideDirectory::otherOptions()
{
    QFETCH(QString, option);
    QFETCH(Screen, offer);
    plugOverride("exit 1");
    Instrument::setBlank(true);
    {
        MainScreen screen({option});
        screen.expect({}, startPrints);
        walk(screen,
             {ticks(4), ticks(1, directoryFound, overrideValid),
              ticks(1, title("Overrides:") + overrideMatches + offer,
                    installed("1") + "FINISHED\n" + offeredPrint, stopped)});
    }
    QFile::remove(QStringLiteral("/media/usb0/update/OVERRIDE/Size10"));
    MainScreen screen({option});
    screen.expect({}, startPrints);
    walk(screen,
         {ticks(4), ticks(1, directoryFound, overrideNotValid),
          ticks(1, offer, offeredPrint, stopped)});
}

void TestOverrideDirectory::networkUpdateDoesNotLook()
{
    plugOverride("exit 1");
    MainScreen screen({QStringLiteral("--autoupdate")});
    screen.expect({}, startPrints);
    tick(screen.window());
    screen.expectPrints("[ls]\nBOARD Previously Flashed AU - Partition 2 already exists\n"
                        "starting - Network Update\n\nUpdate in progress\n[sync]\n");
    expectUpdate(screen, 3);
}

int main(int argc, char **argv) { return CommandLine::run<TestOverrideDirectory>(argc, argv); }
#include "tst_overridedirectory.moc"
