#include "tests/support/formtable.h"
#include "tests/support/instrument.h"
#include "ui_logsviewer.h"

#include "logs/logsviewer.h"

#include <QtTest>

/// The log viewer's form, as it is built and as the constructor leaves it, and its slots.
class TestLogsViewerForm : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void form();
    void started();
    void headers();
    void inheritedFontSize();
    void styleSheetChangesNothing();
    void slotsInOrder();
    void sizes_data();
    void sizes();
};

static const char selectionHeading[] = "<html><head/><body><p align=\"center\"><b>Log Viewer</b>"
                                       "<br><i>Grey Entries Not Available</i></p></body></html>";
static const char doneStyle[] = "QPushButton{background-color:lightgray}";

static const QVector<Form::Widget> widgets = {
    {"labelTitleViewer", "QLabel", "LogsViewer"},
    {"stackedWidget", "QStackedWidget", "LogsViewer"},
    {"page_4", "QWidget", "stackedWidget"},
    {"page_3", "QWidget", "stackedWidget"},
    {"tableLogFiles", "QTableWidget", "page_4"},
    {"pbuttonViewFile", "QPushButton", "page_4"},
    {"pbuttonBackToUtils", "QPushButton", "page_4"},
    {"textEditLogViewer", "QTextEdit", "page_3"},
    {"pbuttonLogViewerTop", "QPushButton", "page_3"},
    {"pbuttonLogViewerPageUp", "QPushButton", "page_3"},
    {"pbuttonLogViewerPageUpHalf", "QPushButton", "page_3"},
    {"pbuttonLogViewerPageDownHalf", "QPushButton", "page_3"},
    {"pbuttonLogViewerPageDown", "QPushButton", "page_3"},
    {"pbuttonLogViewerBottom", "QPushButton", "page_3"},
    {"pbuttonBackToFileSelect", "QPushButton", "page_3"},
};

