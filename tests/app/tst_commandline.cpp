#include "tests/support/instrument.h"
#include "tests/support/program.h"

#include <QCommandLineParser>
#include <QFile>
#include <QtTest>

/// What the program does with its command line before there is a window.
class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void endsAtOnce_data();
    void endsAtOnce();
    void endsAtOnceWithoutDisplay_data() { endsAtOnce_data(); }
    void endsAtOnceWithoutDisplay();
    void toolkitOptionsAreLeftToTheToolkit_data();
    void toolkitOptionsAreLeftToTheToolkit();
    void optionsOfTheDisplayAreLeftToTheDisplay_data();
    void optionsOfTheDisplayAreLeftToTheDisplay();
    void helpOfEverythingListsTheToolkitsOptions();
    void helpListsTheOptions();
    void starts_data();
    void starts();
    void versionTagInTheBinary();
};

static const QString versionFile = QStringLiteral("/tmp/runningbootloaderversion");

// In the order in which help lists them.
static constexpr struct
{
    const char *name;
    const char *description;
} options[] = {
    {"autoupdate", "Run teskupdater in Auto Update mode."},
    {"usbupdate", "Run teskupdater in USB Update mode."},
    {"rebootusbupdate", "Run teskupdater in Rebooted USB Update mode."},
    {"gobackupdate", "Run teskupdater in Go Back Update mode."},
    {"deadusbrebuild", "Run teskupdater in Dead System USB Rebuild mode."},
};

/// What Qt's own parser prints for these options and no other.
static QByteArray help()
{
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    for (const auto &option : options)
        parser.addOption(
            {QString::fromLatin1(option.name), QString::fromLatin1(option.description)});
    return parser.helpText()
        .replace(QCoreApplication::arguments().constFirst(), Program::path())
        .toUtf8();
}

void TestCommandLine::endsAtOnce_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    const auto row
        = [](const char *option, int code, const QByteArray &output, const QByteArray &errors) {
              QTest::newRow(option) << QString::fromLatin1(option) << code << output << errors;
          };
    row("--help", 0, help(), {});
    row("-h", 0, help(), {});
    row("--version", 0, "teskupdater V4.05.00\n", {});
    row("-v", 0, "teskupdater V4.05.00\n", {});
    row("--networkupdate", 1, {}, "teskupdater: Unknown option 'networkupdate'.\n");
    row("--AutoUpdate", 1, {}, "teskupdater: Unknown option 'AutoUpdate'.\n");
    row("--auto", 1, {}, "teskupdater: Unknown option 'auto'.\n");
    row("-x", 1, {}, "teskupdater: Unknown option 'x'.\n");
    row("--autoupdate=yes", 1, {}, "teskupdater: Unexpected value after '--autoupdate'.\n");
    row("--autoupdate --nonsense", 1, {}, "teskupdater: Unknown option 'nonsense'.\n");
    row("--autoupdate --version", 0, "teskupdater V4.05.00\n", {});
}

void TestCommandLine::endsAtOnce()
{
    QFETCH(QString, option);
    QFETCH(int, code);
    Program program(option.split(QLatin1Char(' ')));
    QCOMPARE(program.exitCode(), code);
    QTEST(program.console(), "output");
    QTEST(program.errors(), "errors");
    QVERIFY(!QFile::exists(versionFile));
}

// Over a serial line, say. Whatever needs the display aborts there.
void TestCommandLine::endsAtOnceWithoutDisplay()
{
    qunsetenv("DISPLAY");
    QFETCH(QString, option);
    QFETCH(int, code);
    Program program(option.split(QLatin1Char(' ')), QStringLiteral("xcb"));
    QCOMPARE(program.exitCode(), code);
    QTEST(program.console(), "output");
    QTEST(program.errors(), "errors");
    QVERIFY(!QFile::exists(versionFile));
}

