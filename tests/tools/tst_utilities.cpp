#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/tools/events.h"

#include "logs/logsviewer.h"
#include "tools/exportlogdata.h"
#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"
#include "tools/utilities.h"
#include "versions/changeversionpartition.h"

#include <QPointer>
#include <QPushButton>
#include <QtTest>

#include <algorithm>
#include <memory>

/// The support tools menu: which button opens what, and how long that lives.
class TestUtilities : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void opens_data() { addRows(); }
    void opens();
    void opensAnew_data() { addRows(); }
    void opensAnew();
    void closedScreenLivesOn_data() { addRows(); }
    void closedScreenLivesOn();
    void exportStartsItsPollAnew();
    void deletesItsScreensInOrder();
    void done();
    void everyButtonStaysEnabled();

private:
    static void addRows();
};

struct Row
{
    const char *button;
    const QMetaObject *screen;
};
Q_DECLARE_METATYPE(const Row *)

// In the order in which the menu deletes them.
static const Row rows[] = {
    {"pbuttonLogs", &LogsViewer::staticMetaObject},
    {"pbuttonChgVersion", &ChangeVersionPartition::staticMetaObject},
    {"pbuttonResetLR", &ResetLocalRemote::staticMetaObject},
    {"pbuttonResetTouchCalibration", &ResetTouchCalibration::staticMetaObject},
    {"pbuttonExportData", &ExportLogData::staticMetaObject},
    {"pbuttonResetSystemSettings", &ResetSystemSettings::staticMetaObject},
    {"pbuttonResetDisplayDetection", &ResetDisplayDetection::staticMetaObject},
};

void TestUtilities::addRows()
{
    QTest::addColumn<const Row *>("row");
    for (const Row &row : rows)
        QTest::newRow(row.button) << &row;
}

void TestUtilities::init()
{
    Instrument::clear();
    Instrument::write(QStringLiteral("/mnt/recovery/logFiles.txt"), "update.log,/tmp,Update log\n");
    Instrument::write(QStringLiteral("/mnt/recovery/download/partition_c"), "1\n");
    for (const char *partition : {"1", "7", "8"})
        Instrument::write(QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
                              .arg(QString::fromLatin1(partition)),
                          "version=4.05\n");
}

/// The menu on the screen, with the size of its opener.
struct Menu
{
    Menu()
    {
        opener.resize(1024, 600);
        screen = std::make_unique<Utilities>(&opener);
        screen->setWindowFlags(Qt::Window);
        screen->show();
    }
    QWidget opener;
    std::unique_ptr<Utilities> screen;
};

/// The living screens of any kind that is opened by the menu.
static QVector<QDialog *> screens()
{
    QVector<QDialog *> living;
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (auto *dialog = qobject_cast<QDialog *>(window))
            living += dialog;
    }
    return living;
}

static void expectOpened(const Row &row)
{
    const QVector<QDialog *> living = screens();
    QCOMPARE(living.size(), 1);
    QDialog *screen = living.first();
    QCOMPARE(screen->metaObject(), row.screen);
    QVERIFY(screen->isVisible());
    QVERIFY(screen->isModal());
    QVERIFY(!screen->parent());
    QCOMPARE(screen->size(), QSize(1024, 600));
    QCOMPARE(screen->minimumSize(), QSize(1024, 600));
    QCOMPARE(screen->maximumSize(), QSize(1024, 600));
}

void TestUtilities::opens()
{
    QFETCH(const Row *, row);
    const ModalDialogs none; // no message box comes up
    const Events events;
    {
        Menu menu;
        QCOMPARE(screens().size(), 0);
        touch(menu.screen.get(), row->button);
        expectOpened(*row);
        QVERIFY(menu.screen->isVisible());
        touch(screens().first(), "pbuttonBackToUtils");
        QVERIFY(!screens().first()->isVisible());
    }
    QCOMPARE(screens().size(), 0);
}

void TestUtilities::opensAnew()
{
    QFETCH(const Row *, row);
    const Events events;
    Menu menu;
    for (int press = 0; press < 3; ++press) {
        QVector<QDialog *> before = screens();
        const QPointer<QDialog> former = press > 0 ? before.first() : nullptr;
        if (press == 1)
            former->close(); // closed or not
        touch(menu.screen.get(), row->button);
        QVERIFY(!former);
        expectOpened(*row);
    }
}

void TestUtilities::closedScreenLivesOn()
{
    QFETCH(const Row *, row);
    const Events events;
    Menu menu;
    touch(menu.screen.get(), row->button);
    const QPointer<QDialog> screen = screens().first();
    QTest::keyClick(screen, Qt::Key_Escape);
    QVERIFY(!screen->isVisible());
    for (const Row &other : rows) {
        if (&other == row)
            continue;
        touch(menu.screen.get(), other.button);
        QCOMPARE(QApplication::activeModalWidget()->metaObject(), other.screen);
        QApplication::activeModalWidget()->close();
        QVERIFY(screen);
    }
    QCOMPARE(screens().size(), 7);
    touch(menu.screen.get(), row->button);
    QVERIFY(!screen);
    QCOMPARE(screens().size(), 7);
}

// The former screen is gone before the next one looks for the device.
void TestUtilities::exportStartsItsPollAnew()
{
    Events events;
    Menu menu;
    touch(menu.screen.get(), "pbuttonExportData");
    QDialog *former = screens().first();
    tick(former, 3);
    connect(former, &QObject::destroyed, [] { Events::note("destroyed"); });
    events.take();
    touch(menu.screen.get(), "pbuttonExportData");
    QCOMPARE(events.take(), QByteArray("destroyed\n[sync]\n"));
    tick(screens().first());
    QCOMPARE(events.take(), QByteArray("checkState time = 1 - 0 - 0\n"));
}

void TestUtilities::deletesItsScreensInOrder()
{
    const Events events;
    QByteArrayList deleted;
    QByteArrayList expected;
    Menu menu;
    for (auto row = std::rbegin(rows); row != std::rend(rows); ++row) {
        touch(menu.screen.get(), row->button);
        auto *screen = QApplication::activeModalWidget();
        const QByteArray name = screen->metaObject()->className();
        connect(screen, &QObject::destroyed, [&deleted, name] { deleted += name; });
        expected.prepend(name);
        screen->close();
    }
    connect(menu.screen.get(), &QObject::destroyed, [&deleted] { deleted += "Utilities"; });
    menu.screen.reset();
    QCOMPARE(deleted, expected + QByteArrayList {"Utilities"});
    QCOMPARE(screens().size(), 0);
}

void TestUtilities::done()
{
    const Events events;
    Menu menu;
    menu.opener.show();
    QVERIFY(menu.screen->isActiveWindow());
    const QPointer<Utilities> alive = menu.screen.get();
    touch(menu.screen.get(), "pbuttonBackToMain");
    QVERIFY(!menu.screen->isVisible());
    QVERIFY(menu.opener.isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(alive);
    menu.screen->show();
    closeByWindowManager(menu.screen.get());
    QVERIFY(!menu.screen->isVisible());
    QVERIFY(alive);
}

void TestUtilities::everyButtonStaysEnabled()
{
    const Events events;
    Menu menu;
    const auto buttons = menu.screen->findChildren<QPushButton *>();
    QCOMPARE(buttons.size(), 8);
    for (const Row &row : rows) {
        touch(menu.screen.get(), row.button);
        for (const QPushButton *button : buttons)
            QVERIFY(button->isVisible() && button->isEnabled());
        QApplication::activeModalWidget()->close();
    }
}

QTEST_MAIN(TestUtilities)
#include "tst_utilities.moc"
