#include "tests/support/commandline.h"
#include "tests/support/instrument.h"
#include "ui_mainwindow.h"

#include "app/mainwindow.h"

#include <cstddef>
#include <type_traits>

/// Where everything stands on the form.
class TestMainWindowLayout : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void memberOrder_data();
    void memberOrder();
    void items_data();
    void items();
    void spacings_data();
    void spacings();
    void stretches();
    void cleanupTestCase();

private:
    QMainWindow *bare = nullptr; ///< Just the form.
    MainWindow *program = nullptr; ///< The form with the program behind it.
};

void TestMainWindowLayout::initTestCase()
{
    Instrument::clear();
    bare = new QMainWindow;
    Ui::MainWindow().setupUi(bare);
    program = new MainWindow;
}

void TestMainWindowLayout::cleanupTestCase()
{
    delete program;
    delete bare;
}

static_assert(
    std::is_same_v<decltype(&Ui_MainWindow::setupUi), void (Ui_MainWindow::*)(QMainWindow *)>);
static_assert(std::is_same_v<decltype(&Ui_MainWindow::retranslateUi),
                             void (Ui_MainWindow::*)(QMainWindow *)>);
static_assert(std::is_standard_layout_v<Ui_MainWindow>);

struct MemberRow
{
    const char *name;
    std::size_t place; ///< In pointers.
    std::size_t offset;
};
Q_DECLARE_METATYPE(MemberRow)

#define MEMBER(name, place)                                                                        \
    {                                                                                              \
#name, place, offsetof(Ui_MainWindow, name)                                                \
    }
// The gaps are spacers, which nobody asks for by name.
static constexpr MemberRow memberRows[] = {
    MEMBER(centralWidget, 0),     MEMBER(gridLayout, 1),        MEMBER(USBbtn, 3),
    MEMBER(messageFrm, 5),        MEMBER(verticalLayout, 6),    MEMBER(messages, 7),
    MEMBER(gridLayout_2, 10),     MEMBER(pbuttonUtils, 11),     MEMBER(pbuttonVersions, 12),
    MEMBER(progressMsg, 13),      MEMBER(progressBar, 14),      MEMBER(usbLabel, 15),
    MEMBER(verticalLayout_2, 16), MEMBER(horizontalLayout, 17), MEMBER(pbuttonBackupSettings, 18),
    MEMBER(lblUSBBackup, 19),     MEMBER(version_number, 21),   MEMBER(ETHbtn, 22),
    MEMBER(update_title, 23),
};
#undef MEMBER

void TestMainWindowLayout::memberOrder_data()
{
    QTest::addColumn<MemberRow>("row");
    for (const MemberRow &row : memberRows)
        QTest::newRow(row.name) << row;
}

void TestMainWindowLayout::memberOrder()
{
    QFETCH(MemberRow, row);
    QCOMPARE(row.offset, row.place * sizeof(void *));
    QCOMPARE(sizeof(Ui_MainWindow), 24 * sizeof(void *));
}

struct LayoutRow
{
    const char *name;
    const char *className;
    const char *parent;
    const char *items; ///< A line each; in a grid with row, column, row span and column span.
};
Q_DECLARE_METATYPE(LayoutRow)

static constexpr LayoutRow layoutRows[] = {
    {"gridLayout", "QGridLayout", "centralWidget",
     "0,0,1,1 vertical 20x190 Minimum/Expanding\n"
     "0,2,1,1 messageFrm\n"
     "0,4,1,1 update_title\n"
     "0,6,1,1 ETHbtn\n"
     "2,0,1,1 vertical 20x40 Minimum/Expanding\n"
     "2,2,1,5 progressMsg\n"
     "3,2,2,1 usbLabel\n"
     "3,4,1,1 progressBar\n"
     "4,6,1,1 horizontal 225x20 Expanding/Minimum\n"
     "5,2,3,1 USBbtn\n"
     "5,4,3,1 verticalLayout_2\n"
     "6,0,1,1 vertical 20x40 Minimum/Expanding\n"
     "6,6,2,1 gridLayout_2"},
    {"verticalLayout", "QVBoxLayout", "messageFrm", "messages"},
    {"gridLayout_2", "QGridLayout", "gridLayout",
     "0,0,1,1 pbuttonUtils\n"
     "0,1,1,1 pbuttonVersions"},
    {"verticalLayout_2", "QVBoxLayout", "gridLayout",
     "horizontalLayout\n"
     "vertical 20x40 Minimum/Minimum\n"
     "version_number"},
    {"horizontalLayout", "QHBoxLayout", "verticalLayout_2",
     "pbuttonBackupSettings\n"
     "lblUSBBackup"},
};