// None of them is a mistake, though the parser knows none.
void TestCommandLine::toolkitOptionsAreLeftToTheToolkit_data()
{
    QTest::addColumn<QString>("given");
    for (const char *given : {"-platform offscreen",
                              "--platform offscreen",
                              "-platformpluginpath /usr/lib/nowhere",
                              "-platformtheme none",
                              "-plugin none",
                              "-qwindowgeometry 640x480",
                              "-qwindowtitle updater",
                              "-qwindowicon none",
                              "-reverse",
                              "-session 1_2",
                              "-testability",
                              "-style fusion",
                              "--style=fusion",
                              "-stylesheet none",
                              "-stylesheet=none",
                              "-widgetcount",
                              "-qdebug",
                              "-qdevel",
                              "-qmljsdebugger=port:1",
                              "--autoupdate -platform offscreen"})
        QTest::newRow(given) << QString::fromLatin1(given);
}

void TestCommandLine::toolkitOptionsAreLeftToTheToolkit()
{
    QFETCH(QString, given);
    Program program(given.split(QLatin1Char(' ')));
    QVERIFY2(program.prints("\nCurrent bootloader version = V4.05.00\n\n"),
             program.errors().constData());
}

// Those that only this platform takes: it asks for its display before anything is called a mistake.
void TestCommandLine::optionsOfTheDisplayAreLeftToTheDisplay_data()
{
    QTest::addColumn<QString>("given");
    for (const char *given : {"-display :9", "-dograb", "-geometry 640x480", "-icon none",
                              "-name updater", "-nograb", "-title updater", "-visual 1"})
        QTest::newRow(given) << QString::fromLatin1(given);
}

void TestCommandLine::optionsOfTheDisplayAreLeftToTheDisplay()
{
    qunsetenv("DISPLAY");
    QFETCH(QString, given);
    Program program(given.split(QLatin1Char(' ')), QStringLiteral("xcb"));
    QCOMPARE(program.exitCode(), -1);
    QVERIFY2(program.errors().contains("could not connect to display"),
             program.errors().constData());
    QVERIFY2(!program.errors().contains("Unknown option"), program.errors().constData());
}

void TestCommandLine::helpOfEverythingListsTheToolkitsOptions()
{
    Program program({QStringLiteral("--help-all")});
    QCOMPARE(program.exitCode(), 0);
    QVERIFY(program.console().contains("--deadusbrebuild"));
    QVERIFY(program.console().contains("--platform <"));
}

// Apart from Qt's layout of the page: each option with its description, and in its order.
void TestCommandLine::helpListsTheOptions()
{
    Program program({QStringLiteral("--help")});
    QCOMPARE(program.exitCode(), 0);
    int place = 0;
    for (const auto &option : options) {
        const QByteArray line = QByteArray("  --") + option.name;
        place = program.console().indexOf(line, place);
        QVERIFY2(place > 0, option.name);
        const QByteArray rest = program.console().mid(place + line.size()).trimmed();
        QVERIFY2(rest.startsWith(option.description), option.name);
    }
}

void TestCommandLine::starts_data()
{
    QTest::addColumn<QStringList>("given");
    QTest::newRow("none") << QStringList();
    QTest::newRow("not an option") << QStringList(QStringLiteral("firmware"));
    QStringList all;
    for (const auto &option : options) {
        all += QStringLiteral("--") + QString::fromLatin1(option.name);
        QTest::newRow(option.name) << QStringList(all.last());
    }
    QTest::newRow("all") << all;
}

void TestCommandLine::starts()
{
    QFETCH(QStringList, given);
    Program program(given);
    QVERIFY(program.prints("\nCurrent bootloader version = V4.05.00\n\n"));
    QCOMPARE(Instrument::read(versionFile), QByteArray("V4.05.00"));
    QVERIFY(program.console().startsWith("\nCurrent bootloader"));
    QVERIFY(program.runs());
    QCOMPARE(program.errors(), QByteArray());
}

void TestCommandLine::versionTagInTheBinary()
{
    const QByteArray binary = Instrument::read(Program::path());
    QVERIFY(binary.contains(QByteArray("BLVERSION:V4.05.00\0", 19)));
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
