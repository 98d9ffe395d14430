#include "tests/support/instrument.h"
#include "tests/support/modaldialogs.h"
#include "tests/support/screen.h"
#include "tests/versions/versionscreen.h"

#include <QtTest>

/// Presses on every cell of the version table in every state, and closing the screen.
class TestVersionPresses : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void everyCell_data();
    void everyCell();
    void noActiveRow();
    void activeRowWithoutManifest();
    void activeRowIsSelectedAtFirst();
    void versionsScreen();
    void besideTheColumns();
    void pressWithoutRelease();
    void itemOfNoTable();
    void done_data();
    void done();
    void otherWaysToClose_data();
    void otherWaysToClose();
};

// Row 0 is installed, row 1 is the active one, row 2 has no manifest.
void TestVersionPresses::init()
{
    Instrument::clear();
    installThreeVersions();
    removeManifest("8");
}

/// What a press leaves: whether the button can be pressed, and the row that is selected or -1.
using Outcome = QPair<bool, int>;

static Outcome outcome(const VersionScreen &screen)
{
    return {screen.changeButton()->isEnabled(), screen.selectedRow()};
}

/// Whether a press on the cell reports an item, which makes its row the one to change to.
enum class Cell { Installed, Active, NotAvailable, Empty };

static Cell cellKind(int row, int column)
{
    if (row < 2)
        return row == 0 ? Cell::Installed : Cell::Active;
    return column < 2 ? Cell::NotAvailable : Cell::Empty;
}

void TestVersionPresses::everyCell_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 5; ++column)
            QTest::addRow("%d,%d", row, column) << row << column;
    }
}

void TestVersionPresses::everyCell()
{
    QFETCH(int, row);
    QFETCH(int, column);
    const Cell kind = cellKind(row, column);
    const VersionScreen screen;
    QVERIFY(!screen.changeButton()->isEnabled());

    touchCell(screen.table(), row, column);
    QCOMPARE(screen.changeButton()->isEnabled(), kind == Cell::Installed);
    if (kind == Cell::Active)
        QCOMPARE(outcome(screen).second, -1); // the click has cleared the selection
    if (kind == Cell::Installed)
        QCOMPARE(outcome(screen).second, 0);

    touchCell(screen.table(), 0, 0);
    QCOMPARE(outcome(screen), Outcome(true, 0));
    touchCell(screen.table(), row, column);
    // Only a click on the active row takes the earlier press back.
    QCOMPARE(screen.changeButton()->isEnabled(), kind != Cell::Active);
    if (kind == Cell::Active)
        QCOMPARE(outcome(screen).second, -1);
    if (kind == Cell::NotAvailable)
        QVERIFY(outcome(screen).second != row);
}

void TestVersionPresses::noActiveRow()
{
    Instrument::write(activePartitionFile, "none\n");
    const VersionScreen screen;
    for (int row : {0, 1}) {
        for (int column = 0; column < 5; ++column) {
            touchCell(screen.table(), row, column);
            QCOMPARE(outcome(screen), Outcome(true, row));
        }
    }
}

void TestVersionPresses::activeRowWithoutManifest()
{
    Instrument::write(activePartitionFile, "8\n");
    const VersionScreen screen;
    for (int column = 0; column < 5; ++column) {
        touchCell(screen.table(), 0, 0);
        QCOMPARE(outcome(screen), Outcome(true, 0));
        touchCell(screen.table(), 2, column); // the row counts, not what is in the cell
        QCOMPARE(outcome(screen), Outcome(false, -1));
    }
}

// Only what is empty can be selected in it: the items are without flags.
void TestVersionPresses::activeRowIsSelectedAtFirst()
{
    Instrument::write(activePartitionFile, "8\n");
    const VersionScreen screen;
    QCOMPARE(outcome(screen), Outcome(false, 2));
    for (int column = 0; column < 5; ++column)
        QCOMPARE(
            screen.table()->selectionModel()->isSelected(screen.table()->model()->index(2, column)),
            column >= 2);
}

void TestVersionPresses::versionsScreen()
{
    const VersionScreen screen(QStringLiteral("MainWindow"));
    QVERIFY(!screen.changeButton()->isVisible());
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 5; ++column) {
            touchCell(screen.table(), row, column);
            QVERIFY(!screen.changeButton()->isVisible());
            QVERIFY(!screen.table()->selectionModel()->hasSelection());
        }
    }
}

