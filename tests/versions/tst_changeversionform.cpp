#include "tests/support/formtable.h"
#include "tests/support/instrument.h"
#include "ui_changeversionpartition.h"

#include "versions/changeversionpartition.h"

#include <QtTest>

/// The version screen's form, as it is built and as each of its callers gets it, and its slots.
class TestChangeVersionForm : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void form();
    void started_data();
    void started();
    void headers();
    void slotsInOrder();
    void sizes_data();
    void sizes();
};

static const char doneStyle[] = "QPushButton{background-color:lightgray}";
static const char versions[] = "<b>Currently Installed Versions</b><br><i>Currently Active Version "
                               "is Highlighted</i>";
static const char change[] = "<b>Change Version Partition</b><br><i>Currently Active Version Is "
                             "Highlighted Grey</i>";

static constexpr int noSelection = int(QAbstractItemView::NoSelection);
static constexpr int single = int(QAbstractItemView::SingleSelection);

/// What a caller gets to see.
struct Screen
{
    const char *title;
    const char *heading;
    int selection;
    bool tableEnabled;
    bool buttonEnabled;
    bool buttonHidden;
};
Q_DECLARE_METATYPE(Screen)

static constexpr Screen versionsScreen = {"Versions", versions, noSelection, false, true, true};
static constexpr Screen changeScreen = {"ChangeVersion", change, single, true, false, false};

// clang-format off
static const QVector<Form::Widget> widgets = {
    {"labelTitleChangePartition", "QLabel", "ChangeVersionPartition"},
    {"tableFirmwareVersions", "QTableWidget", "ChangeVersionPartition"},
    {"pButtonChgVersion", "QPushButton", "ChangeVersionPartition"},
    {"pbuttonBackToUtils", "QPushButton", "ChangeVersionPartition"},
};

static const QVector<Form::Font> fonts = {
    {"ChangeVersionPartition", "Liberation Serif", 0, -1},
    {"labelTitleChangePartition", "Liberation Sans", 14, 50},
    {"tableFirmwareVersions", "Liberation Sans", 17, 50, QFont::KerningResolved},
    {"pButtonChgVersion", "Liberation Sans", 16, -1},
    {"pbuttonBackToUtils", "Liberation Sans", 16, -1},
};

static const QVector<Form::Layout> layouts = {
    {"verticalLayout", "QVBoxLayout", "ChangeVersionPartition", {5, 5, 5, 5}, 5,
     {"labelTitleChangePartition, centred horizontally, stretch 6", "horizontalLayout, stretch 6",
      "pbuttonBackToUtils, at the right, stretch 2"}},
    {"horizontalLayout", "QHBoxLayout", "verticalLayout", {0, 0, 0, 0}, 5,
     {"tableFirmwareVersions, stretch 3", "horizontal 10x20 Expanding/Minimum",
      "pButtonChgVersion", "horizontal 10x20 Expanding/Minimum"}},
};

static Form::Table formTable(const Screen &screen)
{
    const QVector<Form::Property> properties = {
        {"ChangeVersionPartition", "windowTitle", "Dialog", screen.title},
        {"ChangeVersionPartition", "size", QSize(800, 480), QSize(1024, 600)},
        {"ChangeVersionPartition", "minimumSize", QSize(800, 480), QSize(1024, 600)},
        {"ChangeVersionPartition", "maximumSize", QSize(1280, 800), QSize(1024, 600)},
        {"labelTitleChangePartition", "text", "Change Version Partition", screen.heading},
        {"labelTitleChangePartition", "alignment", int(Qt::AlignHCenter | Qt::AlignVCenter)},
        {"tableFirmwareVersions", "minimumSize", QSize(600, 0)},
        {"tableFirmwareVersions", "autoFillBackground", false},
        {"tableFirmwareVersions", "styleSheet", "color: rgb(0, 0, 0);\ngridline-color: rgb(0, 0, 0);\n"},
        {"tableFirmwareVersions", "editTriggers", int(QAbstractItemView::NoEditTriggers)},
        {"tableFirmwareVersions", "selectionMode", noSelection, screen.selection},
        {"tableFirmwareVersions", "selectionBehavior", int(QAbstractItemView::SelectRows)},
        {"tableFirmwareVersions", "enabled", true, screen.tableEnabled},
        {"tableFirmwareVersions", "rowCount", 0, 3},
        {"tableFirmwareVersions", "columnCount", 0, 6},
        {"pButtonChgVersion", "text", "Change\nVersion"},
        {"pButtonChgVersion", "minimumSize", QSize(120, 75)},
        {"pButtonChgVersion", "autoDefault", false},
        {"pButtonChgVersion", "enabled", true, screen.buttonEnabled},
        {"pbuttonBackToUtils", "text", "        Done        "},
        {"pbuttonBackToUtils", "minimumSize", QSize(130, 90)},
        {"pbuttonBackToUtils", "styleSheet", "", doneStyle},
    };
    return {widgets, properties, fonts, layouts};
}
// clang-format on

