#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/mainscreen.h"
#include "tests/support/screen.h"

#include <QMetaMethod>
#include <QScreen>

/// The window as its constructor leaves it, and what it offers to be connected to.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }

    void start_data()
    {
        QTest::addColumn<QStringList>("options");
        // clang-format off
        const char *const rows[] = {
            "", "--usbupdate", "--autoupdate", "--rebootusbupdate", "--gobackupdate", "--deadusbrebuild",
            "--autoupdate --gobackupdate", "--autoupdate --rebootusbupdate", "--gobackupdate --deadusbrebuild",
            "--autoupdate --usbupdate --rebootusbupdate --gobackupdate --deadusbrebuild", "firmware.zip",
        };
        // clang-format on
        for (const char *row : rows)
            QTest::newRow(row) << QString::fromLatin1(row).split(QLatin1Char(' '),
                                                                 Qt::SkipEmptyParts);
    }

    void start()
    {
        QFETCH(QStringList, options);
        MainScreen screen(options);
        screen.expect({}, startPrints);
        QCOMPARE(Instrument::read(QStringLiteral("/tmp/runningbootloaderversion")),
                 QByteArray("V4.05.00"));
        QCOMPARE(Instrument::calls(), QStringList());
    }

    void olderVersionFileIsReplaced()
    {
        Instrument::write(QStringLiteral("/tmp/runningbootloaderversion"), "V4.04.00 beta\n");
        MainScreen screen;
        QCOMPARE(Instrument::read(QStringLiteral("/tmp/runningbootloaderversion")),
                 QByteArray("V4.05.00"));
    }

    void versionFileThatCannotBeWritten()
    {
        Instrument::write(QStringLiteral("/tmp/runningbootloaderversion/inTheWay"), {});
        MainScreen screen;
        screen.expect({}, startPrints);
    }

    void names()
    {
        MainScreen screen;
        QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("teskupdater"));
        QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral("V4.05.00"));
        QCOMPARE(screen.window()->windowTitle(), QStringLiteral("MainWindow"));
        QCOMPARE(screen.window()->objectName(), QStringLiteral("MainWindow"));
    }

    void fillsTheScreenAndNoMore()
    {
        MainScreen screen;
        const QSize size = QGuiApplication::primaryScreen()->geometry().size();
        QCOMPARE(screen.window()->minimumSize(), size);
        QCOMPARE(screen.window()->maximumSize(), size);
        QCOMPARE(screen.window()->geometry(), QRect(QPoint(0, 0), size));
    }

    void otherTimersDoNotCount()
    {
        MainScreen screen;
        screen.takePrints();
        for (int i = 0; i < 20; ++i) {
            QTimerEvent event(screen.window()->startTimer(1000000));
            screen.window()->killTimer(event.timerId());
            QCoreApplication::sendEvent(screen.window(), &event);
        }
        screen.expect({}, {});
        tick(screen.window(), 12);
        screen.expect({}, {});
    }

    void slotsInOrder()
    {
        const char *const names[] = {
            "setTitle(QString)",
            "onProgressChanged(int,QString)",
            "onFinished()",
            "on_USBbtn_clicked()",
            "on_ETHbtn_clicked()",
            "on_pbuttonUtils_clicked()",
            "on_pbuttonVersions_clicked()",
            "on_pbuttonBackupSettings_clicked()",
        };
        const QMetaObject &meta = MainWindow::staticMetaObject;
        QCOMPARE(meta.className(), "MainWindow");
        QCOMPARE(meta.superClass(), &QMainWindow::staticMetaObject);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 8);
        int index = meta.methodOffset();
        for (const char *name : names) {
            const QMetaMethod method = meta.method(index++);
            QCOMPARE(method.methodSignature(), QByteArray(name));
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            QCOMPARE(method.returnType(), int(QMetaType::Void));
        }
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    }
};

int main(int argc, char **argv) { return CommandLine::run<TestMainWindow>(argc, argv); }
#include "tst_mainwindow.moc"