void TestVersionPresses::besideTheColumns()
{
    const VersionScreen screen;
    const QWidget *area = screen.table()->viewport();
    const QPoint free(area->width() - 2, 5);
    QVERIFY(!screen.table()->indexAt(free).isValid());
    QTest::mouseClick(screen.table()->viewport(), Qt::LeftButton, Qt::NoModifier, free);
    QVERIFY(!screen.changeButton()->isEnabled());
    touchCell(screen.table(), 0, 0);
    QTest::mouseClick(screen.table()->viewport(), Qt::LeftButton, Qt::NoModifier, free);
    QVERIFY(screen.changeButton()->isEnabled());
}

void TestVersionPresses::pressWithoutRelease()
{
    const VersionScreen screen;
    QWidget *area = screen.table()->viewport();
    const QPoint installed = screen.table()->visualItemRect(screen.table()->item(0, 0)).center();
    const QPoint active = screen.table()->visualItemRect(screen.table()->item(1, 0)).center();
    QTest::mousePress(area, Qt::LeftButton, Qt::NoModifier, installed);
    QVERIFY(screen.changeButton()->isEnabled());
    QTest::mouseRelease(area, Qt::LeftButton, Qt::NoModifier, active); // no click on either
    QVERIFY(screen.changeButton()->isEnabled());
    QTest::mousePress(area, Qt::LeftButton, Qt::NoModifier, active);
    QVERIFY(screen.changeButton()->isEnabled());
    QTest::mouseRelease(area, Qt::LeftButton, Qt::NoModifier, active);
    QVERIFY(!screen.changeButton()->isEnabled());
}

// No press can report one, but if one did, there would be nothing to change to.
void TestVersionPresses::itemOfNoTable()
{
    VersionScreen screen;
    QTableWidgetItem loose;
    ModalDialogs dialogs({[](QDialog *warning) { touch(warning, "pButtonAccept"); }});
    QMetaObject::invokeMethod(&screen.dialog, "on_tableFirmwareVersions_itemPressed",
                              Q_ARG(QTableWidgetItem *, &loose));
    QVERIFY(screen.changeButton()->isEnabled());
    touch(&screen.dialog, "pButtonChgVersion");
    QVERIFY(screen.dialog.isVisible());
    QCOMPARE(Instrument::calls(), QStringList());
}

void TestVersionPresses::done_data()
{
    QTest::addColumn<QString>("caller");
    QTest::newRow("versions") << QStringLiteral("MainWindow");
    QTest::newRow("change") << QStringLiteral("Dialog");
}

void TestVersionPresses::done()
{
    QFETCH(QString, caller);
    VersionScreen screen(caller);
    if (screen.table()->isEnabled()) {
        touchCell(screen.table(), 0, 0);
        QVERIFY(screen.changeButton()->isEnabled());
    }
    touch(&screen.dialog, "pbuttonBackToUtils");
    QVERIFY(!screen.dialog.isVisible());
    QVERIFY(!screen.changeButton()->isEnabled());
    QCOMPARE(Instrument::calls(), QStringList());
}

void TestVersionPresses::otherWaysToClose_data()
{
    QTest::addColumn<QString>("caller");
    QTest::addColumn<bool>("escape");
    for (const char *caller : {"MainWindow", "Dialog"}) {
        QTest::addRow("%s, Escape", caller) << QString::fromLatin1(caller) << true;
        QTest::addRow("%s, window manager", caller) << QString::fromLatin1(caller) << false;
    }
}

void TestVersionPresses::otherWaysToClose()
{
    QFETCH(QString, caller);
    QFETCH(bool, escape);
    VersionScreen screen(caller);
    if (escape)
        QTest::keyClick(&screen.dialog, Qt::Key_Escape);
    else
        closeByWindowManager(&screen.dialog);
    QVERIFY(!screen.dialog.isVisible());
    QCOMPARE(screen.dialog.result(), int(QDialog::Rejected));
    QCOMPARE(Instrument::calls(), QStringList());
}

QTEST_MAIN(TestVersionPresses)
#include "tst_versionpresses.moc"