void TestChangeVersionForm::init()
{
    Instrument::clear();
    Instrument::write(QStringLiteral("/mnt/recovery/download/partition_c"), "none\n");
}

void TestChangeVersionForm::form()
{
    QDialog bare;
    Ui::ChangeVersionPartition().setupUi(&bare);
    const Form::Table table = formTable(changeScreen);
    QCOMPARE(Form::differences(&bare, table, Form::State::Bare), QString());
    const auto *versionTable = bare.findChild<QTableWidget *>();
    QVERIFY(!versionTable->horizontalHeader()->highlightSections());
    QVERIFY(!versionTable->verticalHeader()->highlightSections());
    QVERIFY(versionTable->font().kerning());
}

void TestChangeVersionForm::started_data()
{
    QTest::addColumn<QString>("caller");
    QTest::addColumn<Screen>("screen");
    QTest::newRow("main window") << QStringLiteral("MainWindow") << versionsScreen;
    for (const char *title : {"Dialog", "", "mainwindow", "MAINWINDOW", "Mainwindow", "MainWindow ",
                              " MainWindow", "MainWindows", "MainWindow\n", "Main Window"})
        QTest::addRow("'%s'", title) << QString::fromLatin1(title) << changeScreen;
}

void TestChangeVersionForm::started()
{
    QFETCH(QString, caller);
    QFETCH(Screen, screen);
    QWidget parent;
    parent.resize(1024, 600);
    parent.setWindowTitle(caller);
    ChangeVersionPartition dialog(&parent);
    const Form::Table table = formTable(screen);
    QCOMPARE(Form::differences(&dialog, table, Form::State::Started), QString());

    dialog.show();
    const auto *button = dialog.findChild<QWidget *>(QStringLiteral("pButtonChgVersion"));
    QCOMPARE(button->isHidden(), screen.buttonHidden);
}

void TestChangeVersionForm::headers()
{
    QWidget parent;
    const ChangeVersionPartition dialog(&parent);
    const auto *table = dialog.findChild<QTableWidget *>();
    const char *const texts[] = {"Partition\nNumber",    "Firmware\nVersion",   "Install\nDate",
                                 "Firmware\nBuild Date", "Bootloader\nVersion", "Part"};
    for (int column = 0; column < 6; ++column) {
        QCOMPARE(table->horizontalHeaderItem(column)->text(), QString::fromLatin1(texts[column]));
        QCOMPARE(table->isColumnHidden(column), column == 5);
    }
    QVERIFY(!table->horizontalHeader()->stretchLastSection());
    QVERIFY(table->verticalHeader()->isHidden());
    for (int row = 0; row < 3; ++row)
        QCOMPARE(table->rowHeight(row), 80);
}

void TestChangeVersionForm::slotsInOrder()
{
    const QStringList expected = {
        QStringLiteral("on_pbuttonBackToUtils_clicked()"),
        QStringLiteral("on_tableFirmwareVersions_clicked(QModelIndex)"),
        QStringLiteral("on_tableFirmwareVersions_itemPressed(QTableWidgetItem*)"),
        QStringLiteral("on_pButtonChgVersion_clicked()"),
    };
    QCOMPARE(Form::addedSlots(ChangeVersionPartition::staticMetaObject), expected);
    QCOMPARE(ChangeVersionPartition::staticMetaObject.className(), "ChangeVersionPartition");
    QCOMPARE(ChangeVersionPartition::staticMetaObject.superClass(), &QDialog::staticMetaObject);
}

void TestChangeVersionForm::sizes_data()
{
    QTest::addColumn<QSize>("size");
    for (const QSize &size :
         {QSize(800, 480), QSize(1024, 600), QSize(1280, 800), QSize(640, 400), QSize(1920, 1080)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestChangeVersionForm::sizes()
{
    QFETCH(QSize, size);
    QWidget parent;
    parent.resize(size);
    const ChangeVersionPartition dialog(&parent);
    QCOMPARE(dialog.minimumSize(), size);
    QCOMPARE(dialog.maximumSize(), size);
    QCOMPARE(dialog.parent(), nullptr); // the opener gives its title and size and nothing else
}

QTEST_MAIN(TestChangeVersionForm)
#include "tst_changeversionform.moc"