static QString described(QLayoutItem *item)
{
    if (item->widget())
        return item->widget()->objectName();
    if (item->layout())
        return item->layout()->objectName();
    static const QMap<int, QString> policies = {
        {QSizePolicy::Minimum, QStringLiteral("Minimum")},
        {QSizePolicy::Expanding, QStringLiteral("Expanding")},
    };
    const QSpacerItem *spacer = item->spacerItem();
    const QSizePolicy policy = spacer->sizePolicy();
    const bool across = policy.horizontalPolicy() == QSizePolicy::Expanding;
    return QStringLiteral("%1 %2x%3 %4/%5")
        .arg(across ? QStringLiteral("horizontal") : QStringLiteral("vertical"))
        .arg(spacer->sizeHint().width())
        .arg(spacer->sizeHint().height())
        .arg(policies.value(policy.horizontalPolicy()), policies.value(policy.verticalPolicy()));
}

static QStringList itemsOf(QLayout *layout)
{
    QStringList lines;
    for (int i = 0; i < layout->count(); ++i) {
        QString line = described(layout->itemAt(i));
        if (const auto *grid = qobject_cast<QGridLayout *>(layout)) {
            int row = 0, column = 0, rows = 0, columns = 0;
            grid->getItemPosition(i, &row, &column, &rows, &columns);
            line.prepend(
                QStringLiteral("%1,%2,%3,%4 ").arg(row).arg(column).arg(rows).arg(columns));
        }
        if (layout->itemAt(i)->alignment() != 0)
            line += QStringLiteral(" aligned");
        lines += line;
    }
    if (qobject_cast<QGridLayout *>(layout))
        lines.sort(); // cells say where an item is, whenever it was added
    return lines;
}

void TestMainWindowLayout::items_data()
{
    QTest::addColumn<LayoutRow>("row");
    for (const LayoutRow &row : layoutRows)
        QTest::newRow(row.name) << row;
}

void TestMainWindowLayout::items()
{
    QFETCH(LayoutRow, row);
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        auto *layout = window->findChild<QLayout *>(QString::fromLatin1(row.name));
        QCOMPARE(layout->metaObject()->className(), row.className);
        QCOMPARE(layout->parent()->objectName(), QString::fromLatin1(row.parent));
        QCOMPARE(itemsOf(layout), QString::fromLatin1(row.items).split(QLatin1Char('\n')));
    }
}

void TestMainWindowLayout::spacings_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVector<int>>("margins");
    const auto row = [](const char *name, const QVector<int> &margins) {
        QTest::newRow(name) << QString::fromLatin1(name) << margins;
    };
    row("gridLayout", {11, 11, 11, 20});
    row("verticalLayout", {11, 11, 11, 11});
    row("gridLayout_2", {10, 20, 10, 20});
    row("verticalLayout_2", {0, 0, 0, 0});
    row("horizontalLayout", {0, 0, 0, 0});
}

void TestMainWindowLayout::spacings()
{
    QFETCH(QString, name);
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        const auto *layout = window->findChild<QLayout *>(name);
        const QMargins margins = layout->contentsMargins();
        const QVector<int> seen
            = {margins.left(), margins.top(), margins.right(), margins.bottom()};
        QTEST(seen, "margins");
        QCOMPARE(layout->spacing(), 6);
        QCOMPARE(layout->sizeConstraint(), QLayout::SetDefaultConstraint);
    }
}

void TestMainWindowLayout::stretches()
{
    for (QMainWindow *window : {bare, static_cast<QMainWindow *>(program)}) {
        const auto *grid = window->findChild<QGridLayout *>(QStringLiteral("gridLayout"));
        QCOMPARE(grid->rowCount(), 8);
        for (int row = 0; row < 8; ++row)
            QCOMPARE(grid->rowStretch(row), 1);
        QCOMPARE(grid->columnCount(), 7);
        for (int column = 0; column < 7; ++column)
            QCOMPARE(grid->columnStretch(column), 0);
        const auto *pair = window->findChild<QGridLayout *>(QStringLiteral("gridLayout_2"));
        QCOMPARE(pair->rowStretch(0) + pair->columnStretch(0) + pair->columnStretch(1), 0);
        for (const char *name : {"verticalLayout", "verticalLayout_2", "horizontalLayout"}) {
            const auto *box = window->findChild<QBoxLayout *>(QString::fromLatin1(name));
            for (int i = 0; i < box->count(); ++i)
                QCOMPARE(box->stretch(i), 0);
        }
    }
}

int main(int argc, char **argv) { return CommandLine::run<TestMainWindowLayout>(argc, argv); }
#include "tst_mainwindowlayout.moc"
