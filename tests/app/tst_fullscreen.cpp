#include "tests/support/instrument.h"
#include "tests/support/program.h"

#include <QRegularExpression>
#include <QtTest>

/// The program's window on real displays: nothing of the screen is left over, and nothing frames
/// it.
class TestFullScreen : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void fillsTheScreen_data();
    void fillsTheScreen();
    void takesTheOptionsOfItsPlatform();
};

static constexpr int patience = 60000;

/// An X server of its own, with one screen.
class Display
{
public:
    explicit Display(const QString &size)
    {
        // -noreset: it would reset as one client leaves, and throw out the next that just comes
        server.start(QStringLiteral("Xvfb"),
                     {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                      QStringLiteral("0"), size + QStringLiteral("x24"),
                      QStringLiteral("-nolisten"), QStringLiteral("tcp"),
                      QStringLiteral("-noreset")});
        while (!server.canReadLine()) {
            if (!server.waitForReadyRead(patience))
                qFatal("no X server: %s", server.readAllStandardError().constData());
        }
        name = QByteArray(":") + server.readLine().trimmed();
    }
    ~Display()
    {
        server.terminate();
        server.waitForFinished();
    }
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;

    QByteArray name;

private:
    QProcess server;
};

/// What an X client prints about the window.
static QString asked(const char *client, const Display &display)
{
    QProcess process;
    process.start(QString::fromLatin1(client),
                  {QStringLiteral("-display"), QString::fromLatin1(display.name),
                   QStringLiteral("-name"), QStringLiteral("MainWindow")});
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput());
}

void TestFullScreen::fillsTheScreen_data()
{
    QTest::addColumn<QString>("size");
    for (const char *size : {"800x480", "1024x600", "1280x800"})
        QTest::newRow(size) << QString::fromLatin1(size);
}

void TestFullScreen::fillsTheScreen()
{
    QFETCH(QString, size);
    const Display display(size);
    qputenv("DISPLAY", display.name);
    Program program({}, QStringLiteral("xcb"));
    QTRY_VERIFY_WITH_TIMEOUT(asked("xwininfo", display).contains(QLatin1String("IsViewable")),
                             patience);

    const QString geometry = QStringLiteral("-geometry %1+0+0\n").arg(size);
    QTRY_VERIFY_WITH_TIMEOUT(asked("xwininfo", display).contains(geometry), patience);
    QVERIFY(asked("xwininfo", display).contains(QLatin1String("Corners:  +0+0  -0+0  -0-0  +0-0")));

    const QString properties = asked("xprop", display);
    // the third number is the decorations
    QVERIFY(properties.contains(
        QRegularExpression(QStringLiteral("_MOTIF_WM_HINTS.* = 0x2, 0x[0-9a-f]+, 0x0,"))));
    QVERIFY(properties.contains(QLatin1String("_NET_WM_STATE_MAXIMIZED_HORZ")));
    QVERIFY(properties.contains(QLatin1String("_NET_WM_STATE_MAXIMIZED_VERT")));
}

// The X11 platform has options that no other one knows.
void TestFullScreen::takesTheOptionsOfItsPlatform()
{
    const Display display(QStringLiteral("800x480"));
    qunsetenv("DISPLAY");
    const QString name = QString::fromLatin1(display.name);
    for (const char *option : {"-nograb", "-dograb", "-name other", "-visual 33",
                               "-geometry 640x480", "-title other", "-icon none"}) {
        const QStringList given = QStringList {QStringLiteral("-display"), name}
            + QString::fromLatin1(option).split(QLatin1Char(' '));
        Program program(given, QStringLiteral("xcb"));
        QVERIFY2(program.prints("Current bootloader version = "), option);
    }
}

QTEST_GUILESS_MAIN(TestFullScreen)
#include "tst_fullscreen.moc"