// clang-format off
static const QVector<Form::Property> properties = {
    {"LogsViewer", "windowTitle", "Dialog"},
    {"LogsViewer", "size", QSize(800, 480), QSize(1024, 600)},
    {"LogsViewer", "minimumSize", QSize(800, 480), QSize(1024, 600)},
    {"LogsViewer", "maximumSize", QSize(1280, 800), QSize(1024, 600)},
    {"LogsViewer", "focusPolicy", int(Qt::NoFocus)},
    {"labelTitleViewer", "text", selectionHeading},
    {"stackedWidget", "currentIndex", 1, 0},
    {"tableLogFiles", "frameShadow", int(QFrame::Raised)},
    {"tableLogFiles", "editTriggers", int(QAbstractItemView::NoEditTriggers)},
    {"tableLogFiles", "tabKeyNavigation", false},
    {"tableLogFiles", "dragDropOverwriteMode", false},
    {"tableLogFiles", "alternatingRowColors", true},
    {"tableLogFiles", "selectionMode", int(QAbstractItemView::SingleSelection)},
    {"tableLogFiles", "selectionBehavior", int(QAbstractItemView::SelectRows)},
    {"tableLogFiles", "showGrid", true},
    {"tableLogFiles", "columnCount", 0, 2},
    {"tableLogFiles", "rowCount", 0, 1},
    {"pbuttonViewFile", "text", "View File"},
    {"pbuttonViewFile", "minimumSize", QSize(120, 75)},
    {"pbuttonViewFile", "autoDefault", false},
    {"pbuttonViewFile", "default", false},
    {"pbuttonViewFile", "enabled", true, false},
    {"pbuttonBackToUtils", "text", "Done"},
    {"pbuttonBackToUtils", "minimumSize", QSize(130, 90)},
    {"pbuttonBackToUtils", "styleSheet", "", doneStyle},
    {"textEditLogViewer", "styleSheet", "/* QScrollBar:vertical {width: 40px;}\nQScrollBar::handle:vertical {min-height: 60px;} */"},
    {"textEditLogViewer", "frameShape", int(QFrame::StyledPanel)},
    {"textEditLogViewer", "frameShadow", int(QFrame::Sunken)},
    {"textEditLogViewer", "lineWidth", 2},
    {"textEditLogViewer", "midLineWidth", 0},
    {"textEditLogViewer", "sizeAdjustPolicy", int(QAbstractScrollArea::AdjustToContents)},
    {"textEditLogViewer", "autoFormatting", int(QTextEdit::AutoNone)},
    {"textEditLogViewer", "lineWrapMode", int(QTextEdit::WidgetWidth)},
    {"textEditLogViewer", "lineWrapColumnOrWidth", 60},
    {"textEditLogViewer", "tabStopDistance", 4.0},
    {"textEditLogViewer", "acceptRichText", false},
    {"textEditLogViewer", "textInteractionFlags", int(Qt::NoTextInteraction)},
    {"textEditLogViewer", "readOnly", true}, // so says the toolkit of a text without interaction
    {"textEditLogViewer", "placeholderText", "Hello world!    4spaces"},
    {"textEditLogViewer", "plainText", "", "Log Viewer"},
    {"pbuttonLogViewerTop", "text", "Top"},
    {"pbuttonLogViewerTop", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerTop", "autoDefault", false},
    {"pbuttonLogViewerPageUp", "text", "Page Up"},
    {"pbuttonLogViewerPageUp", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerPageUp", "autoDefault", false},
    {"pbuttonLogViewerPageUpHalf", "text", "Page Up\nHalf Screen"},
    {"pbuttonLogViewerPageUpHalf", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerPageUpHalf", "autoDefault", false},
    {"pbuttonLogViewerPageDownHalf", "text", "Page Down\nHalf Screen"},
    {"pbuttonLogViewerPageDownHalf", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerPageDownHalf", "autoDefault", false},
    {"pbuttonLogViewerPageDown", "text", "Page Down"},
    {"pbuttonLogViewerPageDown", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerPageDown", "autoDefault", false},
    {"pbuttonLogViewerBottom", "text", "Bottom"},
    {"pbuttonLogViewerBottom", "minimumSize", QSize(0, 50)},
    {"pbuttonLogViewerBottom", "autoDefault", false},
    {"pbuttonBackToFileSelect", "text", "Done"},
    {"pbuttonBackToFileSelect", "minimumSize", QSize(0, 50)},
    {"pbuttonBackToFileSelect", "autoDefault", false},
    {"pbuttonBackToFileSelect", "focusPolicy", int(Qt::StrongFocus)},
    {"pbuttonBackToFileSelect", "styleSheet", ""}, // not before there is a log
};

static const QVector<Form::Font> fonts = {
    {"LogsViewer", "Liberation Serif", 16, -1},
    {"labelTitleViewer", "Liberation Sans", 14, 50},
    {"tableLogFiles", "Liberation Sans", 16, 50},
    {"pbuttonViewFile", "Liberation Sans", 0, -1},
    {"pbuttonBackToUtils", "Liberation Sans", 0, -1},
    {"textEditLogViewer", "Liberation Mono", 11, -1},
    {"pbuttonLogViewerTop", "Liberation Sans", 11, -1},
    {"pbuttonLogViewerPageUp", "Liberation Sans", 11, -1},
    {"pbuttonLogViewerPageUpHalf", "Liberation Sans", 11, -1},
    {"pbuttonLogViewerPageDownHalf", "Liberation Sans", 11, -1},
    {"pbuttonLogViewerPageDown", "Liberation Sans", 11, -1},
    {"pbuttonLogViewerBottom", "Liberation Sans", 11, -1},
    {"pbuttonBackToFileSelect", "Liberation Sans", 16, -1},
};

static const QVector<Form::Layout> layouts = {
    {"verticalLayout", "QVBoxLayout", "LogsViewer", {5, 5, 5, 10}, 0,
     {"labelTitleViewer, centred horizontally", "stackedWidget"}},
    {"horizontalLayout_4", "QHBoxLayout", "page_4", {5, 10, 5, 5}, 0,
     {"tableLogFiles, stretch 5", "horizontal 40x20 Expanding/Minimum",
      "pbuttonViewFile, centred vertically", "horizontal 40x20 Expanding/Minimum, stretch 1",
      "pbuttonBackToUtils, at the bottom"}},
    {"horizontalLayout_2", "QHBoxLayout", "page_3", {0, 5, 0, 0}, Form::byToolkit,
     {"textEditLogViewer", "verticalLayout_4"}},
    {"verticalLayout_4", "QVBoxLayout", "horizontalLayout_2", {0, 5, 0, 5}, 10,
     {"pbuttonLogViewerTop, at the top", "pbuttonLogViewerPageUp, at the top",
      "pbuttonLogViewerPageUpHalf", "vertical 20x40 Minimum/Expanding, stretch 9",
      "pbuttonLogViewerPageDownHalf", "pbuttonLogViewerPageDown, at the bottom",
      "pbuttonLogViewerBottom, at the bottom", "pbuttonBackToFileSelect"}},
};
// clang-format on

static const Form::Table table = {widgets, properties, fonts, layouts};

void TestLogsViewerForm::initTestCase()
{
    Instrument::clear();
    Instrument::write(QStringLiteral("/mnt/recovery/logFiles.txt"), "messages,/var/log,System\n");
}

void TestLogsViewerForm::form()
{
    QDialog bare;
    Ui::LogsViewer().setupUi(&bare);
    QCOMPARE(Form::differences(&bare, table, Form::State::Bare), QString());
}

void TestLogsViewerForm::started()
{
    QWidget menu;
    menu.resize(1024, 600);
    const LogsViewer viewer(&menu);
    QCOMPARE(Form::differences(&viewer, table, Form::State::Started), QString());
}

void TestLogsViewerForm::headers()
{
    QWidget menu;
    const LogsViewer viewer(&menu);
    const auto *logs = viewer.findChild<QTableWidget *>();
    QCOMPARE(logs->horizontalHeader()->defaultSectionSize(), 300);
    QCOMPARE(logs->columnWidth(0), 300);
    QVERIFY(!logs->horizontalHeader()->stretchLastSection());
    QVERIFY(logs->verticalHeader()->isHidden());
    QVERIFY(!logs->isColumnHidden(0));
    QVERIFY(logs->isColumnHidden(1));
    QCOMPARE(logs->horizontalHeaderItem(0)->text(), QStringLiteral("Log File"));
    QCOMPARE(logs->horizontalHeaderItem(1)->text(), QStringLiteral("Log Path"));
    QCOMPARE(logs->rowHeight(0), 60);
}

void TestLogsViewerForm::inheritedFontSize()
{
    QWidget menu;
    const LogsViewer viewer(&menu);
    for (const char *name : {"pbuttonViewFile", "pbuttonBackToUtils"})
        QCOMPARE(viewer.findChild<QWidget *>(QString::fromLatin1(name))->font().pointSize(), 16);
}

// It is one comment: the scroll bar keeps the platform's style.
void TestLogsViewerForm::styleSheetChangesNothing()
{
    QWidget menu;
    menu.resize(800, 480);
    LogsViewer viewer(&menu);
    viewer.findChild<QStackedWidget *>()->setCurrentIndex(1);
    auto *text = viewer.findChild<QTextEdit *>();
    text->setPlainText(QStringLiteral("line\n").repeated(500));
    const QImage withStyleSheet = viewer.grab().toImage();
    text->setStyleSheet(QString());
    QCOMPARE(withStyleSheet, viewer.grab().toImage());
}

void TestLogsViewerForm::slotsInOrder()
{
    const QStringList expected = {
        QStringLiteral("on_pbuttonBackToUtils_clicked()"),
        QStringLiteral("on_pbuttonBackToFileSelect_clicked()"),
        QStringLiteral("on_pbuttonLogViewerTop_clicked()"),
        QStringLiteral("on_pbuttonLogViewerPageUp_clicked()"),
        QStringLiteral("on_pbuttonLogViewerPageUpHalf_clicked()"),
        QStringLiteral("on_pbuttonLogViewerPageDownHalf_clicked()"),
        QStringLiteral("on_pbuttonLogViewerPageDown_clicked()"),
        QStringLiteral("on_pbuttonLogViewerBottom_clicked()"),
        QStringLiteral("on_pbuttonViewFile_clicked()"),
        QStringLiteral("on_tableLogFiles_itemPressed(QTableWidgetItem*)"),
        QStringLiteral("on_tableLogFiles_clicked(QModelIndex)"),
    };
    QCOMPARE(Form::addedSlots(LogsViewer::staticMetaObject), expected);
    QCOMPARE(LogsViewer::staticMetaObject.className(), "LogsViewer");
    QCOMPARE(LogsViewer::staticMetaObject.superClass(), &QDialog::staticMetaObject);
}

void TestLogsViewerForm::sizes_data()
{
    QTest::addColumn<QSize>("size");
    for (const QSize &size :
         {QSize(800, 480), QSize(1024, 600), QSize(1280, 800), QSize(640, 400), QSize(1920, 1080)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestLogsViewerForm::sizes()
{
    QFETCH(QSize, size);
    QWidget menu;
    menu.resize(size);
    const LogsViewer viewer(&menu);
    QCOMPARE(viewer.minimumSize(), size);
    QCOMPARE(viewer.maximumSize(), size);
    QCOMPARE(viewer.parent(), nullptr); // the menu gives the size and nothing else
}

QTEST_MAIN(TestLogsViewerForm)
#include "tst_logsviewerform.moc"
