#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "tests/support/mainscreen.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"

#include "tools/utilities.h"
#include "versions/changeversionpartition.h"

#include <QPushButton>
#include <QScreen>
#include <QTableWidget>
#include <QWindow>

/// The main window's two ways out of the update: the support tools menu and the versions.
class TestOpeners : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void supportTools();
    void menusStayAlive();
    void menuIsInFrontOfEverything();
    void versions_data();
    void versions();
    void versionsOpenedTwice();
    void neverOffered_data();
    void neverOffered();
    void notDuringAnUpdate();
};

void TestOpeners::init()
{
    Instrument::clear();
    Instrument::plugStorageDevice();
    for (const char *partition : {"1", "7", "8"})
        Instrument::write(QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
                              .arg(QString::fromLatin1(partition)),
                          "version=4.05\n");
    Instrument::write(QStringLiteral("/mnt/recovery/download/partition_c"), "1\n");
}

/// The windows of a class, in no order.
template <typename Window> static QVector<Window *> windows()
{
    QVector<Window *> found;
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (auto *wanted = qobject_cast<Window *>(window))
            found += wanted;
    }
    return found;
}

void TestOpeners::cleanup()
{
    qDeleteAll(windows<Utilities>()); // the program never does
    qDeleteAll(windows<ChangeVersionPartition>());
}

/// From the start to the buttons.
static void offer(MainScreen &screen)
{
    tick(screen.window(), 6);
    QCOMPARE(timerInterval(screen.window()), -1);
    screen.takePrints();
}

static QSize screenSize() { return QGuiApplication::primaryScreen()->geometry().size(); }

void TestOpeners::supportTools()
{
    MainScreen screen;
    offer(screen);
    QCOMPARE(windows<Utilities>().size(), 0);
    touch(screen.window(), "pbuttonUtils");
    QCOMPARE(windows<Utilities>().size(), 1);
    Utilities *menu = windows<Utilities>().first();
    QVERIFY(menu->isVisible());
    QVERIFY(!menu->parent());
    QWidget plain;
    plain.setWindowFlags(Qt::Window);
    plain.show();
    QCOMPARE(menu->windowFlags(), plain.windowFlags());
    QCOMPARE(menu->windowModality(), Qt::ApplicationModal); // as its form says
    QCOMPARE(menu->size(), screenSize());
    QCOMPARE(menu->minimumSize(), screenSize());
    QCOMPARE(menu->maximumSize(), screenSize());
    QCOMPARE(screen.takePrints(), QByteArray());
    touch(menu, "pbuttonBackToMain");
    QVERIFY(!menu->isVisible());
    QVERIFY(screen.window()->isVisible());
}

void TestOpeners::menusStayAlive()
{
    MainScreen screen;
    offer(screen);
    QVector<Utilities *> menus;
    for (int press = 1; press <= 3; ++press) {
        touch(screen.window(), "pbuttonUtils");
        QCOMPARE(windows<Utilities>().size(), press);
        for (Utilities *menu : windows<Utilities>()) {
            QCOMPARE(menu->isVisible(), !menus.contains(menu)); // only the new one
            if (menu->isVisible()) {
                menus += menu;
                touch(menu, "pbuttonBackToMain");
            }
        }
    }
    QCOMPARE(menus.size(), 3);
}

// A touch beside the menu does not reach the main window, so a second menu needs the first closed.
void TestOpeners::menuIsInFrontOfEverything()
{
    MainScreen screen;
    offer(screen);
    QVERIFY(QTest::qWaitForWindowExposed(screen.window()));
    const auto *button = screen.window()->findChild<QPushButton *>(QStringLiteral("pbuttonUtils"));
    const QPoint place = button->mapTo(screen.window(), button->rect().center());
    QWindow *window = screen.window()->windowHandle();
    QTest::mouseClick(window, Qt::LeftButton, {}, place);
    QCOMPARE(windows<Utilities>().size(), 1);
    QTest::mouseClick(window, Qt::LeftButton, {}, place);
    QCOMPARE(windows<Utilities>().size(), 1);
    touch(windows<Utilities>().first(), "pbuttonBackToMain");
    QTest::mouseClick(window, Qt::LeftButton, {}, place);
    QCOMPARE(windows<Utilities>().size(), 2);
}

void TestOpeners::versions_data()
{
    QTest::addColumn<QByteArray>("active");
    for (const char *active : {"1", "7", "8", "2", ""})
        QTest::addRow("active '%s'", active) << QByteArray(active);
}

void TestOpeners::versions()
{
    QFETCH(QByteArray, active);
    Instrument::write(QStringLiteral("/mnt/recovery/download/partition_c"), active);
    MainScreen screen;
    offer(screen);
    ModalDialogs boxes;
    touch(screen.window(), "pbuttonVersions");
    boxes.take(); // what the screen says of a strange file is its own affair
    QCOMPARE(windows<ChangeVersionPartition>().size(), 1);
    ChangeVersionPartition *dialog = windows<ChangeVersionPartition>().first();
    QVERIFY(dialog->isVisible());
    QVERIFY(dialog->isModal());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Versions"));
    QCOMPARE(dialog->size(), screenSize());
    QVERIFY(!dialog->findChild<QPushButton *>(QStringLiteral("pButtonChgVersion"))->isVisible());
    QVERIFY(!dialog->findChild<QTableWidget *>()->isEnabled());
    touch(dialog, "pbuttonBackToUtils");
    QVERIFY(!dialog->isVisible());
}

void TestOpeners::versionsOpenedTwice()
{
    MainScreen screen;
    offer(screen);
    for (int press = 1; press <= 2; ++press) {
        touch(screen.window(), "pbuttonVersions");
        QCOMPARE(windows<ChangeVersionPartition>().size(), press); // the former is nobody's
        touch(QApplication::activeModalWidget(), "pbuttonBackToUtils");
    }
}

void TestOpeners::neverOffered_data()
{
    QTest::addColumn<QString>("option");
    for (const char *option : {"--gobackupdate", "--deadusbrebuild"})
        QTest::newRow(option) << QString::fromLatin1(option);
}

void TestOpeners::neverOffered()
{
    QFETCH(QString, option);
    MainScreen screen({option});
    for (int now = 0; now <= 6; ++now) {
        for (const char *name : {"pbuttonUtils", "pbuttonVersions"})
            QVERIFY(
                !screen.window()->findChild<QPushButton *>(QString::fromLatin1(name))->isVisible());
        if (now < 6)
            tick(screen.window());
    }
    QCOMPARE(timerInterval(screen.window()), -1);
}

void TestOpeners::notDuringAnUpdate()
{
    Instrument::writeUpdateScripts();
    MainScreen screen;
    offer(screen);
    touch(screen.window(), "USBbtn");
    for (const char *name : {"pbuttonUtils", "pbuttonVersions"}) {
        auto *button = screen.window()->findChild<QPushButton *>(QString::fromLatin1(name));
        QVERIFY(button->isVisible() && !button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QCOMPARE(windows<Utilities>().size(), 0);
    QCOMPARE(windows<ChangeVersionPartition>().size(), 0);
    screen.finishUpdate();
}

int main(int argc, char **argv) { return CommandLine::run<TestOpeners>(argc, argv); }
#include "tst_openers.moc"
